#pragma once

#include <QtGlobal>

/// Exports a class or a function from the library register-widgets. All other symbols are hidden.
/// The form of Qt, since the moc of Qt 5 skips classes with an attribute in double brackets.
#define REGISTER_WIDGETS_EXPORT Q_DECL_EXPORT
