// Start-up, the single instance, the register files, and the exit.
#include "tests/Operations.h"

#include "register/ScopeFile.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <tuple>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace testing_support;
using namespace utils::properties;

// These make the system calls of this program hang, fail, be interrupted and write only a few
// bytes.
static std::atomic<bool> diskHangs{false}, diskIsReached{false}, writesAreShort{false};
static std::atomic<int> untilFsyncFails{0}, interruptions{0};

template <class... Arguments>
static long systemCall(long number, Arguments... arguments) {
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return ::syscall(number, arguments...);
}

extern "C" {
int fsync(int file) {
    diskIsReached = true;
    while (diskHangs)
        std::this_thread::yield();
    if (untilFsyncFails > 0 && --untilFsyncFails == 0) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(systemCall(SYS_fsync, file));
}
ssize_t write(int file, const void *bytes, size_t length) {
    return systemCall(SYS_write, file, bytes,
                      writesAreShort ? std::min<size_t>(length, 7) : length);
}
ssize_t read(int file, void *bytes, size_t length) {
    return systemCall(SYS_read, file, bytes, length);
}
}

namespace {

std::string userFile() {
    return userDirectory() + "/Brevolant.dat";
}

/// Runs the helper program with the data directories of this test. Returns its exit code, or 124
/// when it does not end in time.
int runHelper(const std::string &arguments) {
    const int status = std::system((std::string("timeout 20 ") + REGISTER_HELPER + " " +
                                    globalDirectory() + " " + userDirectory() + " " + arguments)
                                       .c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string valueOf(const std::string &name) {
    std::string value;
    _Register::getInstance()._readString(name, value);
    return value;
}

TEST(Lifecycle, beforeItStartsThereAreOnlyTheStatics) {
    EXPECT_EQ(_Register::_BV_REGISTER_NAME, "Brevolant.dat");
    EXPECT_EQ(_Register::_GlobalRegisterPath + _Register::_UserRegisterPath, "");
    EXPECT_FALSE(_Register::_haveGlobalRegister);
    const _Register &reg = _Register::getInstance();
    EXPECT_EQ(reg.getFileList("/").size(), 3U);
    for (const char *root : {"/global", "/user/", "/temp/"})
        EXPECT_TRUE(reg.isDirectory(root) && reg.getFileList(root).empty()) << root;
    reg.save();
    EXPECT_FALSE(fs::exists("Brevolant.dat")) << "without a directory nothing is written";
    writeFile(userFile(), "not read by a late initialize");
    EXPECT_EQ(&startedRegister(), &reg);
    EXPECT_EQ(valueOf("UserDataPath"), userDirectory());
    EXPECT_EQ(reg.saveError(), userFile() + ": leaving it as it is: This is not a register file.");
    EXPECT_EQ(readFile(userFile()), "not read by a late initialize");
}

TEST(Lifecycle, initializeCreatesTheUserFileAndPublishesTheDirectories) {
    const _Register &reg = startedRegister();
    EXPECT_EQ(valueOf("UserDataPath"), userDirectory());
    EXPECT_EQ(valueOf("GlobalDataPath"), globalDirectory());
    EXPECT_TRUE(reg.propertyExists("UserDataPath", TempScope));
    EXPECT_EQ(fs::file_size(userFile()), 46U);
    EXPECT_FALSE(fs::exists(globalDirectory()));
    _Register::initialize(globalDirectory(), dataDirectory() / "second");
    EXPECT_TRUE(fs::exists(dataDirectory() / "second/Brevolant.dat"));
    EXPECT_EQ(valueOf("UserDataPath"), dataDirectory() / "second");
}

TEST(Lifecycle, theExitSavesTheUserScopeAndNothingElse) {
    ASSERT_EQ(runHelper("user theme dark"), 0);
    ASSERT_EQ(runHelper("global theme light"), 0);
    ASSERT_EQ(runHelper("temp session 1"), 0);
    EXPECT_FALSE(fs::exists(globalDirectory()));
    fs::create_directory(globalDirectory());
    fs::copy(userFile(), globalDirectory());
    const std::string globalFile = readFile(globalDirectory() + "/Brevolant.dat");
    ASSERT_EQ(runHelper("user theme blue"), 0);
    EXPECT_EQ(readFile(globalDirectory() + "/Brevolant.dat"), globalFile);

    _Register &reg = startedRegister();
    EXPECT_EQ(valueOf("theme"), "blue");
    reg.delProperty("theme", UserScope);
    EXPECT_EQ(valueOf("theme"), "dark") << "a user file can serve as a global file";
    EXPECT_EQ(thrownBy([] { valueOf("session"); }), "PropertyNotFound");
    EXPECT_EQ(listDirectory(userDirectory()).size(), 2U) << "the file and the previous generation";
}

TEST(Lifecycle, aFileThatCannotBeReadStopsTheStartAndStaysAsItIs) {
    ASSERT_EQ(runHelper("user theme dark"), 0);
    const std::string good = readFile(userFile());
    fs::create_directories(globalDirectory() + "/Brevolant.dat");
    const std::size_t open = openFiles();
    const auto start = [] { startedRegister(); };
    EXPECT_EQ(thrownBy(start), "Can't open " + globalDirectory() + "/Brevolant.dat");
    EXPECT_TRUE(lockIsFree());
    fs::remove(globalDirectory() + "/Brevolant.dat");

    fs::remove(userFile());
    fs::create_directory(userFile());
    EXPECT_EQ(thrownBy(start), "Can't open " + userFile());
    fs::remove(userFile());
    writeFile(userFile(), "");
    fs::resize_file(userFile(), std::uintmax_t{1} << 40);
    EXPECT_EQ(thrownBy(start), "Can't open " + userFile()) << "a sparse file of one terabyte";
    fs::remove(userFile());

    std::string damaged = good;
    damaged.back() ^= 1;
    writeFile(userFile(), damaged);
    EXPECT_EQ(thrownBy(start),
              userFile() + ": The register file is damaged: its checksum does not match.");
    EXPECT_EQ(runHelper("user theme light"), 3) << "the program reports the error and ends";
    EXPECT_EQ(readFile(userFile()), damaged);
    EXPECT_EQ(openFiles(), open);

    writeFile(userFile(), good);
    startedRegister();
    EXPECT_EQ(valueOf("theme"), "dark") << "a later call tries again";
}

TEST(Lifecycle, everyExitSavesOnce) {
    for (const char *end : {"callback", "plain", "fork"})
        ASSERT_EQ(runHelper(std::string(end) + " " + end + " saved"), 0);
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(runHelper("busy busy" + std::to_string(round) + " saved"), 0);
        const int code = runHelper("exits exits" + std::to_string(round) + " saved");
#ifndef __SANITIZE_ADDRESS__
        ASSERT_EQ(code, 0);
#else
        // After the save, glibc before 2.41 can free a block of its list of exit handlers twice.
        // The sanitizer's slow exit makes this happen in one of a thousand processes.
        std::ignore = code;
#endif
    }
    const _Register &reg = startedRegister();
    EXPECT_EQ(valueOf("callback") + valueOf("plain") + valueOf("fork"), "savedsavedsaved");
    EXPECT_EQ(reg.propertyList("", UserScope).size(), 43U)
        << "no change after the last save is stored";
    EXPECT_EQ(runHelper("spoilt theme dark"), 5) << "a failure of the last save is reported";
}

TEST(Lifecycle, aSecondCopyOfTheLibraryIsIndependent) {
    const std::string copy = dataDirectory() / "libother.so";
    fs::copy(REGISTER_LIBRARY, copy);
    EXPECT_EQ(runHelper("copy saved " + copy), 0);
    startedRegister();
    EXPECT_EQ(valueOf("saved"), copy);
}

TEST(Lifecycle, unloadingTheLibrarySavesAndTheNextLoadStartsAfresh) {
    for (std::string value : {"first", "second"}) {
        void *plugin = ::dlopen(REGISTER_PLUGIN, RTLD_NOW);
        ASSERT_NE(plugin, nullptr) << ::dlerror();
        std::string global = globalDirectory(), user = userDirectory(), scope = "unload";
        char *arguments[] = {nullptr,      global.data(), user.data(),
                             scope.data(), value.data(),  value.data()};
        EXPECT_EQ(
            reinterpret_cast<int (*)(int, char **)>(::dlsym(plugin, "runHelper"))(6, arguments), 0);
        EXPECT_NE(readFile("/proc/self/maps").find("libregister.so"), std::string::npos);
        ::dlclose(plugin);
        EXPECT_EQ(readFile("/proc/self/maps").find("libregister.so"), std::string::npos);
    }
    startedRegister();
    EXPECT_EQ(valueOf("first") + valueOf("second"), "firstsecond");
}

TEST(Lifecycle, aStartThatRecoversGoesOnBesideAnyFile) {
    const auto start = [](const std::string &user) {
        const Recovery recovery = _Register::initializeOrRecover(globalDirectory(), user);
        return (recovery.globalError ? recovery.globalError->reason() : "-") + "|" +
               (recovery.userError ? recovery.userError->what() : "-") + "|" +
               recovery.damagedFile + (recovery.previousRestored ? "|restored" : "");
    };
    ASSERT_EQ(runHelper("plain theme dark"), 0);
    ASSERT_EQ(runHelper("plain theme light"), 0); // "dark" is the previous generation
    writeFile(userFile(), "");
    fs::create_directories(globalDirectory() + "/Brevolant.dat");
    EXPECT_EQ(start(userDirectory()), "Is a directory|" + userFile() +
                                          ": The register file is empty.|" + userFile() +
                                          ".damaged|restored");
    EXPECT_EQ(valueOf("theme"), "dark");
    EXPECT_EQ(valueOf("GlobalDataPath") + valueOf("UserDataPath"),
              globalDirectory() + userDirectory());
    EXPECT_EQ(_Register::getInstance().saveError(), "");
    EXPECT_EQ(start(userDirectory()), "-|-|") << "the register has already started";
}

TEST(Lifecycle, aStartThatRecoversSetsADamagedFileAside) {
    ASSERT_EQ(runHelper("plain theme dark"), 0);
    writeFile(userFile(), "damaged");
    const Recovery recovery = _Register::initializeOrRecover(globalDirectory(), userDirectory());
    EXPECT_EQ(recovery.userError->reason(), "This is not a register file.");
    EXPECT_EQ(readFile(recovery.damagedFile), "damaged");
    EXPECT_FALSE(recovery.previousRestored);
}

TEST(Lifecycle, aStartThatRecoversGoesOnWithoutADirectory) {
    const std::string loop = dataDirectory() / "loop";
    fs::create_symlink("loop", loop);
    const Recovery recovery = _Register::initializeOrRecover(globalDirectory(), loop);
    EXPECT_EQ(recovery.userError->what(), "Can't open " + loop + "/Brevolant.dat");
    EXPECT_EQ(recovery.userError->reason(), "Too many levels of symbolic links");
    EXPECT_EQ(recovery.damagedFile, "");
    EXPECT_EQ(valueOf("UserDataPath"), loop);
    EXPECT_EQ(_Register::getInstance().saveError(),
              loop + "/Brevolant.dat: leaving it as it is: Too many levels of symbolic links");
}

TEST(Lifecycle, aFailedSaveIsToldUntilOneSucceeds) {
    std::string reported;
    _Register::setSaveErrorHandler([&](const std::string &error) {
        EXPECT_TRUE(lockIsFree());
        reported += error;
        _Register::getInstance().save(); // fails, but does not call this handler again
        throw 1;
    });
    _Register &reg = startedRegister();
    reg._writeInteger(nullptr, "kept", 1, UserScope);
    reg.save();
    reg.remove("/user");
    reg.save();
    EXPECT_EQ(reg.saveError(), "The user scope has been removed.");
    reg.load();
    EXPECT_TRUE(reg.propertyExists("kept", UserScope)) << "a load creates the scope again";
    reg._writeInteger(nullptr, "unsaved", 1, UserScope);
    reg.load();
    EXPECT_FALSE(reg.propertyExists("unsaved", UserScope))
        << "a load replaces the content of the scope";
    reg._writeString(nullptr, "large", std::string(std::size_t{256} << 20, 'x'), UserScope);
    reg.save();
    EXPECT_EQ(reg.saveError(), "The content is too large for a register file (256 MiB).");
    reg.delProperty("large", UserScope);
    reg.save();
    EXPECT_EQ(reg.saveError(), "");
    fs::create_directory(dataDirectory() / "file");
    _Register::_UserRegisterPath = dataDirectory() / "file/Brevolant.dat";
    writeFile(_Register::_UserRegisterPath, "a file where the directory should be");
    reg.save();
    EXPECT_EQ(reg.saveError(), _Register::_UserRegisterPath +
                                   "/Brevolant.dat: opening its directory: Not a directory");
    _Register::_UserRegisterPath = "";
    reg.save();
    EXPECT_EQ(reg.saveError(), "There is no directory to write in.");
    _Register::_UserRegisterPath = userDirectory();
    reg.save();
    EXPECT_EQ(reg.saveError(), "");
}

TEST(Lifecycle, aSaveThatTheDiskFailsLateIsTold) {
    _Register &reg = startedRegister();
    reg._writeString(nullptr, "p", std::string(5000, 'o'), UserScope);
    reg.save();
    const std::string old = readFile(userFile());
    const std::size_t open = openFiles();
    reg._writeString(nullptr, "p", std::string(6000, 'n'), UserScope);
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {5000, RLIM_INFINITY}, unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    ::setrlimit(RLIMIT_FSIZE, &small);
    reg.save();
    ::setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_EQ(reg.saveError(), userFile() + ": writing: File too large");
    EXPECT_EQ(readFile(userFile()), old);
    EXPECT_EQ(listDirectory(userDirectory()).size(), 1U);
    std::vector<std::string> errors;
    for (int number = 1;; ++number) { // each fsync of a save fails
        untilFsyncFails = number;
        reg.save();
        if (untilFsyncFails > 0)
            break;
        errors.push_back(reg.saveError());
    }
    untilFsyncFails = 0;
    EXPECT_EQ(reg.saveError(), "");
    EXPECT_GE(errors.size(), 2U);
    EXPECT_EQ(errors.front(), userFile() + ": forcing it to the disk: Input/output error");
    EXPECT_EQ(errors.back(),
              userFile() + ": forcing its directory to the disk: Input/output error");
    EXPECT_EQ(std::count(errors.begin(), errors.end(), ""), 0);
    EXPECT_EQ(openFiles(), open);
    _Register::_UserRegisterPath = dataDirectory() / "new";
    untilFsyncFails = 1;
    reg.save();
    EXPECT_EQ(reg.saveError(),
              (dataDirectory() / "new") + ": creating the directory: Input/output error");
}

TEST(Lifecycle, signalsAndShortWritesStopNothingButNotForEver) {
    _Register &reg = startedRegister();
    reg._writeString(nullptr, "p", std::string(1000, 'x'), UserScope);
    writesAreShort = true;
    interruptions = 20;
    reg.save();
    EXPECT_EQ(reg.saveError(), "");
    interruptions = 20;
    reg.load();
    EXPECT_EQ(interruptions, 0);
    EXPECT_EQ(valueOf("p"), std::string(1000, 'x'));
    interruptions = 100000;
    EXPECT_EQ(thrownBy([&] { reg.load(); }), "Can't open " + userFile());
    reg.save();
    EXPECT_EQ(reg.saveError(), userFile() + ": writing: Interrupted system call");
    interruptions = 0;
}

TEST(Lifecycle, theDirectoryOfARegisterFileIsTestedAndCreated) {
    const TemporaryDirectory dir;
    EXPECT_TRUE(_test_register_path("/missing/directory", "Brevolant.dat"));
    EXPECT_TRUE(_test_register_path(dir.path(), "sub/reg.dat"));
    EXPECT_TRUE(fs::is_directory(dir / "sub"));
    EXPECT_TRUE(_test_register_path(dir.path(), "sub/reg.dat"));
    EXPECT_FALSE(_test_register_path(dir / "missing", "sub/reg.dat"));
    _Register::_BV_REGISTER_NAME = "sub/Brevolant.dat";
    writeFile(dir / "file", "in the way of a directory");
    EXPECT_EQ(thrownBy([&] { _Register::initialize(dir / "file", dir / "file"); }),
              "User register not found");
    EXPECT_FALSE(_Register::_haveGlobalRegister);
    EXPECT_EQ(_Register::_GlobalRegisterPath, dir / "file");
    EXPECT_EQ(_Register::_UserRegisterPath, "");
}

TEST(Threads, nobodyElseWaitsForTheDisk) {
    _Register &reg = startedRegister();
    reg._writeString(nullptr, "p", "old", UserScope);
    diskIsReached = false;
    diskHangs = true;
    std::thread saver([&] { reg.save(); });
    while (!diskIsReached)
        std::this_thread::yield();
    std::vector<std::string> told;
    Recorder recorder(told, "heard", nullptr, [&](auto &) { reg.save(); }); // has the lock
    reg.addCallback("q", &recorder);
    reg._writeString(nullptr, "p", "new", UserScope);
    EXPECT_EQ(valueOf("p"), "new");
    EXPECT_EQ(reg.saveError(), "");
    std::thread writer([&] { reg._writeString(&told, "q", "last", UserScope); });
    while (lockIsFree())
        std::this_thread::yield();
    diskHangs = false;
    saver.join();
    writer.join();
    reg.load();
    EXPECT_EQ(valueOf("p") + valueOf("q"), "newlast");
}

TEST(Lifecycle, anOlderSaveDoesNotLandOverANewerOne) {
    ScopeFile file;
    std::set<std::string> conflicts;
    const auto save = [&](std::uint64_t number, const std::string &directory,
                          const std::string &content) {
        const ScopeFile::Snapshot snapshot = {number, 0, directory,
                                              std::make_shared<const std::string>(content)};
        std::string error;
        EXPECT_TRUE(file.save(snapshot, SaveKind::Replace, error, conflicts));
        file.setError(number, error);
    };
    const std::uint64_t older = file.nextNumber(), newer = file.nextNumber();
    save(newer, userDirectory(), "newer");
    save(older, userDirectory(), "older");
    EXPECT_EQ(readFile(userFile()), "newer");
    file.setError(older, "older");
    EXPECT_EQ(file.error(), "");
    const std::uint64_t late = file.nextNumber(), failed = file.nextNumber();
    fs::remove(userFile());
    fs::create_directory(userFile());
    save(failed, userDirectory(), "a directory is in its place");
    const std::string error = file.error();
    EXPECT_NE(error, "");
    fs::remove(userFile());
    save(late, userDirectory(), "older");
    EXPECT_FALSE(fs::exists(userFile())) << "a failed save may have replaced the file";
    EXPECT_EQ(file.error(), error);
    save(late, dataDirectory() / "elsewhere", "older");
    EXPECT_TRUE(fs::exists(dataDirectory() / "elsewhere"))
        << "it is the newest save in that directory";
}

TEST(Threads, everyOperationWaitsForTheLock) {
    _Register &reg = startedRegister();
    reg._writeInteger(nullptr, "p", 1, UserScope);
    std::vector<std::string> told;
    Recorder recorder(told, "told");
    reg.addCallback("p", &recorder);
    filesystem::FileHandle &handle = reg.openProperty("p", _Register::ReadMode, UserScope);
    std::vector<Operation> operations = Operations().all();
    operations.push_back(
        {"closeProperty", [&](auto &, auto &, auto) { reg.closeProperty(handle); }});
    std::vector<std::atomic<bool>> ended(operations.size());
    std::atomic<std::size_t> started{0};
    std::vector<std::thread> threads;
    {
        const std::lock_guard<boost::recursive_mutex> lock(*_Register::_mutex);
        for (std::size_t i = 0; i < operations.size(); ++i)
            threads.emplace_back([&, i] {
                ++started;
                thrownBy([&] { operations[i].run(reg, "p", UserScope); });
                ended[i] = true;
            });
        while (started < operations.size())
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (std::size_t i = 0; i < operations.size(); ++i)
            EXPECT_FALSE(ended[i]) << operations[i].label;
        reg.notify(&reg);
        EXPECT_EQ(told, std::vector<std::string>()) << "no name has been marked";
        EXPECT_TRUE(reg.propertyExists("p", UserScope)) << "it has not been removed";
    }
    for (std::thread &thread : threads)
        thread.join();
}

TEST(Threads, allOperationsAtOnceEnd) {
    _Register &reg = startedRegister();
    std::vector<std::thread> threads;
    for (int worker = 0; worker < 4; ++worker)
        threads.emplace_back([&reg, name = "shared/" + std::to_string(worker / 2)] {
            std::vector<std::string> told;
            Recorder recorder(told, "", &told, [&](auto &) {
                reg._writeString(&told, "other", "from a callback", TempScope);
            });
            const Operations operations;
            for (int round = 0; round < 10; ++round) {
                reg.addCallback("shared", &recorder);
                for (const Operation &operation : operations.all())
                    thrownBy([&] { operation.run(reg, name, UserScope); });
                reg.removeCallback(&recorder);
                auto heard = std::make_unique<int>(0); // freed after the subscription has ended
                Subscription subscription("shared", [&heard](auto &) { ++*heard; });
                std::this_thread::yield();
                subscription = Subscription();
                heard.reset();
            }
            EXPECT_GE(told.size(), 100U);
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(reg.saveError(), "");
}

} // namespace
