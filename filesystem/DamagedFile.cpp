#include "filesystem/DamagedFile.h"

#include "filesystem/AtomicFile.h"
#include "filesystem/FileLock.h"
#include "filesystem/FilesBeside.h"
#include "filesystem/Posix.h"
#include "filesystem/RegisterFormat.h"

#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filesystem {

namespace {

/// True when a file could not be read for a reason that says nothing of the file: no descriptors or
/// memory left, a failing disk or network.
bool mayPass(int reason) {
    for (const int lasting : {EACCES, EPERM, EISDIR, EINVAL, ENXIO, EFBIG, ELOOP})
        if (reason == lasting)
            return false;
    return !posix::meansMissing(reason);
}

std::string faultOf(const std::string &content) {
    return registerFormat::faultOf(std::make_shared<const std::string>(content));
}

/// True when the file still has its name. A file that could not be opened counts as the one there.
bool isInPlace(const FileLocation &location, const posix::Descriptor &file) {
    struct stat opened = {}, named = {};
    if (::fstatat(location.directory().number(), location.name().c_str(), &named,
                  AT_SYMLINK_NOFOLLOW) == -1)
        return false;
    return !file || (::fstat(file.number(), &opened) == 0 && opened.st_dev == named.st_dev &&
                     opened.st_ino == named.st_ino);
}

} // namespace

bool DamagedFile::isEmpty() const {
    const posix::CancellationBlock block;
    struct stat status = {};
    return ::stat(_path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

DamagedFile::Result DamagedFile::setAside() {
    const posix::CancellationBlock block;
    if (!_location.find(_path))
        return Result::Failed;
    FileLock lock;
    lock.lock(_location); // without it, `isInPlace` still tells what another process has done
    const posix::Descriptor file = beside::open(_location, _location.name());
    const bool isRead = posix::readAll(file, registerFormat::maxFileSize, _content);
    if ((!isRead && mayPass(errno)) || !readPrevious())
        return Result::Failed;
    const bool isUsable =
        isRead && (_content.empty() ? _previous.empty() : faultOf(_content).empty());
    if (isUsable || !isInPlace(_location, file))
        return Result::NotNeeded;
    _canBeReplaced = isRead && ::faccessat(_location.directory().number(), _location.name().c_str(),
                                           W_OK, AT_EACCESS) == 0;
    return replace();
}

/// False when there may be a previous generation that cannot be read now.
bool DamagedFile::readPrevious() {
    if (!beside::read(_location, beside::previousOf(_location), _previous)) {
        _previous.clear();
        return !mayPass(errno);
    }
    if (!faultOf(_previous).empty())
        _previous.clear();
    return true;
}

DamagedFile::Result DamagedFile::replace() {
    const int directory = _location.directory().number();
    if (!giveNewName() || !beside::sync(_location))
        return Result::Failed;
    AtomicFile restored(_path);
    _previousRestored = !_previous.empty() && restored.open() &&
                        (restored.commit(_previous) || restored.isReplaced());
    if (!_previous.empty() && !_previousRestored && _canBeReplaced) {
        ::unlinkat(directory, _newName.c_str(), 0); // it still has its own name
        return Result::Failed;
    }
    if (!_previousRestored && _canBeReplaced)
        ::unlinkat(directory, _location.name().c_str(), 0);
    _newPath = _location.pathBeside(_newName);
    return Result::SetAside;
}

/// Gives the file a name that nothing has. It keeps its own name too if it can be replaced.
bool DamagedFile::giveNewName() {
    for (int number = 1;; ++number) {
        _newName =
            _location.beside("", number == 1 ? ".damaged" : ".damaged." + std::to_string(number));
        if (!beside::isFree(_location, _newName))
            continue;
        const bool done = _canBeReplaced ? beside::linkOver(_location, _newName) ||
                                               beside::copyOver(_location, _content, _newName)
                                         : beside::renameTo(_location, _newName);
        if (done || errno != EEXIST)
            return done;
    }
}

} // namespace filesystem
