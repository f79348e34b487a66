// What a client sees that has the shared library and the public headers only.
#include <filesystem/RAMFileSystem.h>
#include <register/Register.h>

#include <gtest/gtest.h>

using namespace utils::properties;

namespace {

TEST(SharedLibrary, theTreeIsAFileSystemForItsClients) {
    _Register &tree = _Register::getInstance(); // nothing of its own hides what it inherits
    tree._writeInteger(nullptr, "group/number", 258, TempScope);
    filesystem::FileHandle *handle = nullptr;
    ASSERT_TRUE(tree.open("/temp/group/number", &handle, filesystem::FileSystem::ReadMode));
    EXPECT_EQ(tree.readByte(handle), 'I');
    EXPECT_EQ(tree.readInt(handle), 258);
    EXPECT_EQ(tree.tell(handle), tree.size(handle));
    EXPECT_TRUE(tree.close(handle));
    EXPECT_EQ(filesystem::dirName("a/b/c"), "a/b");
    EXPECT_EQ(filesystem::dirName("a"), "");
    EXPECT_EQ(filesystem::dirName("/"), "");
}

} // namespace
