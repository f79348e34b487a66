#pragma once

/// Exports a class or a function from the shared library. All other symbols are hidden.
#define REGISTER_EXPORT [[gnu::visibility("default")]]
