#pragma once

#include "exception/Export.h"

/// The version that a program is compiled against. The build system reads it here.
#define REGISTER_VERSION_MAJOR 1
#define REGISTER_VERSION_MINOR 0 ///< see REGISTER_VERSION_MAJOR
#define REGISTER_VERSION_PATCH 0 ///< see REGISTER_VERSION_MAJOR

namespace utils::properties {

/// Returns the version of the library that the program runs with: "1.0.0". Two libraries with the
/// same first number are compatible.
REGISTER_EXPORT const char *registerVersion();

} // namespace utils::properties
