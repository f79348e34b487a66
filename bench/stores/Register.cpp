// The register, with modes for what only it has: scopes, callbacks, and threads that work during a
// save. `bench-register scopes|callbacks|numbers|initialize|waits DIRECTORY COUNT GENERATION` runs
// one mode on a filled directory and leaves the values there unchanged.
#include "../Workload.h"

#include <register/Register.h>

#include <atomic>

using namespace utils::properties;
using bench::nameOf;
using bench::report;
using bench::require;

namespace {

struct RegisterStore : bench::FileStore {
    using Key = std::string;
    static constexpr bool isThreadSafe = true;
    static Key key(const std::string &name) { return name; }
    /// Loads without the two saves of `initialize`, which is measured separately.
    explicit RegisterStore(const std::string &directory)
        : reg((_Register::_UserRegisterPath = directory, _Register::getInstance())) {}

    int read(const Key &key) {
        int value = 0;
        reg._readInteger(key, value);
        return value;
    }
    void write(const Key &key, int value) { reg._writeInteger(nullptr, key, value, UserScope); }
    std::string readText(const Key &key) {
        std::string text;
        reg._readString(key, text);
        return text;
    }
    void writeText(const Key &key, const std::string &text) {
        reg._writeString(nullptr, key, text, UserScope);
    }
    void save() {
        reg.save();
        require(reg.saveError().empty(), "save");
    }
    void sync() {
        reg.sync(nullptr);
        require(reg.saveError().empty(), "sync");
    }

    _Register &reg;
};

std::vector<std::string> namesOf(int count, const char *leaf) {
    std::vector<std::string> names;
    for (const int i : bench::shuffled(count))
        names.push_back(nameOf(i, leaf));
    return names;
}

/// All three scopes have the same groups. Therefore a name that is not in the user scope is
/// searched for in a full group there.
void scopes(const std::string &directory, int count, int) {
    _Register::_GlobalRegisterPath = directory;
    _Register::_haveGlobalRegister = true;
    RegisterStore store(directory + "/user");
    for (int i = 0; i < count; ++i) {
        store.reg._writeInteger(nullptr, nameOf(i, "usermade"), i, UserScope);
        store.reg._writeInteger(nullptr, nameOf(i, "tempmade"), i, TempScope);
    }
    const auto measure = [&](const char *what, const char *leaf, bool exists) {
        const std::vector<std::string> names = namesOf(count, leaf);
        const auto pass = [&] {
            int value = 0;
            for (const std::string &name : names)
                require(store.reg.findValue(name, value).has_value() == exists, "found");
        };
        pass();
        report(what, bench::perStep(count, pass));
    };
    measure("find-user", "usermade", true);
    measure("find-global", "property", true);
    measure("find-temp", "tempmade", true);
    measure("find-nowhere", "nowhere_", false);
}

struct Silent : _Register::Callback {
    void propertyChanged(const std::string &) override { require(false, "called"); }
    void *owner() override { return this; }
};

/// The callbacks are registered under other names in the groups that are written to.
void callbacks(const std::string &directory, int count, int) {
    constexpr int callbackCount = 100000;
    RegisterStore store(directory);
    Silent silent;
    const std::vector<std::string> names = namesOf(count, "property");
    int value = 0;
    const auto pass = [&] {
        for (const std::string &name : names)
            store.write(name, ++value);
    };
    pass();
    report("write-quiet", bench::perStep(count, pass));
    for (int i = 0; i < callbackCount; ++i)
        store.reg.addCallback(nameOf(i, "listened"), &silent);
    report("write-callbacks", bench::perStep(count, pass));
    store.reg.removeCallback(&silent);
}

/// The heap after each value of 5 bytes (tag and integer) has been overwritten with 9 bytes (tag
/// and number).
void numbers(const std::string &directory, int count, int) {
    const std::vector<std::string> names = namesOf(count, "property");
    const double before = bench::heap();
    RegisterStore store(directory);
    for (const std::string &name : names)
        store.reg._writeNumber(nullptr, name, 0.5, UserScope);
    report("heap-numbers", (bench::heap() - before) / count);
    double value = 0;
    for (const std::string &name : names)
        require(store.reg.findValue(name, value, UserScope) && value == 0.5, "a wrong number");
}

/// Returns the longest time of a call on this thread, in milliseconds, while another thread works.
template <class Call, class Work>
double longest(Call call, Work work) {
    std::atomic<bool> isRunning{true};
    std::thread other([&] {
        work();
        isRunning = false;
    });
    double longest = 0;
    while (isRunning)
        longest = std::max(longest, bench::milliseconds(call));
    other.join();
    return longest;
}

void waits(const std::string &directory, int count, int generation) {
    RegisterStore store(directory);
    const std::vector<std::string> names = namesOf(count, "property");
    const std::vector<int> order = bench::shuffled(count);
    std::size_t at = 0;
    const auto next = [&] { return at = (at + 1) % names.size(); };
    const auto read = [&] { store.read(names[next()]); };
    const auto write = [&] {
        const std::size_t i = next();
        store.write(names[i], bench::valueOf(order[i], generation));
    };
    const auto saves = [&] {
        report("wait-save",
               bench::medianOf([&] { return bench::milliseconds([&] { store.save(); }); }));
    };
    const auto sleeps = [] {
        std::this_thread::sleep_for(std::chrono::milliseconds(bench::isCheck ? 5 : 500));
    };
    report("wait-read", longest(read, saves));
    report("wait-read-idle", longest(read, sleeps));
    report("wait-write", longest(write, saves));
    report("wait-write-idle", longest(write, sleeps));
}

void initialize(const std::string &directory, int, int) {
    report("initialize", bench::milliseconds([&] { _Register::initialize("", directory); }));
    require(_Register::getInstance().saveError().empty(), "save");
}

} // namespace

int main(int count, char **arguments) {
    const struct {
        const char *name;
        void (*run)(const std::string &, int, int);
    } own[] = {{"scopes", scopes},
               {"callbacks", callbacks},
               {"numbers", numbers},
               {"initialize", initialize},
               {"waits", waits}};
    require(count >= 4, "arguments");
    for (const auto &mode : own)
        if (mode.name == std::string(arguments[1])) {
            mode.run(arguments[2], std::stoi(arguments[3]), std::stoi(arguments[4]));
            std::fflush(stdout);
            std::_Exit(0);
        }
    bench::runWorkload<RegisterStore>(count, arguments);
}
