// Several processes with one register file. `RegisterFile` stands for the others.
#include "filesystem/FileLock.h"
#include "register/Property.h"
#include "register/RegisterFile.h"
#include "register/ScopeFile.h"
#include "register/Scopes.h"
#include "tests/Support.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <map>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace testing_support;
using namespace utils::properties;
using Names = std::set<std::string>;

static bool noLocks = false; ///< as on a file system without locks

extern "C" int fcntl(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (noLocks && command == F_OFD_SETLK) {
        errno = ENOLCK;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fcntl, file, command, argument));
}

namespace {

std::string userFile() {
    return userDirectory() + "/Brevolant.dat";
}

/// Another process that changes a file.
void change(const std::string &file, const std::map<std::string, int> &written,
            const Names &removed = {}) {
    RegisterFile other(file);
    for (const auto &[name, value] : written)
        other._writeInteger(name, value);
    for (const std::string &name : removed)
        other.delProperty(name);
    other.save();
}

/// Returns the value of an integer; -1 stands for a name that is missing.
int valueIn(const std::string &file, const std::string &name) {
    const RegisterFile other(file);
    int value = -1;
    if (other.propertyExists(name))
        other._readInteger(name, value);
    return value;
}
int value(const std::string &name) {
    return Property<int>(name, -1).value();
}
void set(const std::string &name, int value, RegisterScope scope = UserScope) {
    Property<int>(name, 0, scope).set(value);
}

TEST(Sync, takesWhatOthersChangedAndTellsItOnce) {
    const std::string globalFile = globalDirectory() + "/Brevolant.dat";
    change(globalFile, {{"global/a", 1}, {"global/b", 1}});
    _Register &reg = startedRegister();
    set("a", 1), set("b", 1), set("c", 1), set("g/p", 1);
    reg.save();
    change(userFile(), {{"a", 2}, {"b", 2}, {"new/h/p", 2}}, {"c", "g"});
    change(globalFile, {{"global/a", 2}, {"global/b", 2}});
    set("b", 3), set("own", 3), set("global/b", 3, GlobalScope);

    std::vector<std::string> told;
    Recorder recorder(told, "", nullptr, [&](auto &) {
        EXPECT_EQ(value("a"), 2) << "all changes are in place";
        EXPECT_EQ(value("new/h/p") + value("global/a"), 4);
    });
    Recorder own(told, "own", &told);
    for (const std::string key : {"a", "b", "c", "g", "new", "global", "own"})
        reg.addCallback(key, &recorder);
    reg.addCallback("a", &own);
    const SyncResult result = reg.sync(&told);
    EXPECT_EQ(reg.saveError() + reg.lockError(), "");
    EXPECT_EQ(result.taken, (Names{"a", "c", "g/p", "new/h/p", "global/a"}));
    EXPECT_EQ(result.conflicts, (Names{"b", "global/b"}));
    EXPECT_EQ(told, (std::vector<std::string>{":a", ":c", ":g/p", ":global/a", ":new/h/p"}));
    EXPECT_EQ(value("b"), 3);
    EXPECT_EQ(value("c") + value("g/p"), -2);
    EXPECT_EQ(valueIn(userFile(), "b") + valueIn(userFile(), "own"), 6);
    EXPECT_EQ(valueIn(globalFile, "global/b"), 2) << "the global file is only read";
    EXPECT_EQ(value("global/b"), 3);

    told.clear();
    struct stat before = {}, after = {};
    ::stat(userFile().c_str(), &before);
    const SyncResult again = reg.sync(nullptr);
    ::stat(userFile().c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino) << "there is nothing to write";
    EXPECT_TRUE(again.taken.empty() && again.conflicts.empty() && told.empty());
}

TEST(Sync, whatASaveMergedIntoTheFileIsStillToBeTaken) {
    _Register::setSaveMode(MergeIntoFile);
    change(userFile(), {{"a", 1}, {"b", 1}, {"c", 1}});
    _Register &reg = startedRegister();
    EXPECT_FALSE(RegisterFile(userFile()).willBeOverwritten());
    std::vector<std::string> told;
    Recorder recorder(told, "", &told);
    for (const std::string key : {"a", "b", "c", "d", "own"})
        reg.addCallback(key, &recorder);
    change(userFile(), {{"a", 2}, {"d", 2}}, {"b"});
    set("own", 3);
    told.clear();
    for (int save = 0; save < 2; ++save) {
        reg.save();
        EXPECT_EQ(reg.saveError(), "");
        EXPECT_EQ(value("a") + value("b") + value("d"), 1) << "the tree is unchanged";
        EXPECT_EQ(valueIn(userFile(), "a"), 2);
        EXPECT_EQ(valueIn(userFile(), "b"), -1);
        EXPECT_EQ(valueIn(userFile(), "d"), 2);
        EXPECT_EQ(valueIn(userFile(), "own"), 3);
        set("c", 3 + save);
    }
    EXPECT_EQ(told, (std::vector<std::string>{":c", ":c"}));
    change(userFile(), {{"d", 5}});
    EXPECT_EQ(reg.sync(nullptr).taken, (Names{"a", "b", "d"}));
    EXPECT_EQ(value("d"), 5);
    reg.delProperty("d", UserScope);
    EXPECT_TRUE(reg.sync(nullptr).taken.empty());
    EXPECT_EQ(valueIn(userFile(), "d"), -1) << "this removal is our own";
    EXPECT_EQ(thrownBy([] { _Register::setSaveMode(SaveMode(2)); }), "Bad save mode.");
}

TEST(Sync, aFileThatCannotBeMergedStaysAsItIs) {
    _Register &reg = startedRegister();
    set("a", 1);
    reg.save();
    const std::string good = readFile(userFile());
    std::string newer = good;
    ++newer[8];
    for (const std::string &bad : {std::string("a poem"), newer}) {
        writeFile(userFile(), bad);
        EXPECT_TRUE(reg.sync(nullptr).taken.empty());
        EXPECT_NE(reg.saveError().find(userFile() + ": leaving it as it is: "), std::string::npos)
            << reg.saveError();
        EXPECT_EQ(readFile(userFile()), bad);
        EXPECT_EQ(value("a"), 1);
    }
    for (const SaveMode mode : {ReplaceFile, MergeIntoFile})
        for (const bool isGone : {false, true}) {
            _Register::setSaveMode(mode);
            writeFile(userFile(), "");
            fs::remove(isGone ? userFile() : "");
            reg.sync(nullptr);
            EXPECT_EQ(reg.saveError(),
                      userFile() + (isGone ? ": reading: No such file or directory"
                                           : ": leaving it as it is: The register file is empty."));
            EXPECT_EQ(fs::exists(userFile()), !isGone);
            reg.save();
            EXPECT_EQ(reg.saveError(), "");
            EXPECT_EQ(readFile(userFile()), good) << "a save creates it";
        }
    reg.save();
    writeFile(userFile(), good); // in place, with the same content
    set("a", 2);
    EXPECT_TRUE(reg.sync(nullptr).conflicts.empty());
    EXPECT_EQ(valueIn(userFile(), "a"), 2);
}

TEST(Sync, oneProcessAtATimeSavesAndAReplacerIsAnnounced) {
    _Register &reg = startedRegister();
    set("a", 1);
    EXPECT_TRUE(RegisterFile(userFile()).willBeOverwritten());
    RegisterFile other(userFile());
    filesystem::FileLocation location;
    ASSERT_TRUE(location.find(userFile()));
    {
        filesystem::FileLock lock;
        ASSERT_TRUE(lock.lock(location));
        std::thread replacer([&] { reg.save(); });
        const std::string expected =
            userDirectory() + "/.Brevolant.dat.lock: locking: Another process holds the lock.";
        EXPECT_EQ(thrownBy([&] { other.save(); }), expected) << "a merging save waits and fails";
        replacer.join();
        EXPECT_EQ(reg.saveError(), "") << "one that replaces goes on";
        EXPECT_EQ(reg.lockError(), expected);
    }
    EXPECT_EQ(other.save().taken, Names{"a"});
    reg.save();
    EXPECT_EQ(reg.lockError(), "");
    _Register::setSaveMode(MergeIntoFile);
    EXPECT_FALSE(other.willBeOverwritten());
    _Register::setSaveMode(ReplaceFile);
    fs::remove(userDirectory() + "/.Brevolant.dat.lock");
    EXPECT_FALSE(other.willBeOverwritten());
    reg.save();
    EXPECT_TRUE(other.willBeOverwritten());
}

TEST(Sync, theLocksOfAProcessEndWithItAlsoWhenItHasAChild) {
    const std::string path = userFile();
    int started[2] = {}, ended[2] = {};
    ASSERT_TRUE(::pipe(started) == 0 && ::pipe(ended) == 0);
    const pid_t process = ::fork();
    if (process == 0) {
        startedRegister();
        if (::fork() > 0)
            ::pause();
        ::close(ended[1]);
        char byte = 0;
        ::_exit(::write(started[1], &byte, 1) == 1 && ::read(ended[0], &byte, 1) == 0 ? 0 : 1);
    }
    char byte = 0;
    ASSERT_EQ(::read(started[0], &byte, 1), 1);
    EXPECT_TRUE(RegisterFile(path).willBeOverwritten());
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    EXPECT_FALSE(RegisterFile(path).willBeOverwritten());
    ::close(ended[1]); // the child ends
}

TEST(Sync, locksThatCannotBeHadAreDoneWithoutAndTold) {
    _Register &reg = startedRegister();
    const std::string lock = userDirectory() + "/.Brevolant.dat.lock";
    change(userFile(), {{"b", 1}});
    noLocks = true;
    EXPECT_EQ(reg.sync(nullptr).taken, Names{"b"});
    EXPECT_EQ(reg.saveError(), "");
    EXPECT_EQ(reg.lockError(), lock + ": locking: No locks available");
    noLocks = false;
    fs::remove(lock);
    fs::create_directory(lock);
    set("a", 1);
    reg.save();
    EXPECT_EQ(reg.saveError(), "");
    EXPECT_EQ(reg.lockError(), lock + ": locking: Is a directory");
}

TEST(Sync, aSnapshotFromBeforeATakeIsNotSaved) {
    change(userFile(), {{"a", 1}});
    const filesystem::Top &top = topOf(UserScope);
    filesystem::Tree tree;
    tree.keepTogether(std::begin(scopeTops), std::end(scopeTops));
    tree.addGroup(top, filesystem::Name({}));
    ScopeFile file;
    SyncResult result;
    std::string error;
    const auto snapshot = [&] {
        return file.snapshot(file.nextNumber(), userDirectory(), tree, top);
    };
    const ScopeFile::Snapshot before = snapshot();
    EXPECT_EQ(file.refresh(userDirectory()), "");
    EXPECT_TRUE(file.take(tree, top, false, result));
    EXPECT_EQ(result.taken, Names{"a"});
    EXPECT_FALSE(file.save(before, SaveKind::Merge, error, result.conflicts));
    EXPECT_TRUE(file.save(snapshot(), SaveKind::Merge, error, result.conflicts));
    EXPECT_EQ(error, "");
    EXPECT_EQ(valueIn(userFile(), "a"), 1) << "the old snapshot would have removed it";
}

/// Counts are written, saved and taken over by several threads beside another process. None is
/// lost and none goes back.
TEST(Sync, threadsChangeTheRegisterMeanwhile) {
    _Register::setSaveMode(MergeIntoFile);
    _Register &reg = startedRegister();
    constexpr int rounds = 30;
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
    for (const std::string name : {"w0", "w1", "w2"})
        threads.emplace_back([&reg, name] {
            for (int i = 1; i <= rounds; ++i) {
                set(name, i);
                if (name == "w0")
                    reg.save();
                else
                    EXPECT_TRUE(reg.sync(nullptr).conflicts.empty());
                EXPECT_EQ(reg.saveError(), "");
                EXPECT_GE(valueIn(userFile(), name), i);
            }
        });
    threads.emplace_back([&] {
        for (int last = 0; !ended; std::this_thread::yield()) {
            EXPECT_GE(value("other"), last == 0 ? -1 : last);
            last = std::max(last, value("other"));
        }
        reg.sync(nullptr);
        EXPECT_EQ(value("other"), rounds);
    });
    for (int i = 1; i <= rounds; ++i)
        change(userFile(), {{"other", i}});
    for (int i = 0; i < 3; ++i)
        threads[std::size_t(i)].join();
    ended = true;
    threads.back().join();
}

TEST(RegisterFiles, areDocumentsWithTheRegistersTypesAndErrors) {
    const TemporaryDirectory dir;
    const std::string path = dir / "new/document";
    RegisterFile first(path);
    first._writeStrings("list", {"x", "y"});
    first._writeNumber("g/n", 0.5);
    first.addGroup("empty");
    EXPECT_EQ(thrownBy([&] { first._writeBoolean("list/b", true); }), "list/b no such property.");
    EXPECT_TRUE(first.save().taken.empty());
    RegisterFile second(path);
    std::vector<std::string> list;
    double number = 0;
    second._readStrings("list", list);
    second._readNumber("g/n", number);
    EXPECT_EQ(list, (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(number, 0.5);
    EXPECT_EQ(second.readPropertyType("list", nullptr), ListType);
    EXPECT_EQ(second.propertyList("").size(), 3U);
    std::string text = "unchanged";
    EXPECT_EQ(thrownBy([&] { second._readString("none", text); }), "PropertyNotFound");
    EXPECT_EQ(thrownBy([&] { second._readString("g", text); }), "PropertyNotFound");
    EXPECT_EQ(thrownBy([&] { second._readNumber("list", number); }), "PropertyBadType");
    EXPECT_EQ(thrownBy([&] { second.propertyList("list"); }),
              "list does not exist or is not a group.");
    first._writeString("of first", "1");
    second._writeString("of second", "2");
    second.delProperty("empty");
    first.save();
    EXPECT_EQ(second.save().taken, Names{"of first"});
    EXPECT_EQ(first.save().taken, (Names{"empty", "of second"}));
    EXPECT_EQ(listDirectory(dir / "new").size(), 2U) << "with the previous generation";

    EXPECT_EQ(thrownBy([] { RegisterFile(""); }), "A register file needs a path.");
    EXPECT_EQ(thrownBy([&] { RegisterFile file(dir.path()); }), "Can't open " + dir.path());
    writeFile(path, "a poem");
    EXPECT_EQ(thrownBy([&] { RegisterFile file(path); }), path + ": This is not a register file.");
    first._writeString("of first", "3");
    EXPECT_EQ(thrownBy([&] { first.save(); }),
              path + ": leaving it as it is: This is not a register file.");
    EXPECT_EQ(readFile(path), "a poem");
}

} // namespace
