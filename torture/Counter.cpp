// One of several processes that count in a common register file.
//
// `PROGRAM DIRECTORY NAME sync|save|common [ROUNDS]` raises the fifty counts of the process NAME
// (a, b or c) by one in each round and saves them. "sync" calls `sync` in each round. "save" calls
// `save` in the mode MergeIntoFile, and `sync` in each eighth round only. "common" calls `sync` and
// also writes a property that all processes write. Without ROUNDS, it counts until it is killed.
//
// It prints "saw NAME COUNT" for each count that it finds at the start, or that a `sync` changes,
// and "saved COUNT". It prints any other line for what must not happen.
#include <register/Register.h>

#include <cstdlib>
#include <map>
#include <random>

#include <unistd.h>

using namespace utils::properties;

namespace {

constexpr int countsEach = 50;
const std::string commonName = "common";

/// Does not buffer, so that the output of a killed process is complete.
void say(const std::string &line) {
    const std::string whole = line + "\n";
    if (::write(STDOUT_FILENO, whole.data(), whole.size()) == -1)
        std::_Exit(1);
}

class Counter {
public:
    Counter(std::string name, const std::string &way)
        : _name(std::move(name)), _syncs(way != "save"), _writesCommon(way == "common") {}

    void start() {
        for (const std::string name : {"a", "b", "c"})
            look(name);
        std::string common;
        if (!_register.findValue(commonName, common))
            return;
        const std::size_t colon = common.find(':');
        if (common !=
            common.substr(0, colon) + ":" + std::to_string(_seen[common.substr(0, colon)]))
            say("The common property is of no save: " + common);
    }

    void count() {
        const int round = ++_seen[_name];
        for (int i = 0; i < countsEach; ++i)
            _register._writeInteger(nullptr, nameOf(_name, i), round, UserScope);
        if (_writesCommon)
            _register._writeString(nullptr, commonName, _name + ":" + std::to_string(round),
                                   UserScope);
        if (_syncs || round % 8 == 0)
            check(_register.sync(nullptr));
        else
            _register.save();
        const std::string error = _register.saveError() + _register.lockError();
        say(error.empty() ? "saved " + std::to_string(round) : error);
    }

private:
    static std::string nameOf(const std::string &name, int i) {
        return name + "/count" + std::to_string(i);
    }

    void look(const std::string &name) {
        int first = 0;
        _register.findValue(nameOf(name, 0), first);
        for (int i = 1; i < countsEach; ++i) {
            int count = 0;
            _register.findValue(nameOf(name, i), count);
            if (count != first)
                say("The counts of " + name + " differ: " + std::to_string(first) + ", " +
                    std::to_string(count));
        }
        const auto seen = _seen.emplace(name, -1).first;
        if (seen->second != first)
            say("saw " + name + " " + std::to_string(first));
        seen->second = first;
    }

    /// Another process that saves has changed the common property too. So a conflict comes exactly
    /// with changes of others.
    void check(const SyncResult &result) {
        for (const std::string &taken : result.taken)
            if (taken.substr(0, _name.size() + 1) == _name + "/" || taken == commonName)
                say("This process alone writes " + taken + ", but took it from the file.");
        const bool isConflict = _writesCommon && !result.taken.empty();
        if (result.conflicts != (isConflict ? std::set{commonName} : std::set<std::string>()))
            say(std::to_string(result.conflicts.size()) + " conflicts, first " +
                (result.conflicts.empty() ? "none" : *result.conflicts.begin()));
        for (const std::string name : {"a", "b", "c"})
            look(name);
    }

    std::string _name;
    bool _syncs, _writesCommon;
    std::map<std::string, int> _seen; ///< the counts by name
    _Register &_register = _Register::getInstance();
};

} // namespace

int main(int count, char **arguments) {
    if (count < 4)
        return 2;
    _Register::setSaveMode(MergeIntoFile); // else the saves of the start overwrite the file
    _Register::initialize("", arguments[1]);
    const std::string way = arguments[3];
    if (way != "save")
        _Register::setSaveMode(ReplaceFile); // `sync` merges in both modes
    Counter counter(arguments[2], way);
    counter.start();
    std::minstd_rand random(static_cast<unsigned>(::getpid()));
    for (int left = count > 4 ? std::atoi(arguments[4]) : -1; left != 0; --left) {
        counter.count();
        ::usleep(static_cast<useconds_t>(random() % 4000)); // so that the others get the lock too
    }
    std::_Exit(0); // without the last save
}
