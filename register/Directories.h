#pragma once

#include "exception/Export.h"

#include <string>

namespace utils::properties {

/// The two data directories of an application, as `_Register::initialize` takes them: absolute, in
/// UTF-8. They need not exist.
struct Directories {
    std::string global; ///< of the installation
    std::string user;   ///< of the user
};

/// Returns the directories that the XDG base directory rules give an application:
///
/// - user: "ORGANIZATION/APPLICATION" in the user's configuration directory (`XDG_CONFIG_HOME`,
/// else
///   "~/.config"). This is what `QStandardPaths::AppConfigLocation` is for these names.
/// - global: the same below the first of `XDG_CONFIG_DIRS` ("/etc/xdg") and then `XDG_DATA_DIRS`
///   ("/usr/local/share", "/usr/share") that has a register file there. If none has, below the
///   first of `XDG_CONFIG_DIRS`, so that an administrator can put one there.
///
/// An empty organization is left out. Relative paths in these variables are ignored.
///
/// For a portable installation, `portable` is the path of a directory, absolute or from the folder
/// of the program ("settings", "../settings"). If it exists, the directories are "global" and
/// "user" in it. For tests, the environment variables `REGISTER_GLOBAL_DIR` and `REGISTER_USER_DIR`
/// replace all this if they are absolute paths, but not in a program that runs with more rights
/// than its user (set-user-ID).
///
/// Throws `utils::Exception` for an empty application name, for a name that cannot be the name of a
/// directory ("..", "a/b"), and when the user has no home directory.
REGISTER_EXPORT Directories standardDirectories(const std::string &organization,
                                                const std::string &application,
                                                const std::string &portable = {});

} // namespace utils::properties
