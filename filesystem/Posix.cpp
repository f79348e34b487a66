#include "filesystem/Posix.h"

#include <memory>

#include <dirent.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filesystem::posix {

namespace {

/// Returns true when `readAll` accepts the file; otherwise sets `errno`.
bool isReadable(const struct stat &status, std::size_t limit) {
    if (S_ISREG(status.st_mode) && static_cast<std::size_t>(status.st_size) <= limit)
        return true;
    errno = S_ISREG(status.st_mode) ? EFBIG : S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
}

bool syncParent(const std::string &directory) {
    const Descriptor parent = openForReading(directory + "/..", O_DIRECTORY);
    return !parent || syncDirectory(parent);
}

} // namespace

bool meansMissing(int reason) {
    return reason == ENOENT || reason == ENOTDIR || reason == ENAMETOOLONG;
}

Descriptor::~Descriptor() {
    const int reason = errno;
    if (_number != -1)
        ::close(_number);
    errno = reason;
}

CancellationBlock::CancellationBlock() {
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_state);
}

CancellationBlock::~CancellationBlock() {
    ::pthread_setcancelstate(_state, nullptr);
}

Descriptor openForReading(const std::string &path, int flags, int directory) {
    return Descriptor(retryInterrupted(
        [&] { return ::openat(directory, path.c_str(), O_RDONLY | O_CLOEXEC | flags); }));
}

bool readAll(const Descriptor &file, std::size_t limit, std::string &content) {
    struct stat status = {};
    if (!file || ::fstat(file.number(), &status) == -1 || !isReadable(status, limit))
        return false;
    // One byte more, so that the first read sees the end.
    content.resize(static_cast<std::size_t>(status.st_size) + 1);
    for (std::size_t length = 0;;) {
        const ssize_t count = retryInterrupted(
            [&] { return ::read(file.number(), &content[length], content.size() - length); });
        if (count == -1)
            return false;
        length += static_cast<std::size_t>(count);
        if (length > limit) {
            errno = EFBIG;
            return false;
        }
        if (count == 0) {
            content.resize(length);
            return true;
        }
        if (length == content.size())
            content.resize(2 * length);
    }
}

bool writeAll(const Descriptor &file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count =
            retryInterrupted([&] { return ::write(file.number(), bytes.data(), bytes.size()); });
        if (count == 0)
            errno = EIO;
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool syncFile(const Descriptor &file) {
    return retryInterrupted([&] { return ::fsync(file.number()); }) == 0;
}

bool syncDirectory(const Descriptor &directory) {
    return syncFile(directory) || errno == EINVAL;
}

bool lock(const Descriptor &file) {
    return retryInterrupted([&] { return ::flock(file.number(), LOCK_EX | LOCK_NB); }) == 0;
}

bool listDirectory(const std::string &path, std::vector<std::string> &names, int from) {
    struct Close {
        void operator()(DIR *directory) const { ::closedir(directory); }
    };
    Descriptor file = openForReading(path, O_DIRECTORY, from);
    const std::unique_ptr<DIR, Close> directory(file ? ::fdopendir(file.number()) : nullptr);
    if (!directory)
        return false;
    file.release(); // `closedir` closes it
    for (errno = 0; const dirent *entry = ::readdir(directory.get()); errno = 0) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return errno == 0;
}

bool makePath(const std::string &path, mode_t mode) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string directory = path.substr(0, end);
        const bool isNew = ::mkdir(directory.c_str(), mode) == 0;
        if (!isNew && errno != EEXIST)
            return false;
        if (isNew && (::chmod(directory.c_str(), mode) == -1 || !syncParent(directory)))
            return false;
        if (end == std::string::npos)
            return true;
    }
}

} // namespace filesystem::posix
