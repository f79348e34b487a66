#include "Dump.h"
#include "Literal.h"
#include "Verbs.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace registerctl {

namespace {

/// Waits until something in the directory of a file may have changed.
class DirectoryWatch {
public:
    explicit DirectoryWatch(const std::string &path)
        : _directory(std::filesystem::path(path).parent_path().string()),
          _events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        if (_events < 0)
            throw Failure(NotReadable, path + ": cannot be watched: " + std::strerror(errno));
        add();
    }
    ~DirectoryWatch() { ::close(_events); }
    DirectoryWatch(const DirectoryWatch &) = delete;
    DirectoryWatch &operator=(const DirectoryWatch &) = delete;

    void wait() {
        constexpr int untilItExists = 1000; // in milliseconds
        pollfd waiting = {_events, POLLIN, 0};
        ::poll(&waiting, 1, _isAdded ? -1 : untilItExists);
        drain();
        if (!_isAdded)
            add();
    }

private:
    void add() {
        constexpr unsigned changes = IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_DELETE |
                                     IN_DELETE_SELF | IN_MOVE_SELF;
        _isAdded = ::inotify_add_watch(_events, _directory.c_str(), changes) >= 0;
    }

    /// Reads all events. A directory that is gone is added again when it is back.
    void drain() {
        alignas(inotify_event) char buffer[4096];
        for (ssize_t size; (size = ::read(_events, buffer, sizeof buffer)) > 0;)
            for (const char *at = buffer; at < buffer + size;) {
                const auto *event = reinterpret_cast<const inotify_event *>(at);
                if (event->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF))
                    _isAdded = false;
                at += sizeof *event + event->len;
            }
    }

    const std::string _directory;
    const int _events;
    bool _isAdded = false;
};

void print(const std::vector<Difference> &changes) {
    for (const Difference &change : changes)
        if (change.after)
            std::cout << dumpLine(*change.after) << '\n';
        else
            std::cout << "unset " << nameToText(change.before->first) << '\n';
    if (!std::cout.flush())
        throw Failure(NotWritten, "standard output: cannot be written");
}

} // namespace

ExitCode watch(const Options &options) {
    const std::string prefix = nameArgument(options, true);
    const Files files(options.selection);
    DirectoryWatch directory(std::filesystem::absolute(files.target()).string());
    Content before = contentOf(files.openTarget(), prefix);
    for (std::string told;;) {
        directory.wait();
        try {
            Content after = contentOf(files.openTarget(), prefix);
            print(differences(before, after));
            before.swap(after);
            told.clear();
        } catch (const Failure &failure) {
            if (failure.code == NotWritten)
                throw;
            if (told != failure.what()) // once for each reason
                warn(told = failure.what());
        }
    }
}

} // namespace registerctl
