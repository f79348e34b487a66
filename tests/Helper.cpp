// A small application, linked to the shared library alone, for what happens at exit.
//
// GLOBAL USER SCOPE NAME VALUE starts the register, writes a string and ends; where that did not
// reach the disk, which it then says, with the exit code 4. Exit code 3 and a message when the
// register does not start. Instead of a scope:
// - "callback" ends it with `exit` from inside a callback,
// - "busy" while other threads go on using the register,
// - "exits" by several threads at once,
// - "fork" ends a child that has an older state last,
// - "plain" ends without a save before the exit, and "unload" returns from `runHelper`,
// - "copy" loads a copy of the library, which is at the path VALUE; the exit code is 7 when the two
//   are not independent,
// - "spoilt" does so too, after the file has become something else; the exit code is 5 when the
//   last save reports that.
#include <register/Property.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace utils::properties;

namespace {

/// Constructed before the register, and so destroyed after it. Its changes then are neither saved
/// nor notified of.
struct Late {
    ~Late() {
        if (!registerPath.empty()) {
            _Register &reg = _Register::getInstance();
            reg._writeString(nullptr, "late", "not saved", UserScope);
            reg.save();
            reg.load();
        }
    }
    Subscription survivor;
    std::string registerPath;
} late;

[[noreturn]] void exitTogether() {
    for (int worker = 0; worker < 8; ++worker)
        std::thread([] { std::exit(0); }).detach();
    std::exit(0);
}

/// The child has the state from before the value, and ends after the value has been saved.
[[noreturn]] void outliveTheParent(const Property<std::string> &property,
                                   const std::string &value) {
    int ready[2] = {};
    if (::pipe(ready) == -1)
        ::_exit(1);
    if (const pid_t child = ::fork(); child != 0) {
        property.set(value);
        _Register::getInstance().save();
        ::close(ready[1]);
        ::waitpid(child, nullptr, 0);
        ::_exit(0);
    }
    late.registerPath.clear();
    ::close(ready[1]);
    char none = 0;
    std::exit(::read(ready[0], &none, 1) == 0 ? 0 : 1);
}

/// Loads a second copy of the library. True when the two have nothing in common.
bool isIndependent(const char *copy) {
    const void *mutex = _Register::_mutex;
    const std::string directory = _Register::_UserRegisterPath;
    void *library = ::dlopen(copy, RTLD_NOW | RTLD_GLOBAL);
    if (!library)
        return false;
    const auto other = reinterpret_cast<_Register &(*)()>(
        ::dlsym(library, "_ZN5utils10properties9_Register11getInstanceEv"));
    return other && &other() != &_Register::getInstance() &&
           !other().propertyExists("UserDataPath") && _Register::_mutex == mutex &&
           _Register::_UserRegisterPath == directory;
}

[[noreturn]] void exitWhileBusy(const std::string &name) {
    for (int worker = 0; worker < 4; ++worker)
        std::thread([name, worker] {
            const Property<std::string> own("busy/" + std::to_string(worker), "", TempScope);
            for (;;) {
                const Subscription subscription("busy", [](auto &) {});
                own.set(Property<std::string>(name).value());
            }
        }).detach();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::exit(0);
}

} // namespace

extern "C" [[gnu::visibility("default")]] int runHelper(int count, char **arguments) {
    if (count != 6)
        return 2;
    const std::string scope = arguments[3], name = arguments[4], value = arguments[5];
    try {
        _Register::initialize(arguments[1], arguments[2]);
    } catch (const utils::Exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
    _Register &reg = _Register::getInstance();
    if (scope != "unload") { // where `late` is destroyed before the register
        late.registerPath = arguments[2];
        late.survivor = Subscription("late", [](auto &) { ::_exit(6); });
    }
    if (scope == "copy" && !isIndependent(value.c_str()))
        return 7;
    if (scope == "fork")
        outliveTheParent(Property<std::string>(name), value);
    if (scope == "spoilt") {
        _Register::setSaveErrorHandler([](const std::string &) { ::_exit(5); });
        std::ofstream(arguments[2] + std::string("/Brevolant.dat")) << "something else";
    }
    const Subscription last(scope == "callback" ? name : "", [](auto &) { std::exit(0); });
    reg._writeString(nullptr, name, value,
                     scope == "global" ? GlobalScope
                     : scope == "temp" ? TempScope
                                       : UserScope);
    if (scope == "busy")
        exitWhileBusy(name);
    if (scope == "exits")
        exitTogether();
    if (scope == "plain" || scope == "unload" || scope == "spoilt")
        return 0;
    reg.save();
    if (reg.saveError().empty())
        return 0;
    std::fprintf(stderr, "%s\n", reg.saveError().c_str());
    return 4;
}

int main(int count, char **arguments) {
    return runHelper(count, arguments);
}
