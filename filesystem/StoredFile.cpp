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

Result StoredFile::read(std::string &content) {
    const posix::CancellationBlock block;
    _error.clear();
    _known.reset();
    FileLocation location;
    struct stat status = {};
    if (refersToNothing())
        return Result::Missing;
    const bool found = location.find(_path);
    const posix::Descriptor file =
        found ? beside::open(location, location.name()) : posix::Descriptor();
    if (!file && posix::meansMissing(errno))
        return Result::Missing;
    if (!file || ::fstat(file.number(), &status) == -1 ||
        !posix::readAll(file, registerFormat::maxFileSize, content)) {
        fail(_path, "reading");
        return Result::Failed;
    }
    _read = Known{Identity(status), std::string(registerFormat::headerOf(content))};
    return Result::Done;
}

void StoredFile::accept() {
    _known = _read;
    _leftAlone.clear();
}

bool StoredFile::replace(std::string_view content) {
    const posix::CancellationBlock block;
    _error.clear();
    if (refersToNothing()) {
        _error = "There is no directory to write in.";
        return false;
    }
    if (!_leftAlone.empty())
        return failWith(_path, leaving, _leftAlone);
    if (!posix::makePath(_directory, posix::privateDirectory))
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
    struct stat status = {};
    std::string old;
    const posix::Descriptor file = beside::open(location, location.name());
    if (file ? ::fstat(file.number(), &status) == -1 : errno != ENOENT)
        return fail(location.path(), "reading what it replaces");
    if (status.st_size == 0) // also if there is no file
        return _previousKept = true;
    if (!isKnown(file, status)) {
        if (!posix::readAll(file, registerFormat::maxFileSize, old))
            return fail(location.path(), "reading what it replaces");
        std::string header(registerFormat::headerOf(old));
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
