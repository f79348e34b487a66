#pragma once

#include "filesystem/FileLocation.h"
#include "filesystem/Posix.h"

#include <string>
#include <string_view>

#include <sys/stat.h>

namespace filesystem {

/// Replaces a file on disk as a whole: after `commit`, and after a crash or a loss of power at any
/// moment, the file is the whole old one or the whole new one.
///
/// The new content goes into a temporary file beside the old one and is forced to the disk. The
/// temporary file is then renamed to the old one's name, and the directory is forced to the disk.
/// Its writer holds a lock on the temporary file. So the next replacement can recognise what a
/// killed writer left behind, and removes it.
///
/// A symbolic link stays, and its target is replaced. The new file has the rights of the old one,
/// see `takeOverRights`. Only a regular file that the process may write is replaced.
class AtomicFile {
public:
    /// Does nothing yet.
    explicit AtomicFile(std::string path);
    /// Removes what has not been committed; the old file stays.
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    // Each step returns false, with `errno`, when it failed; `stage` says at what. The file is the
    // old one then, except where only the last step of `replace` failed, forcing the directory to
    // the disk: there it is the new one, but a loss of power may bring the old one back.

    /// Creates the temporary file.
    bool open();
    /// Writes the content, once, and forces it to the disk.
    bool write(std::string_view bytes);
    /// Puts the new file in the place of the old one.
    bool replace();
    /// True when the new file has taken the place, also where `replace` failed after that.
    bool isReplaced() const { return _file && _temporary.empty(); }
    /// `write` and `replace`.
    bool commit(std::string_view bytes) { return write(bytes) && replace(); }

    /// A new name for a temporary file beside a file. The next replacement removes what it finds
    /// under such a name, unless it is locked.
    static std::string temporaryName(const FileLocation &location);

    /// The file that is replaced; once `open` has followed links, their target.
    const FileLocation &location() const { return _location; }
    const std::string &path() const { return _location.path().empty() ? _path : _location.path(); }
    /// What was being done when a step failed.
    const char *stage() const { return _stage; }
    /// The status of the new file, which does not change when it is put in its place.
    bool statNew(struct stat &status) const;

private:
    bool check(bool done, const char *stage);
    bool openDirectory();
    bool createTemporary();
    bool checkOld();
    void removeLeftovers() const;

    std::string _path;
    FileLocation _location;
    std::string _temporary; ///< its name in the directory; empty when there is none
    const char *_stage = "";
    posix::Descriptor _directory; ///< for forcing it to the disk
    posix::Descriptor _file;
};

} // namespace filesystem
