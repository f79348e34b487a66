#pragma once

#include "qt/Export.h"
#include "register/PropertyValue.h"

#include <QString>
#include <QVariant>

#include <optional>

/// Values of the register for the models and views of Qt.
namespace utils::properties {

/// A QString, double, int, bool, or a QVariantList of one of them. Text that is not UTF-8 is a
/// QByteArray. Invalid for no value.
REGISTER_QT_EXPORT QVariant toVariant(const PropertyValue &value);

/// Converts to the alternative of `like`. Returns nothing when it cannot be converted without loss:
/// "wide" for an integer, 1.5 for an integer, a list with such an element.
REGISTER_QT_EXPORT std::optional<PropertyValue> fromVariant(const QVariant &variant,
                                                            const PropertyValue &like);

/// A value as text for people: the text itself, a list in brackets.
REGISTER_QT_EXPORT QString displayText(const PropertyValue &value);

/// The name of a value's type for people: "string", "list of integers".
REGISTER_QT_EXPORT QString typeText(const PropertyValue &value);

} // namespace utils::properties
