// The behaviour of every file system, in memory and on the disk.
#include "filesystem/RAMFileSystem.h"
#include "filesystem/RealFileSystem.h"
#include "tests/Support.h"

#include <climits>
#include <memory>

#include <dlfcn.h>

using namespace filesystem;
namespace fs = testing_support::fs;
using testing_support::TemporaryDirectory;
using testing_support::thrownBy;

namespace {

class FileSystemContract : public testing::TestWithParam<bool> {
protected:
    std::unique_ptr<FileSystem> newFileSystem() {
        if (!GetParam())
            return std::make_unique<RAMFileSystem>();
        roots.push_back(std::make_unique<TemporaryDirectory>());
        return std::make_unique<RealFileSystem>(QString::fromStdString(roots.back()->path()));
    }
    FileHandle *opened(const char *path, FileSystem::FileSystemMode mode) {
        FileHandle *handle = nullptr;
        EXPECT_TRUE(fs->open(path, &handle, mode)) << path;
        return handle;
    }
    void write(const char *path, const std::string &content) {
        FileHandle *handle = opened(path, FileSystem::WriteMode);
        fs->write(handle, content.data(), static_cast<long>(content.size()));
        EXPECT_TRUE(fs->close(handle));
    }
    std::string content(const char *path) {
        FileHandle *handle = nullptr;
        if (!fs->open(path, &handle, FileSystem::ReadMode))
            return "(none)";
        std::string bytes = fs->readBytes(handle, INT_MAX);
        fs->close(handle);
        return bytes;
    }
    static std::string names(FileSystem &files, const QString &path) {
        std::string all;
        for (const DirEntry &entry : files.getFileList(path))
            all += entry.name.toStdString() + (entry.isDirectory ? "/ " : " ");
        return all;
    }

    std::vector<std::unique_ptr<TemporaryDirectory>> roots;
    std::unique_ptr<FileSystem> fs = newFileSystem();
};

TEST_P(FileSystemContract, directoriesAndFilesAreToldApart) {
    EXPECT_TRUE(fs->isDirectory("/"));
    EXPECT_TRUE(fs->mkdir("/d"));
    EXPECT_FALSE(fs->mkdir("/d"));
    EXPECT_FALSE(fs->mkdir("/missing/d"));
    write("/d/f", "x");
    EXPECT_FALSE(fs->mkdir("/d/f/g"));
    struct {
        const char *path;
        bool directory, file;
    } const rows[] = {{"/d", true, false},       {"/d/", true, false},    {"d", true, false},
                      {"//d//f", false, true},   {"/d/f", false, true},   {"/d/f/", false, false},
                      {"/d/f/g", false, false},  {"/e", false, false},    {"/d/.", false, false},
                      {"/d/../d", false, false}, {"/d/..", false, false}, {"", true, false}};
    for (const auto &row : rows) {
        EXPECT_EQ(fs->isDirectory(row.path), row.directory) << row.path;
        EXPECT_EQ(fs->isFile(row.path), row.file) << row.path;
        EXPECT_EQ(fs->exists(row.path), row.directory || row.file) << row.path;
    }
    write("/b", "");
    write("/.x", "");
    write("/...", "");
    EXPECT_EQ(names(*fs, "/"), "... .x b d/ ");
    EXPECT_EQ(names(*fs, "/d/"), "f ");
    EXPECT_EQ(names(*fs, "/b"), "");
}

TEST_P(FileSystemContract, openRefusesWhatItCannotOpen) {
    fs->mkdir("/d");
    write("/f", "x");
    const QString loneSurrogate(QChar(0xD800)), tooLong = "/" + QString(256, 'n');
    const std::pair<int, std::vector<QString>> rows[] = {
        {FileSystem::ReadMode, {"/missing", "/d", "/f/", "/d/../f", tooLong}},
        {FileSystem::WriteMode,
         {"/d", "/d/", "/", "/f/", "/f/g", "/none/f", "/..", "/.", "/d/../n", "/d/n\uFFFD",
          loneSurrogate, tooLong}},
        {2, {"/f"}},
        {-1, {"/f"}}};
    for (const auto &[mode, paths] : rows)
        for (const QString &path : paths) {
            FileHandle *handle = nullptr;
            EXPECT_FALSE(fs->open(path, &handle, FileSystem::FileSystemMode(mode)))
                << path.toStdString() << " in mode " << mode;
            EXPECT_EQ(handle, nullptr);
        }
    EXPECT_EQ(names(*fs, "/"), "d/ f ");
    EXPECT_EQ(names(*fs, "/d"), "");
    EXPECT_FALSE(fs->close(nullptr));
    EXPECT_EQ(fs->size(nullptr), -1);
    EXPECT_EQ(fs->readInt(nullptr), 0);
    EXPECT_FALSE(fs->writeInt(nullptr, 1));
}

TEST_P(FileSystemContract, typedValuesComeBack) {
    FileHandle *out = opened("/f", FileSystem::WriteMode);
    EXPECT_TRUE(fs->writeByte(out, '\x80'));
    EXPECT_TRUE(fs->writeShort(out, -2));
    EXPECT_TRUE(fs->writeInt(out, INT_MIN));
    EXPECT_TRUE(fs->writeFloat(out, -1.5F));
    EXPECT_EQ(fs->write(out, "a\0b", 3), 3);
    EXPECT_EQ(fs->write(out, "a", -1), -1);
    EXPECT_EQ(fs->readByte(out), 0) << "a handle for writing does not read";
    EXPECT_TRUE(fs->close(out));
    EXPECT_EQ(content("/f"), std::string("\x80\xFE\xFF\0\0\0\x80\0\0\xC0\xBF"
                                         "a\0b",
                                         14));

    FileHandle *in = opened("/f", FileSystem::ReadMode);
    RAMFileSystem other; // any file system reads any handle
    EXPECT_EQ(fs->readByte(in), '\x80');
    EXPECT_EQ(other.readShort(in), -2);
    EXPECT_EQ(fs->readInt(in), INT_MIN);
    EXPECT_EQ(other.readFloat(in), -1.5F);
    EXPECT_EQ(fs->readBytes(in, 3), std::string("a\0b", 3));
    EXPECT_EQ(fs->readByte(in), 0);
    EXPECT_TRUE(fs->seek(in, -3, FileSystem::EndOrigin));
    EXPECT_EQ(fs->readInt(in), 0) << "three bytes are too short for an integer";
    EXPECT_EQ(fs->tell(in), 14);
    EXPECT_TRUE(fs->seek(in, 10, FileSystem::BeginOrigin));
    EXPECT_TRUE(fs->skip(in, 1));
    EXPECT_FALSE(fs->skip(in, 4));
    EXPECT_FALSE(fs->seek(in, LONG_MAX, FileSystem::CurrentOrigin));
    EXPECT_EQ(fs->readBytes(in, INT_MAX).size(), 3U);
    EXPECT_EQ(fs->tell(in), fs->size(in));
    EXPECT_TRUE(fs->seek(in, 0, FileSystem::EndOrigin)) << "the end is a position";
    EXPECT_EQ(fs->readBytes(in, -1) + fs->readBytes(in, INT_MIN), "");
    char unread = 'x';
    EXPECT_EQ(fs->read(in, &unread, -1), -1);
    EXPECT_EQ(fs->tell(in), fs->size(in));
    EXPECT_FALSE(fs->writeByte(in, 'x'));
    fs->close(in);
    EXPECT_EQ(fs->size("/f"), 14);
    EXPECT_EQ(fs->size("/"), -1);
}

TEST_P(FileSystemContract, handlesAreSnapshots) {
    write("/f", "old");
    FileHandle *reader = opened("/f", FileSystem::ReadMode);
    FileHandle *writer = opened("/f", FileSystem::WriteMode);
    fs->write(writer, "longer", 6);
    fs->seek(writer, 0, FileSystem::BeginOrigin);
    fs->write(writer, "L", 1);
    EXPECT_EQ(content("/f"), "old") << "a write is not visible before close";
    EXPECT_TRUE(fs->close(writer));
    EXPECT_EQ(content("/f"), "Longer");
    EXPECT_TRUE(fs->remove("/f"));
    EXPECT_EQ(fs->readBytes(reader, 9), "old");
    fs->close(reader);

    write("/g", "old");
    FileHandle *dropped = opened("/g", FileSystem::WriteMode);
    fs->write(dropped, "new", 3);
    EXPECT_TRUE(fs->seek(dropped, 1, FileSystem::BeginOrigin));
    delete dropped;
    EXPECT_EQ(content("/g"), "old");
    EXPECT_EQ(names(*fs, "/"), "g ") << "a deleted handle leaves nothing";
}

TEST_P(FileSystemContract, removeTakesWhatIsInADirectory) {
    fs->mkdir("/d");
    fs->mkdir("/d/e");
    write("/d/e/f", "x");
    write("/g", "x");
    for (const char *path : {"/", "", "//", "/missing", "/g/", "/d/..", "/g/x"})
        EXPECT_FALSE(fs->remove(path)) << path;
    EXPECT_TRUE(fs->remove("/d/"));
    EXPECT_EQ(names(*fs, "/"), "g ");
    EXPECT_EQ(fs->getUniqueFileName("/", "g", ""), "//g1");
    write("/g1", "");
    EXPECT_EQ(fs->getUniqueFileName("/", "g", ""), "//g2");
}

TEST_P(FileSystemContract, aSubtreeIsRebuiltElsewhere) {
    for (const char *path : {"/s", "/s/d", "/s/empty", "/t"})
        fs->mkdir(path);
    write("/s/a", std::string("\0\xFF", 2));
    write("/s/d/\u00e9", "accent");
    RAMFileSystem memory;
    FileHandle *out = nullptr;
    ASSERT_TRUE(memory.open("/bytes", &out, FileSystem::WriteMode));
    EXPECT_FALSE(fs->serialize("/s/a", *out)) << "a file is not a subtree";
    ASSERT_TRUE(fs->serialize("/s", *out));
    memory.close(out);

    FileHandle *in = nullptr;
    memory.open("/bytes", &in, FileSystem::ReadMode);
    EXPECT_FALSE(fs->serialize("/s", *in)) << "a handle for reading";
    EXPECT_FALSE(fs->unserialize("/missing", *in));
    ASSERT_TRUE(fs->unserialize("/t", *in));
    EXPECT_TRUE(GetParam() || fs->tell(in) == fs->size(in)) << "the handle is read to its end";
    fs->close(in);
    EXPECT_EQ(names(*fs, "/t"), "a d/ empty/ ");
    EXPECT_EQ(content("/t/a"), std::string("\0\xFF", 2));
    EXPECT_EQ(content("/t/d/\u00e9"), "accent");

    const std::unique_ptr<FileSystem> copy = newFileSystem();
    memory.open("/whole", &out, FileSystem::WriteMode);
    ASSERT_TRUE(fs->serialize(*out));
    memory.close(out);
    memory.open("/whole", &in, FileSystem::ReadMode);
    ASSERT_TRUE(copy->unserialize(*in));
    memory.close(in);
    EXPECT_EQ(names(*copy, "/"), "s/ t/ ");
    EXPECT_EQ(names(*copy, "/s/d"), "\u00e9 ");
}

INSTANTIATE_TEST_SUITE_P(FileSystems, FileSystemContract, testing::Bool(),
                         [](const auto &row) { return row.param ? "disk" : "memory"; });

TEST(RAMFileSystem, aPathIsNeitherTooDeepNorTooLong) {
    RAMFileSystem memory;
    QString path;
    for (int level = 1; level <= 512; ++level)
        ASSERT_TRUE(memory.mkdir(path += "/d")) << level;
    EXPECT_FALSE(memory.mkdir(path + "/d"));
    EXPECT_TRUE(memory.mkdir("/" + QString(255, QChar(0x20AC))));
    EXPECT_FALSE(memory.mkdir("/" + QString(256, QChar(0xE9))));
    memory.mkdir("/\uFEFFname");
    EXPECT_FALSE(memory.exists("/name"));
    EXPECT_EQ(memory.getFileList("/").rbegin()->name.size(), 5) << "a byte order mark is kept";
}

TEST(RAMFileSystem, aHandleOutlivesItsTree) {
    auto memory = std::make_unique<RAMFileSystem>();
    FileHandle *handle = nullptr;
    ASSERT_TRUE(memory->open("/f", &handle, FileSystem::WriteMode));
    memory.reset();
    RAMFileSystem other;
    EXPECT_TRUE(other.writeByte(handle, 'x'));
    EXPECT_TRUE(other.close(handle));
    EXPECT_FALSE(other.exists("/f"));
}

TEST(RealFileSystem, aTreeIsReadWithoutItsLinksAndBuiltInAnEmptyDirectory) {
    const TemporaryDirectory root;
    testing_support::writeFile(root / "full/f", "x");
    testing_support::writeFile(root / "other/f", "x");
    fs::create_directory_symlink(root / "other", root / "full/link");
    RealFileSystem disk(QString::fromStdString(root.path()));
    RAMFileSystem memory;
    FileHandle *handle = nullptr;
    memory.open("/f", &handle, FileSystem::WriteMode);
    EXPECT_FALSE(disk.serialize("/full", *handle)) << "a link could form a cycle";
    memory.close(handle);
    memory.open("/f", &handle, FileSystem::ReadMode);
    EXPECT_FALSE(disk.unserialize("/full", *handle));
    memory.close(handle);
}

TEST(RealFileSystem, aSharedObjectIsLoadedAndGivesItsSymbols) {
    Dl_info qt = {};
    ASSERT_NE(::dladdr(reinterpret_cast<void *>(&qVersion), &qt), 0);
    const fs::path file = fs::canonical(qt.dli_fname);
    RealFileSystem disk(QString::fromStdString(file.parent_path().string()));
    const QString name = QString::fromStdString(file.filename().string());
    void *module = disk.loadModule(name);
    ASSERT_NE(module, nullptr);
    EXPECT_NE(disk.getSymbolAddress(module, "qVersion"), nullptr);
    EXPECT_EQ(disk.getSymbolAddress(module, "noSuchSymbol"), nullptr);
    EXPECT_EQ(disk.getSymbolAddress(nullptr, "qVersion"), nullptr);
    EXPECT_TRUE(disk.unloadModule(module));
    EXPECT_FALSE(disk.unloadModule(nullptr));
    for (const char *path : {"missing", "..", ""})
        EXPECT_EQ(disk.loadModule(path), nullptr) << path;
    EXPECT_EQ(RAMFileSystem().loadModule(name), nullptr);
}

} // namespace
