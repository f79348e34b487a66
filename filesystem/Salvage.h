#pragma once

#include "filesystem/RegisterFormat.h"
#include "filesystem/SalvageScan.h"

#include <vector>

namespace filesystem::salvage {

/// Replaces the content of a group by all that can be read in a register file, and returns what is
/// wrong in the file; nothing if it is intact. See `SalvageTree` for what has no known place.
///
/// Throws `utils::Exception` for a file of a newer version, and for one that is no register file;
/// the tree is then unchanged.
std::vector<Fault> read(const registerFormat::Bytes &file, Tree &tree, Tree::GroupId group);

} // namespace filesystem::salvage
