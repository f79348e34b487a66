#pragma once

#include <string>
#include <vector>

namespace filesystem {

/// Appends the names in a directory on disk, without "." and "..", in no order. False, with
/// `errno`, when it cannot be read to its end. (The iterator of the standard library would do, but
/// it ends the process when memory runs out.)
bool listDirectory(const std::string &path, std::vector<std::string> &names);

} // namespace filesystem
