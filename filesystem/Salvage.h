#pragma once

#include "filesystem/RegisterFormat.h"

#include <cstdint>
#include <string>
#include <vector>

/// Reads what can still be read of a damaged register file.
namespace filesystem::salvage {

/// What is wrong in a file, and at which byte.
struct Fault {
    std::uint64_t offset;
    std::string what;
};

/// Replaces the content of a group by all that can be read in a register file, and returns what is
/// wrong in the file; nothing if it is intact. What has no known place goes to "lost+found". The
/// tree can be saved and loaded again. docs/file-format.md states the cost, whatever the bytes are.
///
/// Throws `utils::Exception` for a file of a newer version, and for one that is no register file;
/// the tree is then unchanged.
std::vector<Fault> read(const registerFormat::Bytes &file, Tree &tree, Tree::GroupId group);

} // namespace filesystem::salvage
