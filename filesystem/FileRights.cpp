#include "filesystem/FileRights.h"

#include "filesystem/ByteReader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string_view>

#include <fcntl.h>
#include <linux/limits.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace filesystem {

namespace {

constexpr const char *accessAcl = "system.posix_acl_access";
constexpr mode_t ownerBits = 0700;
constexpr unsigned unchanged = -1U; // as `fchown` has it

/// Returns false for an error. A refusal is not an error: the process may not do this, or the file
/// system cannot.
bool doneOrRefused(int result) {
    return result == 0 || errno == EPERM || errno == EACCES || errno == EINVAL ||
           errno == EOVERFLOW || errno == ENOSYS || errno == EOPNOTSUPP;
}

/// Returns false for an id that may stand for another one, from outside the user namespace. `map`
/// is the file that lists the ids inside.
bool isKnown(unsigned id, const char *map) {
    constexpr unsigned overflowId = 65534, all = UINT32_MAX;
    if (id != overflowId)
        return true;
    constexpr std::size_t maxSize = 64 * 1024;
    std::string content;
    posix::readAll(posix::openForReading(map, 0), maxSize, content);
    std::istringstream numbers(content);
    unsigned inside = 0, outside = 0, count = 0;
    return numbers >> inside >> outside >> count && count == all;
}

/// What the new file has of the old one.
struct Kept {
    bool owner = false;
    bool group = false;
};

/// Gives owner and group one by one: a member of the group may give the group alone.
bool giveOwners(const posix::Descriptor &file, const struct stat &old, Kept &kept) {
    const bool ownerKnown = isKnown(old.st_uid, "/proc/self/uid_map");
    const bool groupKnown = isKnown(old.st_gid, "/proc/self/gid_map");
    struct stat now = {};
    if ((groupKnown && !doneOrRefused(::fchown(file.number(), unchanged, old.st_gid))) ||
        (ownerKnown && !doneOrRefused(::fchown(file.number(), old.st_uid, unchanged))) ||
        ::fstat(file.number(), &now) == -1)
        return false;
    kept.owner = ownerKnown && now.st_uid == old.st_uid;
    kept.group = groupKnown && now.st_gid == old.st_gid;
    return true;
}

/// The rights of the process to the file, as an owner's mode bits.
mode_t ownRights(const posix::Descriptor &directory, const std::string &name) {
    mode_t rights = 0;
    for (const int access : {R_OK, W_OK, X_OK}) // the same bits as in a mode
        if (::faccessat(directory.number(), name.c_str(), access, AT_EACCESS) == 0)
            rights |= static_cast<mode_t>(access);
    return rights << 6U;
}

/// Reads the ACL; empty if there is none. Returns false when it cannot be read.
bool readAcl(const posix::Descriptor &file, std::string &acl) {
    const std::string path = "/proc/self/fd/" + std::to_string(file.number());
    acl.resize(XATTR_SIZE_MAX);
    const ssize_t size = ::getxattr(path.c_str(), accessAcl, acl.data(), acl.size());
    acl.resize(size == -1 ? 0 : static_cast<std::size_t>(size));
    return size != -1 || errno == ENODATA || errno == EOPNOTSUPP || errno == ENOSYS;
}

/// Sets the bits of the group and of others in `mode` to the rights that the ACL gives to them and
/// to everybody it names. Returns false for an ACL of unknown form.
bool narrowToAcl(std::string_view acl, mode_t &mode) {
    ByteReader reader(acl);
    std::uint32_t version = 0, id = 0;
    std::uint16_t tag = 0, rights = 0;
    if (!reader.take(version) || version != POSIX_ACL_XATTR_VERSION || reader.atEnd())
        return false;
    std::array<mode_t, ACL_OTHER + 1> common; // the rights that all entries of a tag have in common
    common.fill(7);
    while (!reader.atEnd()) {
        if (!reader.take(tag) || tag > ACL_OTHER || !reader.take(rights) || !reader.take(id))
            return false;
        common[tag] &= rights;
    }
    const mode_t named = common[ACL_USER] & common[ACL_MASK];
    mode = (mode & ownerBits) | (common[ACL_GROUP_OBJ] & named) << 3U |
           (common[ACL_OTHER] & named & common[ACL_GROUP]);
    return true;
}

/// The mode of a file that has lost its group.
mode_t withoutGroup(mode_t mode) {
    return (mode & ownerBits) | (mode & mode >> 3U & 7U);
}

/// Sets the ACL, with the owner's rights from `mode`. The owner's entry is the first.
bool giveAcl(const posix::Descriptor &file, std::string acl, mode_t mode) {
    acl[sizeof(posix_acl_xattr_header) + offsetof(posix_acl_xattr_entry, e_perm)] =
        static_cast<char>(mode >> 6U);
    return ::fsetxattr(file.number(), accessAcl, acl.data(), acl.size(), 0) == 0;
}

/// Sets the mode and removes an ACL that the directory gave to the new file. If that ACL cannot be
/// removed, its mask becomes empty.
bool giveMode(const posix::Descriptor &file, mode_t mode) {
    ::fremovexattr(file.number(), accessAcl);
    const bool hasAcl = ::fgetxattr(file.number(), accessAcl, nullptr, 0) > 0;
    return doneOrRefused(::fchmod(file.number(), hasAcl ? mode & ownerBits : mode));
}

} // namespace

bool takeOverRights(const posix::Descriptor &directory, const std::string &name,
                    const posix::Descriptor &newFile) {
    if (!doneOrRefused(::fchmod(newFile.number(), 0600)))
        return false;
    const posix::Descriptor oldFile(posix::retryInterrupted([&] {
        return ::openat(directory.number(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    }));
    if (!oldFile)
        return errno == ENOENT;
    struct stat old = {};
    if (::fstat(oldFile.number(), &old) == -1)
        return false;
    if (!S_ISREG(old.st_mode)) {
        errno = EINVAL;
        return false;
    }
    Kept kept;
    if (!giveOwners(newFile, old, kept))
        return false;

    mode_t mode = old.st_mode & 0777;
    std::string acl;
    if (!readAcl(oldFile, acl) || (!acl.empty() && !narrowToAcl(acl, mode))) {
        acl.clear();
        mode &= ownerBits;
    }
    if (!kept.owner)
        mode = (mode & ~ownerBits) | ownRights(directory, name);
    if (!kept.group)
        return giveMode(newFile, withoutGroup(mode));
    return (!acl.empty() && giveAcl(newFile, acl, mode)) || giveMode(newFile, mode);
}

} // namespace filesystem
