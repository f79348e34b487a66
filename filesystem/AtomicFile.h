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

    // A step that fails returns false and sets `errno` and `stage`. The file is then the old one,
    // unless only forcing the directory to the disk failed, at the end of `replace`. In that case
    // it is the new one, but a loss of power may bring the old one back.

    /// Creates the temporary file.
    bool open();
    /// Writes the content, once, and forces it to the disk.
    bool write(std::string_view bytes);
    /// Renames the new file to the old one's name and forces the directory to the disk.
    bool replace() { return replace(_location.name()); }
    /// Renames it to another name in the directory instead, replacing what has that name.
    bool replace(const std::string &name);
    /// True once the new file has the name, even if `replace` failed after that.
    bool isReplaced() const { return _file && _temporary.empty(); }
    /// `write` and `replace`.
    bool commit(std::string_view bytes) { return write(bytes) && replace(); }

    /// Returns a new name for a temporary file beside a file. The next replacement removes files
    /// with such names, unless they are locked.
    static std::string temporaryName(const FileLocation &location);

    /// The file that is replaced; once `open` has followed links, their target.
    const FileLocation &location() const { return _location; }
    const std::string &path() const { return _location.path().empty() ? _path : _location.path(); }
    /// The operation that failed.
    const char *stage() const { return _stage; }
    /// The status of the new file; renaming does not change it.
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
