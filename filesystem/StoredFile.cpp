#include "filesystem/StoredFile.h"

#include "exception/Exception.h"
#include "filesystem/AtomicFile.h"
#include "filesystem/Posix.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Tree.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace filesystem {

namespace {

constexpr mode_t privateDirectory = 0700;

bool saysThatNothingIsThere(int reason) {
    return reason == ENOENT || reason == ENOTDIR || reason == ENAMETOOLONG;
}

std::string previousOf(const FileLocation &location) {
    return location.beside("", ".previous");
}

std::string damagedNameOf(const FileLocation &location, int number) {
    return location.beside("", number == 1 ? ".damaged" : ".damaged." + std::to_string(number));
}

posix::Descriptor openBeside(const FileLocation &location, const std::string &name) {
    return posix::openForReading(name, O_NONBLOCK | O_NOFOLLOW, location.directory().number());
}

bool readBeside(const FileLocation &location, const std::string &name, std::string &content) {
    const posix::Descriptor file = openBeside(location, name);
    return file && posix::readAll(file, registerFormat::maxFileSize, content);
}

/// Returns true when a file beside can be loaded.
bool isIntact(const FileLocation &location, const std::string &name) {
    try {
        Tree scratch;
        std::string content;
        if (!readBeside(location, name, content) || content.empty())
            return false;
        registerFormat::decode(std::move(content), scratch, Tree::root);
        return true;
    } catch (const utils::Exception &) {
        return false;
    }
}

/// Replaces the file `to` by a second name of `from`, in one step.
bool linkOver(const FileLocation &location, const std::string &from, const std::string &to) {
    const int directory = location.directory().number();
    const std::string temporary = AtomicFile::temporaryName(location);
    if (::linkat(directory, from.c_str(), directory, temporary.c_str(), 0) == -1)
        return false;
    const bool done = ::renameat(directory, temporary.c_str(), directory, to.c_str()) == 0;
    const int reason = errno;
    // It is still there after a failure, and where `to` was a name of the same file already.
    ::unlinkat(directory, temporary.c_str(), 0);
    errno = reason;
    return done;
}

/// Makes `to` the same as `from`, in one step: by a hard link, or by a copy where the file system
/// has no links or refuses one to a file of somebody else.
bool duplicate(const FileLocation &location, const std::string &from, const std::string &to) {
    if (linkOver(location, from, to))
        return true;
    std::string content;
    AtomicFile copy(location.pathBeside(to));
    return readBeside(location, from, content) && copy.open() && copy.commit(content);
}

bool syncDirectory(const FileLocation &location) {
    const auto directory = posix::openForReading(".", O_DIRECTORY, location.directory().number());
    return directory && posix::syncDirectory(directory);
}

/// Gives the file a name, unless that is taken (`EEXIST`). Stores whether it keeps its own name
/// too, which it does except for a directory or on a file system without hard links.
bool giveFreeName(const FileLocation &location, const std::string &name, bool &keepsItsOwn) {
    const int directory = location.directory().number();
    const char *from = location.name().c_str(), *to = name.c_str();
    keepsItsOwn = ::linkat(directory, from, directory, to, 0) == 0;
    if (keepsItsOwn || errno == EEXIST)
        return keepsItsOwn;
    if (::renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL) // the file system knows the flag
        return false;
    const bool isTaken = ::faccessat(directory, to, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    errno = isTaken ? EEXIST : errno;
    return !isTaken && errno == ENOENT && ::renameat(directory, from, directory, to) == 0;
}

} // namespace

StoredFile::Identity::Identity(const struct stat &status)
    : device(status.st_dev), inode(status.st_ino), size(status.st_size), modified(status.st_mtim) {}

bool StoredFile::Identity::operator==(const Identity &other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

StoredFile::StoredFile(std::string directory, const std::string &name)
    : _directory(std::move(directory)), _path(_directory + "/" + name) {}

bool StoredFile::failWith(const std::string &path, const char *stage, std::string reason) {
    _reason = std::move(reason);
    _error = path + ": " + stage + ": " + _reason;
    return false;
}

bool StoredFile::fail(const std::string &path, const char *stage) {
    return failWith(path, stage, std::generic_category().message(errno));
}

bool StoredFile::refersToNothing() const {
    return _directory.empty() || _path.find('\0') != std::string::npos;
}

StoredFile::Result StoredFile::read(std::string &content) {
    const posix::CancellationBlock block;
    _error.clear();
    _known.reset();
    FileLocation location;
    struct stat status = {};
    if (refersToNothing())
        return Result::Missing;
    const bool found = location.find(_path);
    const posix::Descriptor file =
        found ? openBeside(location, location.name()) : posix::Descriptor();
    if (!file && saysThatNothingIsThere(errno))
        return Result::Missing;
    if (!file || ::fstat(file.number(), &status) == -1 ||
        !posix::readAll(file, registerFormat::maxFileSize, content)) {
        fail(_path, "reading");
        return Result::Failed;
    }
    _read = Known{Identity(status), std::string(registerFormat::headerOf(content))};
    return Result::Done;
}

bool StoredFile::replace(std::string_view content) {
    const posix::CancellationBlock block;
    _error.clear();
    if (refersToNothing()) {
        _error = "There is no directory to write in.";
        return false;
    }
    if (!posix::makePath(_directory, privateDirectory))
        return fail(_directory, "creating the directory");
    AtomicFile file(_path);
    struct stat status = {};
    if (!file.open() || !file.write(content) || !file.statNew(status))
        return fail(file.path(), file.stage());
    if (!keepOld(file.location(), content))
        return false;
    Known written{Identity(status), std::string(registerFormat::headerOf(content))};
    const bool done = file.replace();
    if (file.isReplaced())
        _known = std::move(written);
    return done || fail(file.path(), file.stage());
}

/// Keeps what the replacement by `content` would destroy. Returns false when that cannot be kept.
bool StoredFile::keepOld(const FileLocation &location, std::string_view content) {
    struct stat old = {};
    if (::fstatat(location.directory().number(), location.name().c_str(), &old,
                  AT_SYMLINK_NOFOLLOW) == -1)
        return errno == ENOENT || fail(location.path(), "looking at what it replaces");
    if (old.st_size == 0)
        return _previousKept = true;
    if (!_known || !(_known->identity == Identity(old)))
        return keepUnknown(location, content);
    return _previousKept || _known->header == registerFormat::headerOf(content) ||
           keepAsPrevious(location);
}

bool StoredFile::keepUnknown(const FileLocation &location, std::string_view content) {
    std::string old;
    if (!readBeside(location, location.name(), old))
        return fail(location.path(), "reading what it replaces");
    try {
        registerFormat::checkHeader(old);
    } catch (const utils::Exception &error) {
        return failWith(location.path(), "leaving it as it is", error.what());
    }
    return registerFormat::headerOf(old) == registerFormat::headerOf(content) ||
           keepAsPrevious(location);
}

bool StoredFile::keepAsPrevious(const FileLocation &location) {
    _previousKept =
        duplicate(location, location.name(), previousOf(location)) && syncDirectory(location);
    return _previousKept || fail(location.path(), "keeping the previous generation");
}

bool StoredFile::setAside(std::string &newPath, bool &previousRestored) {
    const posix::CancellationBlock block;
    _error.clear();
    FileLocation location;
    if (!location.find(_path))
        return fail(_path, location.stage());
    const std::string previous = previousOf(location);
    const bool restorable = isIntact(location, previous);
    std::string name;
    bool keepsItsOwn = false;
    for (int number = 1;; ++number) {
        name = damagedNameOf(location, number);
        if (giveFreeName(location, name, keepsItsOwn))
            break;
        if (errno != EEXIST)
            return fail(location.path(), "setting it aside");
    }
    if (!syncDirectory(location)) // before the file loses its own name
        return fail(location.path(), "setting it aside");
    newPath = location.pathBeside(name);
    previousRestored = restorable && duplicate(location, previous, location.name());
    if (keepsItsOwn && !previousRestored)
        ::unlinkat(location.directory().number(), location.name().c_str(), 0);
    return syncDirectory(location) || fail(location.path(), "setting it aside");
}

bool StoredFile::hasLostItsContent() const {
    const posix::CancellationBlock block;
    FileLocation location;
    struct stat status = {};
    return !refersToNothing() && location.find(_path) &&
           ::fstatat(location.directory().number(), location.name().c_str(), &status, 0) == 0 &&
           S_ISREG(status.st_mode) && status.st_size == 0 &&
           isIntact(location, previousOf(location));
}

} // namespace filesystem
