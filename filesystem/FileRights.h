#pragma once

#include "filesystem/Posix.h"

#include <string>

namespace filesystem {

/// Gives `newFile`, which is to replace `name` in `directory`, the rights of the old file: owner,
/// group, mode and POSIX ACL, as far as the process may. Nobody gets a right that the old file did
/// not give, at no moment: the new file is for its owner alone (0600) until the rest is known.
/// Without an old file it stays so, whatever the umask says. `name` must not be a symbolic link.
/// False, with `errno`, when an error left the rights unsettled; a refusal is none.
///
/// What the process may not give is narrowed:
/// - Another owner: the file becomes the process's own, with the rights that the process had.
/// - Another group: the group gets nothing. The members of the old group are "others" now, and so
///   are those whom the ACL named. Others keep only what all of these had.
/// - An ACL that cannot be set: the group keeps what its own entry and the mask allow, less what
///   the ACL denies to a user whom it names; others keep only what all those named had.
/// - An ACL that cannot be read (no /proc): the file is for its owner alone.
///
/// The set-user-ID, set-group-ID and sticky bits go: data needs none, and a write to the old file
/// would clear the first two as well.
///
/// The ACL is the extended attribute `system.posix_acl_access`, taken over as it is. That is one
/// call to read and one to set; libacl would be a further dependency for the same bytes. The call
/// also works on a file that the process may not read.
///
/// Approximated: ACLs of another kind (NFSv4, SMB) show as mode bits and are taken over as those.
/// File systems without rights of their own (FAT) give every file the same. Security labels are
/// those that the directory gives. In a user namespace, 65534 stands for every id from outside, so
/// this owner or group counts as one that cannot be given. File capabilities and other extended
/// attributes are not taken over.
bool takeOverRights(const posix::Descriptor &directory, const std::string &name,
                    const posix::Descriptor &newFile);

} // namespace filesystem
