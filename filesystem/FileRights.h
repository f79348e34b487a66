#pragma once

#include "filesystem/Posix.h"

#include <string>

namespace filesystem {

/// Gives `newFile`, which is to replace `name` in `directory`, the owner, group, mode and POSIX ACL
/// of the old file, as far as the process may. Nobody gets a right that the old file did not give,
/// at any moment: the mode of the new file is 0600 until the rights are known. Without an old file
/// it stays 0600, whatever the umask. `name` must not be a symbolic link. Returns false and sets
/// `errno` after an error; a refusal is not an error.
///
/// Rights that the process may not give are reduced:
/// - Owner: the file belongs to the process, with the rights that the process had.
/// - Group: the new group gets no rights. The members of the old group, and users whom the ACL
///   named, are "others" now. Others keep only the rights that all of these had.
/// - An ACL that cannot be set: the group keeps the rights of its own entry and the mask, without
///   those that the ACL denies to a named user. Others keep only the rights that all named users
///   had.
/// - An ACL that cannot be read (no /proc): only the owner keeps rights.
///
/// The set-user-ID, set-group-ID and sticky bits are removed: data needs none, and a write to the
/// old file would clear the first two as well.
///
/// The ACL is copied as the extended attribute `system.posix_acl_access`, with one call to read and
/// one to set. libacl would be a further dependency for the same bytes. Reading also works on a
/// file that the process may not read.
///
/// Limits: ACLs of another kind (NFSv4, SMB) are copied as the mode bits that they appear as. File
/// systems without rights (FAT) give every file the same. The directory determines security labels.
/// In a user namespace, 65534 stands for every id from outside, so it counts as an id that cannot
/// be given. File capabilities and other extended attributes are not copied.
bool takeOverRights(const posix::Descriptor &directory, const std::string &name,
                    const posix::Descriptor &newFile);

} // namespace filesystem
