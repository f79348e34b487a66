#pragma once

#include "filesystem/FileLocation.h"

#include <string>

namespace filesystem {

/// A register file that cannot be used, and the previous generation beside it; see `StoredFile`.
///
/// Several processes may find the same file. The first one takes its save lock, see `FileLock`, and
/// the others wait for that and then look again. For one thread; a request to cancel it waits until
/// a call has returned.
class DamagedFile {
public:
    explicit DamagedFile(std::string path) : _path(std::move(path)) {}

    /// True when the file exists and has no content.
    bool isEmpty() const;

    enum class Result {
        SetAside,
        NotNeeded, ///< it can be used; another process may have repaired or replaced it
        Failed     ///< it keeps its name and its content
    };
    /// Renames the file to `NAME.damaged`, or `NAME.damaged.2` and so on if that name is taken. If
    /// the previous generation is intact, a copy of it with the rights of the damaged file becomes
    /// the file; otherwise no file has the name. A file without content can be used, unless the
    /// previous generation is intact. Fails if a file cannot be read for a reason that may pass,
    /// such as a failing network.
    Result setAside();
    /// The path of the damaged file after it was set aside.
    const std::string &newPath() const { return _newPath; }
    /// True when the previous generation has become the file.
    bool previousRestored() const { return _previousRestored; }

private:
    bool readPrevious();
    bool giveNewName();
    Result replace();

    std::string _path;
    FileLocation _location;
    std::string _content;
    std::string _previous;       ///< empty if there is none that is intact
    bool _canBeReplaced = false; ///< it can be read and written; otherwise it is only renamed
    std::string _newName;
    std::string _newPath;
    bool _previousRestored = false;
};

} // namespace filesystem
