#pragma once

#include "filesystem/Tree.h"

#include <cstddef>
#include <string>
#include <string_view>

/// The bytes of a register file, version 1; docs/file-format.md describes them.
namespace filesystem::registerFormat {

/// The largest file that is written, and so the largest that need be read: 256 MiB. A file is read
/// into memory before it can be tested, and this is what a hostile one can cost.
constexpr std::size_t maxFileSize = std::size_t{256} << 20;

/// The serialisation of what is below `directory`. Throws `utils::Exception` when it would be
/// larger than `maxFileSize`.
std::string encode(const tree::Directory &directory);

/// What `encode` wrote, as a directory without a name. No bytes at all give an empty directory.
/// `level` is the number of levels of the path that the content is for. Throws `utils::Exception`
/// for anything but a whole and intact serialisation: first the header, the length and the checksum
/// are tested, then every length, name, order and depth, and only then is anything built.
tree::Directory decode(std::string_view file, int level);

} // namespace filesystem::registerFormat
