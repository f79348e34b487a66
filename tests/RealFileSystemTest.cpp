// Behaviour that only a disk has: rights, links, leftover files, special files.
#include "filesystem/RealFileSystem.h"
#include "tests/Support.h"

#include <array>
#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace filesystem;
using namespace testing_support;

static int ownersError = 0, aclError = 0; // the errors of fchown and fsetxattr
static ino_t foreignFile = 0;             // fstat reports a group that the process is not in

extern "C" int fchown(int file, uid_t owner, gid_t group) {
    errno = ownersError;
    return ownersError ? -1 : ::fchownat(file, "", owner, group, AT_EMPTY_PATH);
}
extern "C" int fsetxattr(int file, const char *name, const void *value, size_t size, int flags) {
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    errno = aclError;
    return aclError ? -1 : ::setxattr(path.c_str(), name, value, size, flags);
}
extern "C" int fstat(int file, struct stat *status) {
    const int result = ::fstatat(file, "", status, AT_EMPTY_PATH);
    if (result == 0 && status->st_ino == foreignFile)
        status->st_gid = ::getegid() + 1;
    return result;
}

namespace {

/// Returns an ACL in the format of the system. `rights` are those of the owner, a user, the group,
/// a named group, the mask and the others. Negative ones are left out.
std::string makeAcl(const std::array<int, 6> &rights) {
    std::string acl("\2\0\0\0", 4);
    for (std::size_t i = 0; i < rights.size(); ++i)
        if (rights[i] >= 0)
            acl += std::string{char(1U << i), 0, char(rights[i]), 0} +
                   std::string(4, i == 1 || i == 3 ? '\1' : '\377');
    return acl;
}

constexpr const char *accessAcl = "system.posix_acl_access";

bool setAcl(const std::string &path, const std::string &acl, const char *name = accessAcl) {
    return ::setxattr(path.c_str(), name, acl.data(), acl.size(), 0) == 0;
}

mode_t modeOf(const std::string &path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// Replaces the file. Returns the error message; empty on success.
std::string save(const std::string &root, const std::string &content, const char *name = "f") {
    RealFileSystem disk(QString::fromStdString(root));
    FileHandle *handle = nullptr;
    if (!disk.open(name, &handle, FileSystem::WriteMode))
        return disk.error();
    disk.write(handle, content.data(), static_cast<long>(content.size()));
    return disk.close(handle) ? "" : disk.error();
}

TEST(RealFileSystem, aNewFileIsPrivateAndAnOldOneKeepsItsMode) {
    const TemporaryDirectory root;
    const mode_t usual = ::umask(0777);
    EXPECT_EQ(save(root / "a/b", "new"), "");
    ::umask(usual);
    EXPECT_EQ(modeOf(root / "a"), 0700U);
    EXPECT_EQ(modeOf(root / "a/b"), 0700U);
    EXPECT_EQ(modeOf(root / "a/b/f"), 0600U);
    ::chmod((root / "a/b/f").c_str(), 0644);
    EXPECT_EQ(save(root / "a/b", "newer"), "");
    EXPECT_EQ(modeOf(root / "a/b/f"), 0644U);
    EXPECT_EQ(readFile(root / "a/b/f"), "newer");
    EXPECT_EQ(save(root / "a", "x", "missing/f"),
              (root / "a") + "/missing/f: opening its directory: No such file or directory");
}

TEST(RealFileSystem, aSaveGivesNobodyMoreRights) {
    const TemporaryDirectory root;
    const std::string file = root / "f", acl = makeAcl({6, 4, 4, 6, 7, 4});
    EXPECT_EQ(save(root.path(), "new"), "");
    ASSERT_TRUE(setAcl(root.path(), makeAcl({7, 7, 7, 7, 7, 7}), "system.posix_acl_default"));

    // Saves a file with that ACL. The new file must have the same ACL, or none. Returns its mode.
    const auto modeAfterSaving = [&](const std::string &old, bool keepsAcl = false) {
        EXPECT_TRUE(setAcl(file, old));
        struct stat status = {};
        foreignFile = ownersError && ::stat(file.c_str(), &status) == 0 ? status.st_ino : 0;
        EXPECT_EQ(save(root.path(), "new"), "");
        foreignFile = 0;
        char found[100];
        const ssize_t size = ::getxattr(file.c_str(), accessAcl, found, sizeof found);
        EXPECT_EQ(size < 0 ? "" : std::string(found, found + size), keepsAcl ? old : "");
        return modeOf(file);
    };
    EXPECT_EQ(modeAfterSaving(acl, true), 0674U);
    aclError = EINVAL;
    EXPECT_EQ(modeAfterSaving(acl), 0644U);
    EXPECT_EQ(modeAfterSaving(makeAcl({6, 7, 7, 7, 4, 6})), 0644U);
    EXPECT_EQ(modeAfterSaving(makeAcl({6, 0, 6, 6, 6, 4})), 0600U);
    EXPECT_EQ(modeAfterSaving(makeAcl({6, 6, 6, 0, 6, 4})), 0660U);
    aclError = 0;
    for (const int error : {EPERM, EINVAL, ENOSYS, EOPNOTSUPP}) {
        ownersError = error;
        EXPECT_EQ(modeAfterSaving(makeAcl({6, -1, 6, -1, -1, 0})), 0600U) << error;
    }
    EXPECT_EQ(modeAfterSaving(makeAcl({6, -1, 4, -1, -1, 6})), 0604U);
    EXPECT_EQ(modeAfterSaving(makeAcl({6, 4, 4, 0, 6, 4})), 0600U);
    ownersError = EIO;
    EXPECT_NE(save(root.path(), "lost"), "");
    EXPECT_EQ(readFile(file), "new");
    ownersError = 0;

    // A save by the superuser keeps owner and group. It clears the set-user-ID bit.
    struct stat status = {};
    const bool isSuperuser = ::chown(file.c_str(), 1234, 4321) == 0;
    ::chmod(file.c_str(), 04600);
    EXPECT_EQ(modeAfterSaving(makeAcl({6, -1, 4, -1, -1, 0})), 0640U);
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, isSuperuser ? 1234 : ::geteuid());
    EXPECT_EQ(status.st_gid, isSuperuser ? 4321 : ::getegid());
}

TEST(RealFileSystem, linksStayAndOnlyFilesAreReplaced) {
    const TemporaryDirectory root;
    writeFile(root / "elsewhere/target", "old");
    fs::create_symlink("elsewhere/target", root / "f");
    fs::create_symlink(root / "f", root / "ff");
    fs::create_symlink("elsewhere/fresh", root / "dangling");
    fs::create_symlink("loop", root / "loop");
    ASSERT_EQ(::mkfifo((root / "fifo").c_str(), 0600), 0);
    fs::create_symlink("fifo", root / "to-fifo");
    EXPECT_EQ(save(root.path(), "new", "ff"), "");
    EXPECT_TRUE(fs::is_symlink(root / "f"));
    EXPECT_EQ(readFile(root / "elsewhere/target"), "new");
    EXPECT_EQ(save(root.path(), "fresh", "dangling"), "");
    EXPECT_EQ(readFile(root / "elsewhere/fresh"), "fresh");
    EXPECT_EQ(listDirectory(root / "elsewhere").size(), 2U);

    EXPECT_EQ(save(root.path(), "x", "loop"),
              (root / "loop") + ": following the symbolic link: Too many levels of symbolic links");
    EXPECT_EQ(save(root.path(), "x", "to-fifo"),
              (root / "fifo") + ": preparing its replacement: Invalid argument");
    EXPECT_TRUE(fs::is_fifo(root / "fifo"));

    RealFileSystem disk(QString::fromStdString(root.path()));
    FileHandle *handle = nullptr;
    EXPECT_FALSE(disk.open("fifo", &handle, FileSystem::ReadMode))
        << "the open fails and does not wait for a writer";
    EXPECT_TRUE(disk.exists("loop")) << "a name that cannot be checked counts as existing";
    EXPECT_FALSE(disk.open("loop", &handle, FileSystem::ReadMode));
    EXPECT_FALSE(disk.exists("dangling/x"));
}

TEST(RealFileSystem, nothingIsBelowARootWithoutAName) {
    for (const char *name : {"", "/tmp/\uFFFD"}) {
        RealFileSystem nowhere{QString(name)};
        FileHandle *handle = nullptr;
        EXPECT_FALSE(nowhere.exists("tmp"));
        EXPECT_FALSE(nowhere.isDirectory("/"));
        EXPECT_FALSE(nowhere.mkdir("register-test"));
        EXPECT_FALSE(nowhere.open("f", &handle, FileSystem::WriteMode));
        EXPECT_FALSE(nowhere.error().empty());
    }
}

TEST(RealFileSystem, leftOversOfAKilledSaveGoAndAllElseStays) {
    const TemporaryDirectory root;
    writeFile(root / ".f.saving-abc123", "half");
    writeFile(root / ".f.saving-lively", "of a save that is under way");
    for (const char *kept :
         {"f.backup", "f.bak", ".f.saving-", ".f.saving-1234567", ".g.saving-abc123"})
        writeFile(root / kept, "a user's own");
    const int live = ::open((root / ".f.saving-lively").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(live, LOCK_EX), 0);
    EXPECT_EQ(save(root.path(), "new"), "");
    EXPECT_FALSE(fs::exists(root / ".f.saving-abc123"));
    EXPECT_EQ(listDirectory(root.path()).size(), 7U);
    ::close(live);
}

} // namespace
