#pragma once

#include "filesystem/Tree.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// The format of a register file, version 1. docs/file-format.md describes it.
namespace filesystem::registerFormat {

/// The largest file that is written or read: 256 MiB. A file is read into memory before it can be
/// checked, so this bounds the memory that a hostile file can cost.
constexpr std::size_t maxFileSize = std::size_t{256} << 20;

/// The bytes of a whole file. The blocks of a loaded tree share them.
using Bytes = std::shared_ptr<const std::string>;

/// The part of a whole file that tells it from any other: the header, with the length and the
/// checksum of the content.
std::string_view headerOf(std::string_view file);

/// Returns what is wrong with a file; empty when a scope can load it.
std::string faultOf(Bytes file);

/// Returns the bytes of the content of a group. Throws `utils::Exception` when they exceed
/// `maxFileSize`.
std::string encode(Tree &tree, Tree::GroupId group);

/// Replaces the content of a group by the content that `encode` wrote. No bytes at all stand for an
/// empty group. The tree keeps the bytes as long as properties lie in them.
///
/// Throws `utils::Exception` for a file that is not complete and intact; the tree is then
/// unchanged. Checks the header, the length and the checksum first. Checks every length, name,
/// order and depth before the tree changes.
void decode(Bytes file, Tree &tree, Tree::GroupId group);

} // namespace filesystem::registerFormat
