#pragma once

#include <string>
#include <string_view>

namespace filesystem {

/// Forces the names in an open directory to the disk; false with `errno` when that fails. Some file
/// systems cannot do this, which is no failure: there is nothing more to be done.
bool syncDirectory(int directory);

/// Replaces a file on disk as a whole: after `commit`, and after a crash or a loss of power at any
/// moment, the file is the whole old one or the whole new one.
///
/// The new content goes into a temporary file beside the old one, is forced to the disk, takes the
/// old one's name, and the directory is forced to the disk. The temporary file is locked as long as
/// its writer lives, so the next replacement can tell what a killed one left behind, and removes
/// it.
///
/// A symbolic link stays and what it points to is replaced. A file that exists keeps its mode and,
/// where the process may, its owner; a new one is for its owner alone (0600). Only a regular file
/// that the process may write is replaced.
class AtomicFile {
public:
    /// Does nothing yet.
    explicit AtomicFile(std::string path);
    /// Drops what has not been committed; the old file stays.
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    /// Creates the temporary file. False when that failed; `error` says why.
    bool open();
    /// Puts `bytes` in the place of the file's content, once. False when that failed; `error` says
    /// why. The file is the old one then, except where only the last step failed, forcing the
    /// directory to the disk: there it is the new one, but a loss of power may bring the old one
    /// back.
    bool commit(std::string_view bytes);

    /// What failed and what the system said, after the path; empty when nothing has failed.
    const std::string &error() const { return _error; }

private:
    bool fail(const char *stage);
    bool followLinks();
    bool createTemporary();
    bool takeOverAttributes();
    void removeLeftovers() const;
    bool writeAll(std::string_view bytes);
    void drop();

    std::string _path; ///< where links lead to, once `open` has followed them
    std::string _directory;
    std::string _temporary; ///< empty when there is none
    std::string _error;
    int _file = -1;
    int _directoryFile = -1;
};

} // namespace filesystem
