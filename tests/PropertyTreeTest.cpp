// Names and paths, and the roots of the scopes. The operations fuzzer compares groups and
// properties with a model.
#include "tests/Operations.h"

using namespace testing_support;
using namespace utils::properties;

namespace {

TEST(Paths, namesBecomePathsAndComeBack) {
    const _Register &reg = startedRegister();
    for (const std::string name : {"", "a/b", "/a", "a//b", "..", "temp/x"})
        for (const RegisterScope scope : {GlobalScope, UserScope, TempScope})
            EXPECT_EQ(reg._pathToName(reg._nameToPath(name, scope)), name);
    EXPECT_EQ(reg._nameToPath("", UserScope), "/user/");
    EXPECT_EQ(reg._nameToPath("/a", TempScope), _Register::_TempRegisterPath + "/a");
    EXPECT_EQ(reg._pathToName("///user/a"), "a");
    EXPECT_EQ(reg._pathToName("user//a"), "/a");
    for (const char *path : {"", "/", "/temp", "/users/x", "/Global/x", "x/user/"})
        EXPECT_EQ(thrownBy([&] { reg._pathToName(path); }), "Bad scope value.") << path;
}

TEST(PropertyTree, aNameIsFoundInTheUserThenTheGlobalThenTheTempScope) {
    _Register &reg = startedRegister();
    for (const RegisterScope scope : {TempScope, GlobalScope, UserScope}) {
        reg.addProperty("x", scope);
        EXPECT_EQ(reg._locateProperty("x"), reg._nameToPath("x", scope));
        const std::string group = "g" + std::to_string(scope);
        reg.addGroup(group, scope);
        EXPECT_EQ(reg._locateProperty(group), reg._nameToPath(group, scope));
        EXPECT_TRUE(reg.groupExists(group) && reg.propertyExists(group));
    }
    EXPECT_FALSE(reg.groupExists("x") || reg.groupExists("missing"));
    EXPECT_EQ(thrownBy([&] { reg._locateProperty("missing"); }), "PropertyNotFound");
}

TEST(PropertyTree, hostileNamesLeaveNoTrace) {
    _Register &reg = startedRegister();
    std::string deep;
    for (int level = 0; level < 100000; ++level)
        deep += "d/";
    for (const std::string &name : {std::string("../temp/x"), deep + "p", std::string(1000000, 'n'),
                                    std::string("a/\xED\xA0\x80"), std::string("\xEF\xBF\xBD")}) {
        reg.addProperty(name, UserScope);
        EXPECT_EQ(thrownBy([&] { reg._writeInteger(nullptr, name, 1, UserScope); }),
                  name + " no such property.");
        EXPECT_FALSE(reg.propertyExists(name)) << name.substr(0, 20);
    }
    reg.addProperty("kept", UserScope);
    for (const char *other : {"", "/", "//", ".", "..", "g/..", "../user", "kept/"})
        reg.delProperty(other, UserScope);
    EXPECT_EQ(reg.propertyList("", UserScope).size(), 1U);
    EXPECT_FALSE(reg.propertyExists("x"));
    const std::string zero("x\0y", 3);
    reg._writeInteger(nullptr, zero, 1, UserScope);
    EXPECT_FALSE(reg.propertyExists("x"));
    EXPECT_TRUE(reg.propertyExists(zero, UserScope));
}

TEST(PropertyTree, aScopeWhoseRootIsGoneIsEmptyUntilItIsWrittenTo) {
    _Register &reg = startedRegister();
    const Operations operations;
    for (const RegisterScope scope : {UserScope, TempScope}) {
        const QString root = QString::fromStdString(reg._nameToPath("", scope)).chopped(1);
        reg._writeInteger(nullptr, "g/p", 1, scope);
        ASSERT_TRUE(reg.remove(root));
        EXPECT_FALSE(reg.propertyExists("g/p") || reg.groupExists("", scope));
        EXPECT_EQ(thrownBy([&] { reg.propertyList("", scope); }),
                  " does not exist or is not a group.");
        EXPECT_EQ(thrownBy([&] { reg.openProperty("p", _Register::WriteMode, scope); }),
                  "Cannot open property named p !");
        for (const Operation &write : operations.writes) {
            EXPECT_NE(thrownBy([&] { write.run(reg, "", scope); }), "nothing") << write.label;
            EXPECT_EQ(thrownBy([&] { write.run(reg, "p", scope); }), "nothing") << write.label;
            EXPECT_EQ(reg.propertyList("", scope).size(), 1U);
            ASSERT_TRUE(reg.remove(root));
        }
        // A file replaces the root.
        setRawBytes(reg, root.toStdString(), "x");
        for (const Operation &operation : operations.all())
            thrownBy([&] { operation.run(reg, "p", scope); });
        reg.addGroup("kept", GlobalScope);
        reg.removeGroup(nullptr, "", scope);
        EXPECT_TRUE(reg.groupExists("kept", GlobalScope)) << "only one scope is emptied";
        EXPECT_FALSE(reg.propertyExists("p") || reg.groupExists("", scope));
        EXPECT_EQ(rawBytes(reg, root.toStdString()), "x");
        EXPECT_EQ(thrownBy([&] { reg.load(); }),
                  scope == UserScope ? "/user/ is not a group." : "nothing");
        ASSERT_TRUE(reg.remove(root));
        reg.addGroup("", scope);
        EXPECT_TRUE(reg.groupExists("", scope));
    }
}

TEST(PropertyTree, aRemovedGroupIsToldPropertyByProperty) {
    _Register &reg = startedRegister();
    std::vector<std::string> told;
    Recorder recorder(told, "", &told, [&](auto &) {
        EXPECT_EQ(reg.propertyExists("g/p", UserScope) + reg.propertyExists("g/h", UserScope), 0);
    });
    reg.addCallback("g", &recorder);
    reg.addCallback("a", &recorder);
    for (const std::string name : {"g/h/q", "g/p", "g/own", "a/x", "a/y"})
        reg._writeInteger(&told, name, 1, UserScope);
    reg.addGroup("g/empty", UserScope);
    reg.removeGroup(&reg, "none", UserScope);
    reg.removeGroup(&told, "g/own", UserScope); // the recorder's own change
    reg.removeGroup(&reg, "/g//", UserScope);
    reg.removeGroup(&reg, "/a//x", UserScope);
    EXPECT_EQ(told, (std::vector<std::string>{":g/empty", ":g/h/q", ":g/p", ":a/x"}));
    reg._writeInteger(&told, "g/p", 1, TempScope);
    reg.removeGroup(&reg, "", UserScope);
    EXPECT_EQ(told.back(), ":a/y");
    EXPECT_TRUE(reg.propertyList("", UserScope).empty()) << "the root stays";
    EXPECT_TRUE(reg.propertyExists("g/p"));
}

} // namespace
