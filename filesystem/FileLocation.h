#pragma once

#include "filesystem/Posix.h"

#include <string>
#include <string_view>

namespace filesystem {

/// Where a file on disk is, once symbolic links have been followed: its directory, held open, and
/// its name there. System calls relative to the directory work for every path that the system
/// accepts, also for the longer names of files beside it.
class FileLocation {
public:
    /// Follows `path`; the file itself need not exist. On failure returns false and sets `errno`
    /// and `stage`.
    ///
    /// A link in a directory where everybody may create files ("/tmp") is followed only where it
    /// belongs to this user or to the owner of the directory. The system has the same rule, but
    /// cannot apply it here, because a replacement takes the place of the link's target.
    bool find(const std::string &path);

    /// The file, for messages.
    const std::string &path() const { return _path; }
    /// Open for relative calls only (`O_PATH`).
    const posix::Descriptor &directory() const { return _directory; }
    const std::string &name() const { return _name; }
    /// The operation of `find` that failed.
    const char *stage() const { return _stage; }

    /// The name of another file in the directory: the file's own between a prefix and a suffix.
    /// It is cut where the whole would be longer than a name may be (255 bytes).
    std::string beside(std::string_view prefix, std::string_view suffix) const;
    /// The path of a file in the directory.
    std::string pathBeside(const std::string &name) const;

private:
    bool moveTo(const std::string &path);
    bool mayFollow() const;

    std::string _path;
    posix::Descriptor _directory;
    std::string _name;
    const char *_stage = "";
};

} // namespace filesystem
