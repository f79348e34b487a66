#pragma once

#include "filesystem/Posix.h"

#include <string>
#include <string_view>

namespace filesystem {

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

    /// Creates the temporary file. False, with `errno`, when that failed; `stage` says at what.
    bool open();
    /// Puts `bytes` in the place of the file's content, once. False, with `errno`, when that
    /// failed; `stage` says at what. The file is the old one then, except where only the last step
    /// failed, forcing the directory to the disk: there it is the new one, but a loss of power may
    /// bring the old one back.
    bool commit(std::string_view bytes);

    /// The file that is replaced; once `open` has followed links, where they lead to.
    const std::string &path() const { return _path; }
    /// What was being done when `open` or `commit` failed.
    const char *stage() const { return _stage; }

private:
    bool check(bool done, const char *stage);
    bool followLinks();
    bool openDirectory();
    bool createTemporary();
    bool takeOverAttributes();
    bool takeName();
    void removeLeftovers() const;

    std::string _path;
    std::string _directory;
    std::string _temporary; ///< empty when there is none
    const char *_stage = "";
    posix::Descriptor _directoryFile;
    posix::Descriptor _file;
};

} // namespace filesystem
