#include "filesystem/AtomicFile.h"

#include "filesystem/FileRights.h"

#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace filesystem {

namespace {

constexpr std::size_t randomLength = 6;

std::string randomPart() {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::string part(randomLength, '\0');
    ::getentropy(part.data(), part.size());
    for (char &letter : part)
        letter = letters[static_cast<unsigned char>(letter) % letters.size()];
    return part;
}

} // namespace

AtomicFile::AtomicFile(std::string path) : _path(std::move(path)) {}

AtomicFile::~AtomicFile() {
    if (!_temporary.empty())
        ::unlinkat(_location.directory().number(), _temporary.c_str(), 0);
}

/// Leftovers with such a name are removed, so it must not be one that a person gives to a copy.
std::string AtomicFile::temporaryName(const FileLocation &location) {
    return location.beside(".", ".saving-" + randomPart());
}

/// Stores the stage of a failure. Returns `done`.
bool AtomicFile::check(bool done, const char *stage) {
    if (!done)
        _stage = stage;
    return done;
}

bool AtomicFile::open() {
    const bool found = _location.find(_path);
    if (!check(found, _location.stage()) || !check(openDirectory(), "opening its directory"))
        return false;
    removeLeftovers();
    return check(createTemporary(), "creating a temporary file beside it") &&
           check(checkOld() && takeOverRights(_directory, _location.name(), _file),
                 "preparing its replacement");
}

bool AtomicFile::write(std::string_view bytes) {
    return check(posix::writeAll(_file, bytes), "writing") &&
           check(posix::syncFile(_file), "forcing it to the disk");
}

bool AtomicFile::replace(const std::string &name) {
    const int directory = _location.directory().number();
    if (!check(::renameat(directory, _temporary.c_str(), directory, name.c_str()) == 0,
               "putting it in its place"))
        return false;
    _temporary.clear();
    return check(posix::syncDirectory(_directory), "forcing its directory to the disk");
}

bool AtomicFile::openDirectory() {
    _directory = posix::openForReading(".", O_DIRECTORY, _location.directory().number());
    return bool(_directory);
}

bool AtomicFile::createTemporary() {
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string name = temporaryName(_location);
        _file = posix::Descriptor(posix::retryInterrupted([&] {
            return ::openat(_directory.number(), name.c_str(),
                            O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        }));
        if (!_file && errno == EEXIST)
            continue;
        if (!_file)
            return false;
        _temporary = std::move(name);
        // Before it was locked, another process may have locked and removed it as a leftover. On a
        // file system without locks, no process removes leftovers.
        struct stat status = {};
        const bool taken = !posix::lock(_file) && errno == EWOULDBLOCK;
        if (!statNew(status))
            return false;
        if (!taken && status.st_nlink > 0)
            return true;
        _file = posix::Descriptor();
        _temporary.clear(); // the name is the other process's to remove
    }
    errno = EBUSY;
    return false;
}

bool AtomicFile::statNew(struct stat &status) const {
    return ::fstat(_file.number(), &status) == 0;
}

/// Returns true when there is no old file or it may be replaced.
bool AtomicFile::checkOld() {
    const int directory = _location.directory().number();
    const char *name = _location.name().c_str();
    struct stat old = {};
    if (::fstatat(directory, name, &old, AT_SYMLINK_NOFOLLOW) == -1)
        return errno == ENOENT;
    if (!S_ISREG(old.st_mode))
        errno = S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
    return S_ISREG(old.st_mode) && ::faccessat(directory, name, W_OK, AT_EACCESS) == 0;
}

void AtomicFile::removeLeftovers() const {
    const std::string another = temporaryName(_location);
    const std::size_t fixedLength = another.size() - randomLength;
    std::vector<std::string> names;
    posix::listDirectory(".", names, _directory.number());
    for (const std::string &name : names) {
        if (name.size() != another.size() || name.compare(0, fixedLength, another, 0, fixedLength))
            continue;
        const auto file = posix::openForReading(name, O_NOFOLLOW | O_NONBLOCK, _directory.number());
        if (file && posix::lock(file))
            ::unlinkat(_directory.number(), name.c_str(), 0);
    }
}

} // namespace filesystem
