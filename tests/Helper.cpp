// A small application, linked to the shared library alone, for what happens at exit.
//
// GLOBAL USER SCOPE NAME VALUE starts the register, writes a string and ends; where that did not
// reach the disk, which it then says, with the exit code 4. Exit code 3 and a message when the
// register does not start. Instead of a scope: "callback" ends it with `exit` from inside a
// callback, "busy" while other threads go on using the register.
#include <register/Property.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

using namespace utils::properties;

namespace {

Subscription survivor; // constructed before the register, and so destroyed after it

/// Writes when the register has ended, of which nobody may be told.
struct Late {
    ~Late() {
        if (isStarted)
            _Register::getInstance()._writeString(nullptr, "late", "", TempScope);
    }
    bool isStarted = false;
} late;

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

int main(int count, char **arguments) {
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
    late.isStarted = true;
    survivor = Subscription("late", [](auto &) { _exit(5); });
    const Subscription last(scope == "callback" ? name : "", [](auto &) { std::exit(0); });
    reg._writeString(nullptr, name, value,
                     scope == "global" ? GlobalScope
                     : scope == "temp" ? TempScope
                                       : UserScope);
    if (scope == "busy")
        exitWhileBusy(name);
    reg.save();
    if (reg.saveError().empty())
        return 0;
    std::fprintf(stderr, "%s\n", reg.saveError().c_str());
    return 4;
}
