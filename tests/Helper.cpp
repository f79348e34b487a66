// A small application that links only the shared library. The tests use it to check the exit.
//
// With the arguments GLOBAL USER SCOPE NAME VALUE, it starts the register, writes a string, saves
// and ends. When the save fails, it prints the error and the exit code is 4. When the register does
// not start, it prints the error and the exit code is 3. These words can replace the scope:
// - "callback": calls `exit` inside a callback,
// - "busy": calls `exit` while other threads use the register,
// - "exits": calls `exit` in several threads at once,
// - "fork": a child process with an older state ends last,
// - "plain": ends without a save before the exit,
// - "unload": does the same in a plugin, which the test then unloads,
// - "copy": loads a copy of the library from the path VALUE; the exit code is 7 when the two copies
//   are not independent,
// - "spoilt": overwrites the file with other content and ends without a save before the exit; the
//   exit code is 5 when the save at exit reports the content.
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

/// Is constructed before the register and therefore destroyed after it. Changes in the destructor
/// are not saved and do not notify.
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

/// Forks a child before the value is set. The child ends after the parent has saved the value.
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

/// Loads a second copy of the library. Returns true when the two copies share nothing.
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
    if (scope != "unload") { // in a plugin, `late` is destroyed before the register
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
