// What a save keeps of the file that it replaces, and which files it does not overwrite.
#include "filesystem/StoredFile.h"

#include "filesystem/DamagedFile.h"
#include "filesystem/Posix.h"
#include "filesystem/RAMFileSystem.h"
#include "tests/Support.h"

#include <algorithm>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace filesystem;
using namespace testing_support;
using namespace std::string_literals;

static uid_t strangersId = 0; ///< if not 0, geteuid returns it

extern "C" uid_t geteuid() noexcept {
    return strangersId != 0 ? strangersId : ::getuid();
}

namespace {

/// Returns the bytes of a register file with one property of that name.
std::string registerFile(const QString &property) {
    struct Writer : FileHandle {
        Writer() : FileHandle(QString()) {}
    } bytes;
    RAMFileSystem tree;
    FileHandle *handle = nullptr;
    for (auto end = property.indexOf('/'); end >= 0; end = property.indexOf('/', end + 1))
        tree.mkdir(property.left(end));
    tree.open(property, &handle, FileSystem::WriteMode);
    tree.close(handle);
    tree.serialize(bytes);
    return std::string(bytes.bytes());
}

class Stored : public ::testing::Test {
protected:
    const TemporaryDirectory dir;
    const std::string file = dir / "f", previous = dir / "f.previous";
    // The sizes differ, because two writes can have the same file time.
    const std::string a = registerFile("a"), b = registerFile("bb"), c = registerFile("ccc");
    StoredFile stored{dir.path(), "f"};

    void readAndAccept() {
        registerFormat::Bytes content;
        ASSERT_EQ(stored.read(content), StoredFile::Result::Done);
        stored.accept();
    }
};

TEST_F(Stored, theFirstChangeKeepsThePreviousGeneration) {
    writeFile(file, a);
    ::chmod(file.c_str(), 0640);
    readAndAccept();
    EXPECT_TRUE(stored.replace(a));
    EXPECT_FALSE(fs::exists(previous)) << "the content is unchanged";
    for (const std::string &content : {b, c, a})
        EXPECT_TRUE(stored.replace(content)) << stored.error();
    EXPECT_EQ(readFile(file), a);
    EXPECT_EQ(readFile(previous), a) << "the generation from before this process is kept";
    fs::copy(file, dir / "copy");
    fs::rename(dir / "copy", file);
    EXPECT_TRUE(stored.replace(b)) << stored.error();
    EXPECT_EQ(readFile(previous), a) << "a copy of its own file counts as its own";
    EXPECT_TRUE(stored.replace(a)) << stored.error();
    EXPECT_EQ(fs::status(previous).permissions(), fs::perms(0640));
    EXPECT_EQ(listDirectory(dir.path()).size(), 2U);

    readAndAccept();
    fs::remove(previous);
    fs::create_directory(previous);
    stored = StoredFile(dir.path(), "f");
    readAndAccept();
    EXPECT_FALSE(stored.replace(b)) << "a file that cannot be kept is not overwritten";
    EXPECT_EQ(stored.error(), previous + ": keeping the previous generation: Is a directory");
    EXPECT_EQ(readFile(file), a);
    EXPECT_EQ(listDirectory(dir.path()).size(), 2U);
}

TEST_F(Stored, aFileThatNobodyHasReadIsKeptOrLeftAlone) {
    writeFile(file, a);
    EXPECT_TRUE(stored.replace(a));
    EXPECT_FALSE(fs::exists(previous)) << "equal content needs no copy";
    for (const std::string &others : {b, c}) {
        writeFile(file, others);
        EXPECT_TRUE(stored.replace(a)) << stored.error();
        EXPECT_EQ(readFile(previous), others) << "each such file is kept";
    }
    std::string newer = b, damaged = b;
    ++newer[8];
    damaged.back() ^= 1;
    const std::pair<std::string, std::string> foreign[] = {
        {"a poem", "This is not a register file."},
        {newer, "The register file has version 2; this library reads version 1."},
        {damaged, "The register file is damaged: its checksum does not match."},
        {b.substr(0, 40), "The register file is damaged: it should hold 22 bytes after its header "
                          "and holds 8."}};
    for (const auto &[content, reason] : foreign) {
        writeFile(file, content);
        EXPECT_FALSE(stored.replace(a));
        EXPECT_EQ(stored.error(), file + ": leaving it as it is: " + reason);
        EXPECT_EQ(readFile(file), content);
        registerFormat::Bytes seen;
        EXPECT_EQ(stored.read(seen), StoredFile::Result::Done); // but not accepted
        EXPECT_FALSE(stored.replace(a));
    }
    for (const bool isMissing : {false, true}) {
        writeFile(file, "");
        fs::remove(isMissing ? file : "");
        stored = StoredFile(dir.path(), "f");
        EXPECT_TRUE(stored.replace(a)) << stored.error();
        EXPECT_TRUE(stored.replace(b)) << stored.error();
        EXPECT_EQ(readFile(previous), c) << "such a file does not become the previous generation";
    }
}

TEST_F(Stored, aDamagedFileIsSetAsideForThePreviousGeneration) {
    const auto setAside = [&] {
        DamagedFile damaged(file);
        const auto result = damaged.setAside();
        EXPECT_NE(result, DamagedFile::Result::Failed);
        return result == DamagedFile::Result::NotNeeded
                   ? "not needed"
                   : damaged.newPath().substr(dir.path().size()) +
                         (damaged.previousRestored() ? " restored" : "");
    };
    writeFile(file, "1");
    writeFile(previous, "damaged too");
    EXPECT_EQ(setAside(), "/f.damaged");
    EXPECT_FALSE(fs::exists(file));
    writeFile(file, "2");
    writeFile(previous, registerFile(QString("d/").repeated(511) + "p")); // too deep for a scope
    EXPECT_EQ(setAside(), "/f.damaged.2");
    writeFile(file, "3");
    writeFile(previous, a);
    EXPECT_EQ(setAside(), "/f.damaged.3 restored");
    EXPECT_EQ(readFile(file), a);
    EXPECT_EQ(readFile(dir / "f.damaged") + readFile(dir / "f.damaged.2") +
                  readFile(dir / "f.damaged.3"),
              "123");
    readAndAccept();
    EXPECT_TRUE(stored.replace(b)) << stored.error();
    EXPECT_EQ(readFile(previous), a);
    stored.leaveAlone("it is not ours");
    EXPECT_FALSE(stored.replace(c));
    EXPECT_EQ(stored.error(), file + ": leaving it as it is: it is not ours");

    EXPECT_EQ(setAside(), "not needed");
    fs::remove(file);
    EXPECT_EQ(setAside(), "not needed");
    fs::create_directory(file);
    EXPECT_EQ(setAside(), "/f.damaged.4 restored");
    EXPECT_EQ(readFile(file), a);
    EXPECT_EQ(listDirectory(dir.path()).size(), 6U);
    writeFile(file, "");
    ::chmod(file.c_str(), 0640);
    ::chmod(previous.c_str(), 0644);
    EXPECT_EQ(setAside(), "/f.damaged.5 restored");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640)) << "not those of the generation";
    writeFile(previous, "");
    writeFile(file, "");
    EXPECT_EQ(setAside(), "not needed");
}

TEST_F(Stored, longNamesAndPathsAreSavedAsShortOnes) {
    std::string deep = dir.path();
    while (deep.size() < 4050)
        fs::create_directory(
            deep += "/" + std::string(std::min<std::size_t>(200, 4070 - deep.size()), 'd'));
    const std::string name(4093 - deep.size(), 'n'), longName(250, 'l');
    fs::create_symlink(longName, dir / "link");
    for (const auto &[directory, of] : {std::pair(deep, name), std::pair(dir.path(), "link"s)}) {
        StoredFile longFile(directory, of), another(directory, of);
        EXPECT_TRUE(longFile.replace(a)) << longFile.error();
        EXPECT_TRUE(another.replace(b)) << another.error(); // keeps the other's file
        registerFormat::Bytes content;
        EXPECT_EQ(longFile.read(content), StoredFile::Result::Done) << longFile.error();
        EXPECT_EQ(*content, b);
        EXPECT_EQ(listDirectory(directory).size(), directory == deep ? 2U : 4U);
    }
}

TEST_F(Stored, linksOfStrangersInSharedDirectoriesAreNotFollowed) {
    const std::string link =
        fs::temp_directory_path() / ("register-test-link-" + std::to_string(::getpid()));
    fs::create_symlink(file, link); // in /tmp, which every user can write to
    if (::getuid() == 0) {
        EXPECT_EQ(::lchown(link.c_str(), 12345, 12345), 0);
    }
    StoredFile shared(fs::path(link).parent_path(), fs::path(link).filename());
    strangersId = 54321;
    EXPECT_FALSE(shared.replace(a));
    EXPECT_EQ(shared.error(), link + ": following the symbolic link: Permission denied");
    registerFormat::Bytes content;
    EXPECT_EQ(shared.read(content), StoredFile::Result::Failed);
    strangersId = ::getuid() == 0 ? 12345 : 0;
    EXPECT_TRUE(shared.replace(a)) << shared.error();
    EXPECT_EQ(readFile(file), a);
    fs::remove(link);

    const std::string own = dir / "shared/link"; // belongs to the owner of the directory
    fs::create_directory(dir / "shared");
    ::chmod((dir / "shared").c_str(), 01777);
    fs::create_symlink(file, own);
    strangersId = 54321;
    EXPECT_TRUE(StoredFile(dir / "shared", "link").replace(a));
}

TEST_F(Stored, aReaderStopsAtTheLimitAndACancellationWaits) {
    const auto endless = posix::openForReading("/proc/self/maps", O_NONBLOCK); // of size 0
    std::string content;
    EXPECT_FALSE(posix::readAll(endless, 100, content));
    EXPECT_EQ(errno, EFBIG);

    bool saved = false;
    int state = PTHREAD_CANCEL_DISABLE;
    std::thread([&] {
        ::pthread_cancel(::pthread_self());
        saved = stored.replace(a);
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state); // or the next output ends it
    }).join();
    EXPECT_TRUE(saved);
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE);
    EXPECT_EQ(readFile(file), a);
}

} // namespace
