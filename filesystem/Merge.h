#pragma once

#include "filesystem/RegisterFormat.h"

#include <set>
#include <string>

namespace filesystem {

/// The result of a merge: names below the merged group, in normal form. Groups appear only where
/// nothing is in them.
struct MergeNames {
    std::set<std::string> &taken;     ///< changed in `theirs` alone, and now in `ours` too
    std::set<std::string> &conflicts; ///< changed differently on both sides; `ours` keeps its own
};

/// Brings the changes from `base` to `theirs` into the group `top` of the tree `ours`. `base` is
/// what both had in common; null stands for nothing.
///
/// Properties are compared by their bytes, so another type is a change too. A change of a name that
/// `ours` has not changed is made in `ours`. The same change on both sides is none. A property on
/// one side that is a group on the other is one conflict, unless only one side changed it. A group
/// that is removed on one side remains with what the other side has changed in it.
///
/// The bytes must be intact register files. A name that is too long below `top` is a conflict. When
/// memory runs out, part of the changes may have been made; these are in `taken`.
void merge(const registerFormat::Bytes &base, const registerFormat::Bytes &theirs, Tree &ours,
           const Top &top, MergeNames names);

/// Returns `ours` with the changes from `base` to `theirs`. Adds the names in conflict.
registerFormat::Bytes merged(const registerFormat::Bytes &base, const registerFormat::Bytes &theirs,
                             const registerFormat::Bytes &ours, std::set<std::string> &conflicts);

/// Equality of contents; null equals no content.
bool areEqual(const registerFormat::Bytes &a, const registerFormat::Bytes &b);

} // namespace filesystem
