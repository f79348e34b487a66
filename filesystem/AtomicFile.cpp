#include "filesystem/AtomicFile.h"

#include "filesystem/Interrupted.h"
#include "filesystem/ListDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filesystem {

namespace {

constexpr const char *randomPart = "XXXXXX";

/// How the temporary files of `path` are named, up to their random part. No name that a person
/// would give to a copy, since leftovers of this form are removed.
std::string temporaryPrefix(const std::string &path) {
    return "." + std::filesystem::path(path).filename().string() + ".saving-";
}

/// Takes the lock of a temporary file; false when another process has it. A killed writer's lock
/// has gone with it.
bool lock(int file) {
    return retryInterrupted([&] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

} // namespace

bool syncDirectory(int directory) {
    return retryInterrupted([&] { return ::fsync(directory); }) == 0 || errno == EINVAL;
}

AtomicFile::AtomicFile(std::string path) : _path(std::move(path)) {}

AtomicFile::~AtomicFile() {
    drop();
}

bool AtomicFile::fail(const char *stage) {
    const int reason = errno;
    _error = _path + ": " + stage + ": " + std::generic_category().message(reason);
    drop();
    return false;
}

void AtomicFile::drop() {
    if (!_temporary.empty())
        ::unlink(_temporary.c_str());
    _temporary.clear();
    if (_file != -1)
        ::close(_file);
    if (_directoryFile != -1)
        ::close(_directoryFile);
    _file = _directoryFile = -1;
}

bool AtomicFile::followLinks() {
    constexpr int maxLinks = 40; // as many as Linux follows
    std::error_code error;
    for (int links = 0; std::filesystem::is_symlink(_path, error); ++links) {
        if (links == maxLinks) {
            errno = ELOOP;
            return false;
        }
        const auto target = std::filesystem::read_symlink(_path, error);
        if (error) {
            errno = error.value();
            return false;
        }
        _path = (std::filesystem::path(_path).parent_path() / target).string();
    }
    _directory = std::filesystem::path(_path).parent_path().string();
    return true;
}

bool AtomicFile::open() {
    if (!followLinks())
        return fail("following the symbolic link");
    _directoryFile = retryInterrupted(
        [&] { return ::open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (_directoryFile == -1)
        return fail("opening its directory");
    removeLeftovers();
    if (!createTemporary())
        return fail("creating a temporary file beside it");
    if (!takeOverAttributes())
        return fail("preparing its replacement");
    return true;
}

bool AtomicFile::createTemporary() {
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string name = _directory + "/" + temporaryPrefix(_path) + randomPart;
        _file = retryInterrupted([&] { return ::mkostemp(name.data(), O_CLOEXEC); });
        if (_file == -1)
            return false;
        _temporary = std::move(name);
        // Before it was locked, another process may have taken it for a leftover. Where the file
        // system has no locks, nobody takes anything for one.
        struct stat status = {};
        const bool taken = !lock(_file) && errno == EWOULDBLOCK;
        if (::fstat(_file, &status) == -1)
            return false;
        if (!taken && status.st_nlink > 0)
            return true;
        ::close(_file);
        _file = -1;
    }
    errno = EBUSY;
    return false;
}

bool AtomicFile::takeOverAttributes() {
    struct stat old = {};
    if (::stat(_path.c_str(), &old) == -1)
        return errno == ENOENT;
    if (!S_ISREG(old.st_mode)) {
        errno = S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    if (::faccessat(AT_FDCWD, _path.c_str(), W_OK, AT_EACCESS) == -1)
        return false;
    // Giving a file away is for the superuser; anyone else's new file is their own.
    if ((old.st_uid != ::geteuid() || old.st_gid != ::getegid()) &&
        ::fchown(_file, old.st_uid, old.st_gid) == -1 && errno != EPERM)
        return false;
    return ::fchmod(_file, old.st_mode & 07777) == 0;
}

void AtomicFile::removeLeftovers() const {
    const std::string prefix = temporaryPrefix(_path);
    const std::size_t length = prefix.size() + std::char_traits<char>::length(randomPart);
    std::vector<std::string> names;
    listDirectory(_directory, names);
    for (const std::string &name : names) {
        if (name.size() != length || name.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string path = _directory + "/" + name;
        const int file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (file == -1)
            continue;
        if (lock(file))
            ::unlink(path.c_str());
        ::close(file);
    }
}

bool AtomicFile::writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written =
            retryInterrupted([&] { return ::write(_file, bytes.data(), bytes.size()); });
        if (written == 0)
            errno = EIO;
        if (written <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool AtomicFile::commit(std::string_view bytes) {
    if (!writeAll(bytes))
        return fail("writing");
    if (retryInterrupted([&] { return ::fsync(_file); }) == -1)
        return fail("forcing it to the disk");
    if (::rename(_temporary.c_str(), _path.c_str()) == -1)
        return fail("putting it in its place");
    _temporary.clear();
    if (!syncDirectory(_directoryFile))
        return fail("forcing its directory to the disk");
    drop();
    return true;
}

} // namespace filesystem
