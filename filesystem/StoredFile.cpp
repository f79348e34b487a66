#include "filesystem/StoredFile.h"

#include "filesystem/AtomicFile.h"
#include "filesystem/FilesBeside.h"
#include "filesystem/Posix.h"
#include "filesystem/RegisterFormat.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace filesystem {

namespace {

using Result = StoredFile::Result;

constexpr const char *leaving = "leaving it as it is";

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

posix::Descriptor StoredFile::openFile(FileLocation &location, struct stat &status) const {
    posix::Descriptor file;
    errno = ENOENT;
    if (!refersToNothing() && location.find(_path))
        file = beside::open(location, location.name());
    if (file && ::fstat(file.number(), &status) == -1)
        file = posix::Descriptor();
    return file;
}

bool StoredFile::readFile(const posix::Descriptor &file, const struct stat &status,
                          Bytes &content) {
    auto bytes = std::make_shared<std::string>();
    if (!posix::readAll(file, registerFormat::maxFileSize, *bytes))
        return fail(_path, "reading");
    _read = Known{Identity(status), std::string(registerFormat::headerOf(*bytes))};
    content = std::move(bytes);
    return true;
}

Result StoredFile::read(Bytes &content) {
    const posix::CancellationBlock block;
    _error.clear();
    _known.reset();
    FileLocation location;
    struct stat status = {};
    const posix::Descriptor file = openFile(location, status);
    if (!file && posix::meansMissing(errno))
        return Result::Missing;
    return readFile(file, status, content) ? Result::Done : Result::Failed;
}

void StoredFile::accept() {
    _known = _read;
    _leftAlone.clear();
}

Result StoredFile::refresh(Bytes &content) {
    const posix::CancellationBlock block;
    _error.clear();
    FileLocation location;
    struct stat status = {};
    const posix::Descriptor file = openFile(location, status);
    if (!file && posix::meansMissing(errno)) {
        fail(_path, "reading");
        return Result::Missing;
    }
    if (file && isKnown(file, status))
        return Result::Unchanged;
    if (!readFile(file, status, content))
        return Result::Failed;
    if (content->empty() && _known && !_known->header.empty()) {
        failWith(_path, leaving, "The register file is empty.");
        return Result::Missing;
    }
    if (std::string fault = registerFormat::faultOf(content); !fault.empty()) {
        failWith(_path, leaving, std::move(fault));
        return Result::Failed;
    }
    accept();
    return Result::Done;
}

bool StoredFile::prepare() {
    _error.clear();
    if (refersToNothing()) {
        _error = "There is no directory to write in.";
        return false;
    }
    if (!_leftAlone.empty())
        return failWith(_path, leaving, _leftAlone);
    return posix::makePath(_directory, posix::privateDirectory) ||
           fail(_directory, "creating the directory");
}

/// False when another process holds the lock for too long.
bool StoredFile::lock() {
    FileLocation location;
    _lockError.clear();
    if (location.find(_path) && _lock->lock(location)) {
        _lock->announce(_announces);
        return true;
    }
    const bool isBusy = errno == ETIMEDOUT;
    _reason = isBusy ? "Another process holds the lock." : std::generic_category().message(errno);
    _lockError =
        (location.path().empty() ? _path : FileLock::pathOf(location)) + ": locking: " + _reason;
    return !isBusy;
}

StoredFile::SaveLock::SaveLock(StoredFile &file) : _file(file) {
    const posix::CancellationBlock block;
    _isRefused = file._saveLocks++ == 0 && !file.lock();
}

StoredFile::SaveLock::~SaveLock() {
    if (--_file._saveLocks == 0)
        _file._lock->unlock();
}

void StoredFile::announce(bool overwriting) {
    _announces = overwriting;
    if (!overwriting)
        _lock->announce(false);
}

bool StoredFile::has(std::string_view content) const {
    return _known && _known->header == registerFormat::headerOf(content);
}

bool StoredFile::replace(std::string_view content) {
    const posix::CancellationBlock block;
    if (!prepare())
        return false;
    AtomicFile file(_path);
    struct stat status = {};
    if (!file.open() || !file.write(content) || !file.statNew(status))
        return fail(file.path(), file.stage());
    const SaveLock lock(*this);
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
    struct stat status = {};
    const posix::Descriptor file = beside::open(location, location.name());
    if (file ? ::fstat(file.number(), &status) == -1 : errno != ENOENT)
        return fail(location.path(), "reading what it replaces");
    if (status.st_size == 0) // also if there is no file
        return _previousKept = true;
    if (!isKnown(file, status)) {
        auto old = std::make_shared<std::string>();
        if (!posix::readAll(file, registerFormat::maxFileSize, *old))
            return fail(location.path(), "reading what it replaces");
        std::string header(registerFormat::headerOf(*old));
        if (std::string fault = registerFormat::faultOf(std::move(old)); !fault.empty())
            return failWith(location.path(), leaving, std::move(fault));
        if (!_known || _known->header != header)
            return header == registerFormat::headerOf(content) || keepAsPrevious(location);
    }
    return _previousKept || _known->header == registerFormat::headerOf(content) ||
           keepAsPrevious(location);
}

/// The header is compared too, because a clock of low resolution and a reused inode can give
/// another file the same identity.
bool StoredFile::isKnown(const posix::Descriptor &file, const struct stat &status) const {
    if (!_known || !(_known->identity == Identity(status)))
        return false;
    std::string header(_known->header.size(), '\0');
    const ssize_t count = posix::retryInterrupted(
        [&] { return ::pread(file.number(), header.data(), header.size(), 0); });
    return count == static_cast<ssize_t>(header.size()) && header == _known->header;
}

bool StoredFile::keepAsPrevious(const FileLocation &location) {
    const std::string previous = beside::previousOf(location);
    std::string content;
    _previousKept = (beside::linkOver(location, previous) ||
                     (beside::read(location, location.name(), content) &&
                      beside::copyOver(location, content, previous))) &&
                    beside::sync(location);
    return _previousKept || fail(location.pathBeside(previous), "keeping the previous generation");
}

} // namespace filesystem
