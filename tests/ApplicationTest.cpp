// What an application builds on properties: groups, records, its directories, and its own tests.
#include "register/Directories.h"
#include "register/Group.h"
#include "register/Records.h"
#include "register/TestRegister.h"
#include "tests/Support.h"

#include <QString>

using namespace testing_support;
using namespace utils::properties;
using Told = std::vector<std::string>;
using Names = std::set<std::string>;

namespace {

TEST(Groups, haveTheirPropertiesInAllScopes) {
    startedRegister();
    const Group ui("ui"), window = ui.group("window"), root("");
    ui.property<int>("width", 800).set(1);
    ui.property<QString>("theme").set(QStringLiteral("dark"));
    Property<int>("ui/theme", 0, GlobalScope).set(2);
    Property<int>("ui/height", 0, TempScope).set(3);
    window.property<int>("x").set(4);
    root.property<int>("other").set(5);
    EXPECT_EQ(ui.names(), (Names{"height", "theme", "width"}));
    EXPECT_EQ(ui.groupNames(), Names{"window"});
    EXPECT_EQ(Group("none").names(), Names());
    EXPECT_EQ(thrownBy([&] { ui.property<int>("size", 12, Range(6, 72)).set(5); }),
              "The value 5 for ui/size is not from 6 to 72.");
    Told told;
    const auto tell = [&told](const std::string &name) { told.push_back(name); };
    const Subscription inUi = ui.subscribe(tell), everywhere = root.subscribe(tell);
    ui.reset();
    EXPECT_EQ(told,
              (Told{"ui/theme", "ui/theme", "ui/width", "ui/width", "ui/window/x", "ui/window/x"}));
    EXPECT_EQ(ui.names(), (Names{"height", "theme"})) << "other scopes are as before";
    EXPECT_EQ(root.property<int>("other").value(), 5);
}

struct Recent {
    QString path;
    int line = 1;
    friend bool operator==(const Recent &a, const Recent &b) {
        return a.path == b.path && a.line == b.line;
    }
};

TEST(Groups, holdRecordsThatAreOneValue) {
    using List = std::vector<Recent>;
    const List three = {{"a", 1}, {"b", 2}, {"c", 3}}, one = {{"d", 4}};
    _Register &reg = startedRegister();
    const std::initializer_list<RecordField<Recent>> fields = {{"path", &Recent::path},
                                                               {"line", &Recent::line}};
    const Records<Recent> recent("recent", fields), global("recent", fields, GlobalScope);
    global.set(three);
    EXPECT_EQ(recent.value(), three);
    Told told;
    Subscription heard("recent", [&](const std::string &name) {
        told.push_back(name);
        EXPECT_LE(recent.value().size(), 1U) << "the list is in place";
    });
    recent.set(one);
    EXPECT_EQ(told, (Told{"recent/0/line", "recent/0/path"}));
    EXPECT_EQ(recent.value(), one);
    recent.set({});
    EXPECT_EQ(recent.value(), List()) << "an empty list hides the global one";
    EXPECT_EQ(told.size(), 4U);
    heard = Subscription();
    recent.reset();
    EXPECT_EQ(recent.value(), three);

    Property<int>("recent/1/line", 0, GlobalScope).reset();
    Property<QString>("recent/2/other", {}, GlobalScope).set(QStringLiteral("x"));
    reg._writeString(nullptr, "recent/0/line", "no number", GlobalScope);
    EXPECT_EQ(recent.value(), (List{{"a", 1}, {"b", 1}, {"c", 3}})) << "missing fields";
    global.set(three);
    EXPECT_FALSE(reg.propertyExists("recent/2/other")) << "a record has its fields alone";
    const List bad = {{"new", 1}, {QString(QChar(0xD800)), 2}};
    EXPECT_NE(thrownBy([&] { global.set(bad); }).find("recent/1/path"), std::string::npos);
    EXPECT_EQ(recent.value(), three) << "nothing has changed";
}

TEST(Groups, changesInOneStepAreToldAtItsEnd) {
    _Register &reg = startedRegister();
    Told told;
    Recorder recorder(told, "", &told, [&](auto &) {
        EXPECT_EQ(Property<int>("a").value() + Property<int>("b").value(), 2);
    });
    reg.addCallbackForAll(&recorder);
    reg.changeInOneStep(nullptr, [&] {
        Property<int>("b").set(1);
        reg.changeInOneStep(nullptr, [] { Property<int>("a").set(1); });
        EXPECT_EQ(told, Told());
    });
    EXPECT_EQ(told, (Told{":a", ":b"}));
    EXPECT_EQ(thrownBy([&] {
                  reg.changeInOneStep(nullptr, [] {
                      Property<int>("a").set(1);
                      throw std::runtime_error("on purpose");
                  });
              }),
              "std: on purpose");
    EXPECT_EQ(told.size(), 2U);
    reg.notify(nullptr);
    EXPECT_EQ(told.back(), ":a") << "the name stayed marked";
    reg.removeCallback(&recorder);
}

TEST(Directories, followTheXdgRules) {
    const TemporaryDirectory dir;
    const auto set = [](const char *name, const std::string &value) {
        ::setenv(name, value.c_str(), 1);
    };
    set("HOME", dir / "home");
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_DATA_DIRS",
                             "REGISTER_USER_DIR", "REGISTER_GLOBAL_DIR"})
        ::unsetenv(name);
    EXPECT_EQ(standardDirectories("org", "app").user, dir / "home/.config/org/app");
    EXPECT_EQ(standardDirectories("", "app").global, "/etc/xdg/app");
    set("XDG_CONFIG_HOME", "relative");
    EXPECT_EQ(standardDirectories("", "app").user, dir / "home/.config/app");
    set("XDG_CONFIG_HOME", dir / "config");
    EXPECT_EQ(standardDirectories("org", "app").user, dir / "config/org/app");
    set("XDG_CONFIG_DIRS", "relative:" + (dir / "c1") + ":" + (dir / "c2"));
    set("XDG_DATA_DIRS", dir / "d1");
    EXPECT_EQ(standardDirectories("", "app").global, dir / "c1/app");
    writeFile(dir / "d1/app/Brevolant.dat", "");
    EXPECT_EQ(standardDirectories("", "app").global, dir / "d1/app");
    writeFile(dir / "c2/app/Brevolant.dat", "");
    EXPECT_EQ(standardDirectories("", "app").global, dir / "c2/app");
    EXPECT_EQ(standardDirectories("", "app", dir / "none").global, dir / "c2/app");
    EXPECT_EQ(standardDirectories("", "app", dir / "d1").user, dir / "d1/user");
    set("REGISTER_USER_DIR", "relative");
    set("REGISTER_GLOBAL_DIR", "/override");
    EXPECT_EQ(standardDirectories("", "app", dir / "d1").user, dir / "d1/user");
    EXPECT_EQ(standardDirectories("", "app", dir / "d1").global, "/override");
    EXPECT_EQ(thrownBy([] { standardDirectories("org", ""); }), "An application needs a name.");
    for (const std::string bad : {"..", "a/b", "."})
        EXPECT_EQ(thrownBy([&] { standardDirectories("org", bad); }),
                  "\"" + bad + "\" cannot be the name of a directory.");
    set("HOME", "");
    EXPECT_EQ(standardDirectories("", "app").user, dir / "config/app");
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(thrownBy([] { standardDirectories("org", "app"); }),
              "The user has no home directory.");
}

TEST(TestRegisters, giveEachTestAnEmptyRegister) {
    Told told;
    Subscription survivor;
    std::string last;
    for (int round = 0; round < 2; ++round) {
        TestRegister test;
        EXPECT_EQ(standardDirectories("", "app").user, test.userDirectory());
        EXPECT_EQ(Group("").property<int>("a").value() + Property<int>("t").value(), 0);
        EXPECT_EQ(thrownBy([] { TestRegister(); }),
                  "There can be only one TestRegister at a time.");
        survivor = Subscription("a", [&](const std::string &name) { told.push_back(name); });
        Property<int>("a").set(1);
        Property<int>("a", 0, GlobalScope).set(2);
        Property<int>("t", 0, TempScope).set(3);
        test.restart();
        EXPECT_EQ(Property<int>("a").origin(), UserScope);
        EXPECT_FALSE(Property<int>("t").origin() || Property<int>("a", 0, GlobalScope).isSet());
        EXPECT_TRUE(_Register::getInstance().propertyExists("UserDataPath"));
        Property<int>("a").set(4); // the callbacks are gone
        last = test.userDirectory();
    }
    EXPECT_EQ(told, (Told{"a", "a", "a", "a"}));
    _Register::getInstance().save();
    EXPECT_EQ(_Register::getInstance().saveError(), "");
    EXPECT_FALSE(fs::exists(last));
}

} // namespace
