#include "filesystem/AtomicFile.h"

#include "filesystem/FileRights.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
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

} // namespace

AtomicFile::AtomicFile(std::string path) : _path(std::move(path)) {}

AtomicFile::~AtomicFile() {
    if (!_temporary.empty())
        ::unlink(_temporary.c_str());
}

/// Keeps what was being done when it failed.
bool AtomicFile::check(bool done, const char *stage) {
    if (!done)
        _stage = stage;
    return done;
}

bool AtomicFile::open() {
    if (!check(followLinks(), "following the symbolic link") ||
        !check(openDirectory(), "opening its directory"))
        return false;
    removeLeftovers();
    return check(createTemporary(), "creating a temporary file beside it") &&
           check(takeOverAttributes(), "preparing its replacement");
}

bool AtomicFile::commit(std::string_view bytes) {
    return check(posix::writeAll(_file, bytes), "writing") &&
           check(posix::syncFile(_file), "forcing it to the disk") &&
           check(takeName(), "putting it in its place") &&
           check(posix::syncDirectory(_directoryFile), "forcing its directory to the disk");
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

bool AtomicFile::openDirectory() {
    _directoryFile = posix::openForReading(_directory, O_DIRECTORY);
    return bool(_directoryFile);
}

bool AtomicFile::createTemporary() {
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string name = _directory + "/" + temporaryPrefix(_path) + randomPart;
        _file = posix::Descriptor(
            posix::retryInterrupted([&] { return ::mkostemp(name.data(), O_CLOEXEC); }));
        if (!_file)
            return false;
        _temporary = std::move(name);
        // Before it was locked, another process may have taken it for a leftover. Where the file
        // system has no locks, nobody takes anything for one.
        struct stat status = {};
        const bool taken = !posix::lock(_file) && errno == EWOULDBLOCK;
        if (::fstat(_file.number(), &status) == -1)
            return false;
        if (!taken && status.st_nlink > 0)
            return true;
        _file = posix::Descriptor();
    }
    errno = EBUSY;
    return false;
}

bool AtomicFile::takeOverAttributes() {
    struct stat old = {};
    const bool exists = ::stat(_path.c_str(), &old) == 0;
    if (!exists && errno != ENOENT)
        return false;
    if (exists && !S_ISREG(old.st_mode)) {
        errno = S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    if (exists && ::faccessat(AT_FDCWD, _path.c_str(), W_OK, AT_EACCESS) == -1)
        return false;
    const std::string name = std::filesystem::path(_path).filename().string();
    return takeOverRights(_directoryFile, name, _file);
}

void AtomicFile::removeLeftovers() const {
    const std::string prefix = temporaryPrefix(_path);
    const std::size_t length = prefix.size() + std::char_traits<char>::length(randomPart);
    std::vector<std::string> names;
    posix::listDirectory(_directory, names);
    for (const std::string &name : names) {
        if (name.size() != length || name.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string path = _directory + "/" + name;
        const auto file = posix::openForReading(path, O_NOFOLLOW | O_NONBLOCK);
        if (file && posix::lock(file))
            ::unlink(path.c_str());
    }
}

bool AtomicFile::takeName() {
    if (::rename(_temporary.c_str(), _path.c_str()) == -1)
        return false;
    _temporary.clear();
    return true;
}

} // namespace filesystem
