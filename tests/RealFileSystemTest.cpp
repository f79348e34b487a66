// What only a disk has: rights, links, left-overs, devices, a disk that is full.
#include "filesystem/RealFileSystem.h"
#include "tests/Support.h"

#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace filesystem;
using namespace testing_support;

namespace {

mode_t modeOf(const std::string &path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// Replaces the file; "" or why that failed.
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
    EXPECT_EQ(save(root / "a/b", "new"), "");
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
    EXPECT_FALSE(disk.open("fifo", &handle, FileSystem::ReadMode)) << "and it does not wait";
    EXPECT_TRUE(disk.exists("loop")) << "what cannot be told counts as there";
    EXPECT_FALSE(disk.open("loop", &handle, FileSystem::ReadMode));
    EXPECT_FALSE(disk.exists("dangling/x"));
}

TEST(RealFileSystem, replacingTakesTheContentAtOnce) {
    const TemporaryDirectory root;
    RealFileSystem disk(QString::fromStdString(root / "a"));
    EXPECT_FALSE(disk.replace("missing/f", "new"));
    EXPECT_EQ(disk.error(), save(root / "a", "new", "missing/f"));
    EXPECT_TRUE(disk.replace("f", "new"));
    EXPECT_EQ(disk.error(), "");
    EXPECT_EQ(readFile(root / "a/f"), "new");
    EXPECT_EQ(listDirectory(root / "a").size(), 1U);
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
