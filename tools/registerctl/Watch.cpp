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

/// Waits until a file may have changed.
class FileWatch {
public:
    explicit FileWatch(const std::string &path)
        : _path(path), _events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        if (_events < 0)
            throw Failure(NotReadable, path + ": cannot be watched: " + std::strerror(errno));
        watchDirectories();
    }
    ~FileWatch() { ::close(_events); }
    FileWatch(const FileWatch &) = delete;
    FileWatch &operator=(const FileWatch &) = delete;

    void wait() {
        constexpr int untilItExists = 1000; // in milliseconds
        pollfd waiting = {_events, POLLIN, 0};
        ::poll(&waiting, 1, _isWatched ? -1 : untilItExists);
        char ignored[4096];
        while (::read(_events, ignored, sizeof ignored) > 0)
            ;
        watchDirectories();
    }

private:
    /// A save replaces the file, or the one that a link leads to, so their directories tell it.
    /// They are watched again after each event: they may be new, or the link leads elsewhere.
    void watchDirectories() {
        std::error_code error;
        const std::filesystem::path target = std::filesystem::weakly_canonical(_path, error);
        _isWatched = watchDirectory(_path.parent_path()) && watchDirectory(target.parent_path());
    }

    bool watchDirectory(const std::filesystem::path &directory) const {
        constexpr unsigned changes = IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_DELETE |
                                     IN_DELETE_SELF | IN_MOVE_SELF;
        return ::inotify_add_watch(_events, directory.c_str(), changes) >= 0;
    }

    const std::filesystem::path _path;
    const int _events;
    bool _isWatched = false;
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
    FileWatch file(std::filesystem::absolute(files.target()).string());
    Content before = contentOf(files.openTarget(), prefix);
    for (std::string told;;) {
        file.wait();
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
