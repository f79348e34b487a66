#include "filesystem/FileLock.h"

#include "filesystem/FileRights.h"

#include <cerrno>
#include <chrono>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filesystem {

namespace {

enum Byte : off_t { SaveByte = 0, AnnouncementByte = 1, TurnByte = 2 };

struct flock lockOf(Byte byte, short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool setLock(const posix::Descriptor &file, Byte byte, short type) {
    struct flock lock = lockOf(byte, type);
    return posix::retryInterrupted([&] { return ::fcntl(file.number(), F_OFD_SETLK, &lock); }) == 0;
}

using Clock = std::chrono::steady_clock;

bool waitFor(const posix::Descriptor &file, Byte byte, Clock::time_point end) {
    constexpr useconds_t pause = 500; // microseconds
    while (!setLock(file, byte, F_WRLCK)) {
        if (errno != EAGAIN && errno != EACCES)
            return false;
        if (Clock::now() >= end) {
            errno = ETIMEDOUT;
            return false;
        }
        ::usleep(pause);
    }
    return true;
}

std::string nameOf(const FileLocation &location) {
    return location.beside(".", ".lock");
}

posix::Descriptor openWith(const FileLocation &location, int flags) {
    return posix::Descriptor(posix::retryInterrupted([&] {
        return ::openat(location.directory().number(), nameOf(location).c_str(),
                        flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    }));
}

/// Opens the lock file, which is created if it is missing.
posix::Descriptor openOrCreate(const FileLocation &location) {
    constexpr int attempts = 10; // it may be created or removed meanwhile
    posix::Descriptor file;
    for (int i = 0; i < attempts && !file; ++i) {
        file = openWith(location, O_RDWR);
        if (file || errno != ENOENT)
            break;
        file = openWith(location, O_RDWR | O_CREAT | O_EXCL);
        if (file)
            takeOverRights(location.directory(), location.name(), file);
        else if (errno != EEXIST)
            break;
    }
    return file;
}

} // namespace

/// The locks of this process. A forked child shares their open files, so they would stay locked as
/// long as it lives. It closes its own.
class FileLock::All {
public:
    static void add(FileLock *lock) {
        static const int atFork =
            ::pthread_atfork([] { mutex.lock(); }, [] { mutex.unlock(); }, closeInChild);
        (void)atFork; // without it, the locks of a process last as long as its children
        const std::lock_guard<std::mutex> guard(mutex);
        lock->_next = std::exchange(first, lock);
    }
    static void remove(const FileLock *lock) {
        const std::lock_guard<std::mutex> guard(mutex);
        FileLock **link = &first;
        while (*link != lock)
            link = &(*link)->_next;
        *link = lock->_next;
    }

private:
    static void closeInChild() {
        for (FileLock *lock = first; lock; lock = lock->_next)
            lock->_file = posix::Descriptor();
        mutex.unlock();
    }

    static inline std::mutex mutex;
    static inline FileLock *first = nullptr;
};

FileLock::FileLock() {
    All::add(this);
}

FileLock::~FileLock() {
    unlock(); // a `close` that fails may leave the file open
    All::remove(this);
}

bool FileLock::lock(const FileLocation &location) {
    constexpr int attempts = 10; // the lock file may be removed meanwhile
    for (int i = 0; i < attempts; ++i) {
        if (!open(location) || !waitForLock())
            return false;
        if (isInPlace(location))
            return true;
    }
    errno = ETIMEDOUT;
    return false;
}

/// A process that saves all the time leaves the save lock free for some microseconds only. So the
/// process whose turn is next holds another byte, and all others wait for that first.
bool FileLock::waitForLock() {
    const auto end = Clock::now() + std::chrono::seconds(5);
    const bool done = waitFor(_file, TurnByte, end) && waitFor(_file, SaveByte, end);
    const int reason = errno;
    setLock(_file, TurnByte, F_UNLCK);
    errno = reason;
    return done;
}

void FileLock::unlock() {
    if (_file)
        setLock(_file, SaveByte, F_UNLCK);
    if (!_isAnnounced)
        _file = posix::Descriptor();
}

void FileLock::announce(bool overwriting) {
    if (_file && overwriting != _isAnnounced &&
        setLock(_file, AnnouncementByte, overwriting ? F_RDLCK : F_UNLCK))
        _isAnnounced = overwriting;
}

bool FileLock::isAnnounced(const FileLocation &location) {
    const posix::CancellationBlock block;
    const posix::Descriptor file = openWith(location, O_RDONLY);
    struct flock lock = lockOf(AnnouncementByte, F_WRLCK);
    return file && ::fcntl(file.number(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

std::string FileLock::pathOf(const FileLocation &location) {
    return location.pathBeside(nameOf(location));
}

bool FileLock::open(const FileLocation &location) {
    if (_file && isInPlace(location))
        return true;
    _isAnnounced = false;
    _file = openOrCreate(location);
    return bool(_file);
}

/// False if the lock file was removed or is that of another register file.
bool FileLock::isInPlace(const FileLocation &location) const {
    struct stat opened = {}, named = {};
    return ::fstat(_file.number(), &opened) == 0 &&
           ::fstatat(location.directory().number(), nameOf(location).c_str(), &named,
                     AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

} // namespace filesystem
