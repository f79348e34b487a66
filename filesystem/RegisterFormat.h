#pragma once

#include "filesystem/Tree.h"

#include <cstddef>
#include <string>
#include <string_view>

/// The bytes of a register file, version 1; docs/file-format.md describes them.
namespace filesystem::registerFormat {

/// The largest file that is written or read: 256 MiB. A file is read into memory before it can be
/// checked, so this bounds the memory that a hostile file can cost.
constexpr std::size_t maxFileSize = std::size_t{256} << 20;

/// The part of a whole file that tells it from any other: the header, with the length and the
/// checksum of the content.
std::string_view headerOf(std::string_view file);

/// Throws `utils::Exception` unless the bytes have the header of this version, with the length and
/// the checksum of what follows. `decode` checks more.
void checkHeader(std::string_view file);

/// The bytes of all that is in a group. Throws `utils::Exception` when they are more than
/// `maxFileSize`.
std::string encode(Tree &tree, Tree::GroupId group);

/// Replaces all that is in a group by what `encode` wrote. No bytes at all stand for an empty
/// group. The tree keeps the bytes as long as properties lie in them. Throws `utils::Exception` for
/// anything but a whole and intact file; the tree is unchanged then. The header, the length and the
/// checksum are checked first; every length, name, order and depth is checked before the tree
/// changes.
void decode(std::string file, Tree &tree, Tree::GroupId group);

} // namespace filesystem::registerFormat
