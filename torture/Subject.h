#pragma once

#include <string>

#include <sys/uio.h>
#include <unistd.h>

/// The operations of a settings store that the torture tests use.
class Store {
public:
    virtual ~Store() = default;
    /// Loads the settings in a directory. Returns the error message; empty on success.
    virtual std::string load(const std::string &directory) = 0;
    /// Returns the value of a key; empty when the key does not exist.
    virtual std::string get(const std::string &key) = 0;
    virtual void set(const std::string &key, const std::string &value) = 0;
    /// Saves. Returns the error message; empty on success.
    virtual std::string save() = 0;
};

/// `PROGRAM DIRECTORY [GENERATION]` loads the settings and prints one of these lines:
/// - "loaded none" when there are no settings,
/// - "loaded G" when all keys are of the generation G,
/// - "loaded mixed" in all other cases,
/// - "refused ..." when the load fails; the exit code is then 3.
/// With a generation, it then writes all keys, saves, and prints "saved" or "failed ...".
inline int runSubject(Store &store, int count, char **arguments) {
    constexpr int keyCount = 60;
    constexpr int padding = 100;
    const auto key = [](int i) {
        return "group" + std::to_string(i % 6) + "/key" + std::to_string(i);
    };
    const auto value = [](const std::string &generation, int i) {
        return generation + ":" + std::string(padding, static_cast<char>('a' + i % 26));
    };
    // Does not buffer, so that the output of a killed process is complete. Uses another system call
    // than a store writes with, so that a fault in that call does not suppress the output.
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
