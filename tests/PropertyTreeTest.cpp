// Names and paths, groups and properties.
#include "tests/Support.h"

using namespace testing_support;
using namespace utils::properties;

namespace {

TEST(Paths, namesBecomePathsAndComeBack) {
    const _Register &reg = startedRegister();
    for (const std::string name : {"", "a/b", "/a", "a//b", "..", "temp/x"})
        for (const RegisterScope scope : {GlobalScope, UserScope, TempScope})
            EXPECT_EQ(reg._pathToName(reg._nameToPath(name, scope)), name);
    EXPECT_EQ(reg._nameToPath("", UserScope), "/user/");
    EXPECT_EQ(reg._nameToPath("a/b", GlobalScope), "/global/a/b");
    EXPECT_EQ(reg._nameToPath("/a", TempScope), _Register::_TempRegisterPath + "/a");
    const std::pair<const char *, const char *> names[] = {{"/temp/x/y", "x/y"},
                                                           {"///user/a", "a"},
                                                           {"user/a", "a"},
                                                           {"/global/", ""},
                                                           {"/user//a", "/a"}};
    for (const auto &[path, name] : names)
        EXPECT_EQ(reg._pathToName(path), name);
    for (const char *path : {"", "/", "/temp", "/users/x", "/Global/x", "x/user/"})
        EXPECT_EQ(thrownBy([&] { reg._pathToName(path); }), "Bad scope value.") << path;
}

TEST(Paths, aNameIsFoundInTheUserThenTheGlobalThenTheTempScope) {
    _Register &reg = startedRegister();
    for (const RegisterScope scope : {TempScope, GlobalScope, UserScope}) {
        reg.addProperty("x", scope);
        EXPECT_EQ(reg._locateProperty("x"), reg._nameToPath("x", scope));
    }
    reg.addGroup("g", GlobalScope);
    EXPECT_EQ(reg._locateProperty("g"), "/global/g");
    EXPECT_EQ(thrownBy([&] { reg._locateProperty("missing"); }), "PropertyNotFound");
}

TEST(PropertyTree, propertiesAreCreatedWithTheirGroups) {
    _Register &reg = startedRegister();
    reg.addProperty("a/b/c", UserScope);
    for (const char *group : {"", "a", "a/b", "a//b/", "/a"})
        EXPECT_TRUE(reg.groupExists(group, UserScope)) << group;
    EXPECT_TRUE(reg.propertyExists("a/b/c", UserScope));
    EXPECT_FALSE(reg.groupExists("a/b/c", UserScope));
    for (const char *name : {"a", "a/b", "a/b/c"})
        EXPECT_FALSE(reg.propertyExists(name, GlobalScope)) << name;

    reg._writeInteger(nullptr, "a/b/c", 7, UserScope);
    reg.addProperty("a/b/c", UserScope);
    reg.addGroup("a/b/c", UserScope);
    reg.addProperty("a/b", UserScope);
    reg.addProperty("a/b/c/d", UserScope);
    int value = 0;
    reg._readInteger("a/b/c", value);
    EXPECT_EQ(value, 7) << "what exists stays as it is";
    EXPECT_TRUE(reg.groupExists("a/b", UserScope));

    reg.addGroup("t/u", TempScope);
    reg.addGroup("g", GlobalScope);
    EXPECT_TRUE(reg.groupExists("t/u"));
    EXPECT_TRUE(reg.propertyExists("g")) << "a group counts";
    EXPECT_FALSE(reg.groupExists("a/b/c"));
    EXPECT_FALSE(reg.propertyExists("missing"));
}

TEST(PropertyTree, deletionKeepsToItsScopeAndLeavesTheRoots) {
    _Register &reg = startedRegister();
    for (const RegisterScope scope : {GlobalScope, UserScope, TempScope}) {
        reg.addProperty("g/p", scope);
        reg.addProperty("q", scope);
    }
    reg.delProperty("q", UserScope);
    reg.delProperty("g", TempScope);
    reg.delProperty("missing", UserScope);
    for (const char *root : {"", "/", "//", ".", "..", "g/..", "../user"})
        reg.delProperty(root, UserScope);
    EXPECT_FALSE(reg.propertyExists("q", UserScope));
    EXPECT_TRUE(reg.propertyExists("q", GlobalScope));
    EXPECT_TRUE(reg.propertyExists("q", TempScope));
    EXPECT_FALSE(reg.propertyExists("g/p", TempScope));
    EXPECT_TRUE(reg.propertyExists("g/p", UserScope));
}

TEST(PropertyTree, aGroupListsItsOwnMembers) {
    _Register &reg = startedRegister();
    const auto listed = [&reg](const std::string &name, RegisterScope scope) {
        std::string all;
        for (const filesystem::DirEntry &entry : reg.propertyList(name, scope))
            all += entry.name.toStdString() + (entry.isDirectory ? "/ " : " ");
        return all;
    };
    EXPECT_EQ(listed("", UserScope), "");
    EXPECT_EQ(listed("", TempScope), "GlobalDataPath UserDataPath ");
    for (const char *name : {"fonts/size", "fonts/colors/red", "fonts/...", "fonts/.x", "top"})
        reg.addProperty(name, UserScope);
    reg.addProperty("fonts/other", GlobalScope);
    reg.addGroup("fonts/empty", UserScope);
    EXPECT_EQ(listed("fonts", UserScope), "... .x colors/ empty/ size ");
    EXPECT_EQ(listed("/fonts/", GlobalScope), "other ");
    EXPECT_EQ(listed("fonts/empty", UserScope), "");
    EXPECT_EQ(listed("", UserScope), "fonts/ top ");
}

TEST(PropertyTree, hostileNamesLeaveNoTrace) {
    _Register &reg = startedRegister();
    std::string deep;
    for (int level = 0; level < 100000; ++level)
        deep += "d/";
    const std::string names[] = {
        ".",      "..",         "a/../b",         "a/./b",
        "a/",     "../temp/x",  deep + "p",       std::string(1000000, 'n'),
        "a/\xFF", "a/\xC0\xAF", "a/\xED\xA0\x80", "a/\xEF\xBF\xBD"};
    const std::size_t before = reg.getFileList("/user/").size();
    for (const std::string &name : names) {
        reg.addProperty(name, UserScope);
        EXPECT_EQ(thrownBy([&] { reg._writeInteger(nullptr, name, 1, UserScope); }),
                  name + " no such property.");
        EXPECT_FALSE(reg.propertyExists(name)) << name.substr(0, 20);
    }
    EXPECT_EQ(reg.getFileList("/user/").size(), before);
    EXPECT_FALSE(reg.propertyExists("x"));

    // Names that differ stay different: both normal forms, a byte order mark, a zero byte.
    const std::string different[] = {"\xC3\xA9", "e\xCC\x81", "\xEF\xBB\xBFx", "x",
                                     std::string("x\0y", 3)};
    for (int i = 0; i < 5; ++i)
        reg._writeInteger(nullptr, different[i], i, UserScope);
    for (int i = 0, value = 0; i < 5; ++i) {
        reg._readInteger(different[i], value);
        EXPECT_EQ(value, i);
    }
}

} // namespace
