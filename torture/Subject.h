#pragma once

#include <string>

#include <sys/uio.h>
#include <unistd.h>

/// What the torture needs of a settings store.
class Store {
public:
    virtual ~Store() = default;
    /// Loads the settings in a directory. Returns why it refuses, or nothing.
    virtual std::string load(const std::string &directory) = 0;
    /// The value of a key, or nothing when there is none.
    virtual std::string get(const std::string &key) = 0;
    virtual void set(const std::string &key, const std::string &value) = 0;
    /// Saves. Returns why that failed, or nothing.
    virtual std::string save() = 0;
};

/// `PROGRAM DIRECTORY [GENERATION]`: loads the settings and prints "loaded none", "loaded G" when
/// all of its keys are of the generation G, "loaded mixed" otherwise, or "refused ..." and ends
/// with the exit code 3. With a generation it then writes all keys, saves, and prints "saved" or
/// "failed ...".
inline int runSubject(Store &store, int count, char **arguments) {
    constexpr int keyCount = 60;
    constexpr int padding = 100;
    const auto key = [](int i) {
        return "group" + std::to_string(i % 6) + "/key" + std::to_string(i);
    };
    const auto value = [](const std::string &generation, int i) {
        return generation + ":" + std::string(padding, static_cast<char>('a' + i % 26));
    };
    // At once, so that a killed process has said all that it had to, and with another system call
    // than a store writes with, so that a fault there does not silence it.
    const auto say = [](std::string line) {
        line += "\n";
        const iovec part = {line.data(), line.size()};
        return ::writev(STDOUT_FILENO, &part, 1);
    };

    if (count < 2)
        return 2;
    const std::string refused = store.load(arguments[1]);
    if (!refused.empty()) {
        say("refused " + refused);
        return 3;
    }
    const std::string first = store.get(key(0));
    const std::string loaded = first.substr(0, first.find(':'));
    bool isWhole = true, isEmpty = true;
    for (int i = 0; i < keyCount; ++i) {
        const std::string found = store.get(key(i));
        isWhole = isWhole && found == value(loaded, i);
        isEmpty = isEmpty && found.empty();
    }
    say("loaded " + (isEmpty ? "none" : isWhole ? loaded : "mixed"));
    if (count < 3)
        return 0;
    for (int i = 0; i < keyCount; ++i)
        store.set(key(i), value(arguments[2], i));
    const std::string failed = store.save();
    say(failed.empty() ? "saved" : "failed " + failed);
    return 0;
}
