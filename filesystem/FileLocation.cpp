#include "filesystem/FileLocation.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filesystem {

bool FileLocation::find(const std::string &path) {
    constexpr int maxLinks = 40; // as many as Linux follows
    if (!moveTo(path))
        return false;
    for (int links = 0; links <= maxLinks; ++links) {
        char target[PATH_MAX];
        const ssize_t length =
            ::readlinkat(_directory.number(), _name.c_str(), target, sizeof target);
        if (length == -1 && (errno == EINVAL || errno == ENOENT))
            return true; // no link
        _stage = "following the symbolic link";
        if (length == -1 || !mayFollow())
            return false;
        if (!moveTo(std::string(target, static_cast<std::size_t>(length))))
            return false;
    }
    _stage = "following the symbolic link";
    errno = ELOOP;
    return false;
}

/// Goes on to a path, which may be relative to the directory reached so far.
bool FileLocation::moveTo(const std::string &path) {
    const std::filesystem::path next(path);
    const std::filesystem::path parent = next.parent_path();
    const int from = _directory ? _directory.number() : AT_FDCWD;
    _path = (std::filesystem::path(_path).parent_path() / next).string();
    _stage = "opening its directory";
    _directory =
        posix::openForReading(parent.empty() ? "." : parent.string(), O_DIRECTORY | O_PATH, from);
    _name = next.filename().string();
    if (_directory && _name.empty()) { // a link to "directory/"
        errno = EISDIR;
        return false;
    }
    return bool(_directory);
}

bool FileLocation::mayFollow() const {
    struct stat directory = {}, link = {};
    if (::fstat(_directory.number(), &directory) == -1 ||
        ::fstatat(_directory.number(), _name.c_str(), &link, AT_SYMLINK_NOFOLLOW) == -1)
        return false;
    constexpr mode_t shared = S_ISVTX | S_IWOTH;
    if ((directory.st_mode & shared) != shared || link.st_uid == ::geteuid() ||
        link.st_uid == directory.st_uid)
        return true;
    errno = EACCES;
    return false;
}

std::string FileLocation::pathBeside(const std::string &name) const {
    return (std::filesystem::path(_path).parent_path() / name).string();
}

std::string FileLocation::beside(std::string_view prefix, std::string_view suffix) const {
    const std::size_t room = NAME_MAX - prefix.size() - suffix.size();
    return std::string(prefix).append(_name, 0, std::min(room, _name.size())).append(suffix);
}

} // namespace filesystem
