// What a client sees that has the shared library and the public headers only.
#include <filesystem/RAMFileSystem.h>
#include <register/Register.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <dlfcn.h>
#include <stdlib.h>

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

TEST(SharedLibrary, aSecondCopyInTheProcessIsIndependent) {
    char directory[] = "/tmp/register-test-XXXXXX";
    ASSERT_NE(::mkdtemp(directory), nullptr);
    _Register::initialize("", directory);
    _Register &reg = _Register::getInstance();
    const void *mutex = _Register::_mutex;
    const std::string copy = directory + std::string("/libother.so");
    std::filesystem::copy(REGISTER_LIBRARY, copy);
    void *library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    EXPECT_EQ(_Register::_UserRegisterPath, directory);
    EXPECT_EQ(_Register::_mutex, mutex);
    const auto other = reinterpret_cast<_Register &(*)()>(
        ::dlsym(library, "_ZN5utils10properties9_Register11getInstanceEv"));
    EXPECT_NE(&other(), &reg);
    EXPECT_FALSE(other().propertyExists("UserDataPath"));
    ::dlclose(library);
    reg._writeString(nullptr, "theme", "dark", UserScope);
    reg.save();
    EXPECT_EQ(reg.saveError(), "");
    std::filesystem::remove_all(directory);
    _Register::_UserRegisterPath.clear(); // the exit saves nothing
}

} // namespace
