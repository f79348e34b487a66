#pragma once

#include "filesystem/FileLocation.h"
#include "filesystem/FileLock.h"
#include "filesystem/RegisterFormat.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>

namespace filesystem {

/// A register file on disk, and what this process knows of it, so that nothing is lost when it is
/// replaced:
///
/// - A replacement is whole; see `AtomicFile`.
/// - The first replacement by other content keeps the old file as `NAME.previous`, the previous
///   generation.
/// - A file that is not the one that this object read or wrote last (another device, inode, size,
///   time or header) is read before it is replaced. A register file of this version with other
///   content is kept as `NAME.previous`. Anything else is not replaced: the replacement fails.
/// - A file without content, or a missing one, may be a sign of damage. Replacing it leaves the
///   previous generation as it is, also in the replacements that follow.
///
/// A replacement holds the save lock of the file, see `FileLock`. If the lock cannot be had, it
/// goes on without, since it is whole anyway, and `lockError` says why.
///
/// All names are in the directory of the file that a symbolic link leads to. Not for several
/// threads at once. A request to cancel the thread waits until a call has returned.
class StoredFile {
public:
    using Bytes = registerFormat::Bytes;

    /// The file `name` in a directory. There is no such file where the directory is empty.
    StoredFile(std::string directory, const std::string &name);

    enum class Result {
        Done,
        Unchanged, ///< it is the file that this object read or wrote last
        Missing,   ///< the system says that no such file exists; or `refresh` has found it emptied
        Failed     ///< `error` says why
    };

    /// Reads the whole file, up to the size limit of register files.
    Result read(Bytes &content);
    /// The content that was read is in use: from here on the file may be replaced.
    void accept();
    /// Reads the file and accepts its content, unless it is unchanged. Fails for a file that is not
    /// an intact register file of this version. A file that has lost all its content since it was
    /// read counts as missing; `error` says so in both cases.
    Result refresh(Bytes &content);

    /// Replaces the file; creates it and its directory (mode 0700) where they are missing.
    bool replace(std::string_view content);

    /// Returns true when the file may be replaced. Creates its directory if it is missing.
    bool prepare();
    /// Holds the save lock while it exists, also during `replace`. May be nested.
    class SaveLock {
    public:
        explicit SaveLock(StoredFile &file);
        ~SaveLock();
        SaveLock(const SaveLock &) = delete;
        SaveLock &operator=(const SaveLock &) = delete;

        /// True if another process holds the lock for too long; `lockError` says so.
        bool isRefused() const { return _isRefused; }

    private:
        StoredFile &_file;
        bool _isRefused;
    };

    /// Announces that this process will overwrite the file, from the next replacement on, or ends
    /// that; see `FileLock`.
    void announce(bool overwriting);

    /// Makes `replace` fail with this reason, until content is accepted.
    void leaveAlone(std::string reason) { _leftAlone = std::move(reason); }

    const std::string &directory() const { return _directory; }
    /// The error of the last call: the file, the operation that failed and the reason. Empty on
    /// success.
    const std::string &error() const { return _error; }
    /// The reason alone.
    const std::string &reason() const { return _reason; }
    /// Why the last replacement or `SaveLock` had no lock; empty if it had one.
    const std::string &lockError() const { return _lockError; }
    /// True when the file is known to have this content, since it was read or written last.
    bool has(std::string_view content) const;

private:
    /// What tells whether a file is the one that was read or written last.
    struct Identity {
        explicit Identity(const struct stat &status);
        bool operator==(const Identity &other) const;

        dev_t device;
        ino_t inode;
        off_t size;
        struct timespec modified;
    };
    struct Known {
        Identity identity;
        std::string header; ///< of its content; see `registerFormat::headerOf`
    };

    bool refersToNothing() const;
    posix::Descriptor openFile(FileLocation &location, struct stat &status) const;
    bool readFile(const posix::Descriptor &file, const struct stat &status, Bytes &content);
    bool lock();
    bool fail(const std::string &path, const char *stage);
    bool failWith(const std::string &path, const char *stage, std::string reason);
    bool keepOld(const FileLocation &location, std::string_view content);
    bool isKnown(const posix::Descriptor &file, const struct stat &status) const;
    bool keepAsPrevious(const FileLocation &location);

    std::string _directory;
    std::string _path;
    std::string _error;
    std::string _reason;
    std::string _leftAlone;      ///< why the file must not be replaced; empty if it may
    std::optional<Known> _read;  ///< what has been read, but not yet accepted
    std::optional<Known> _known; ///< what the file is; none when this is not known
    bool _previousKept = false;  ///< in this process; another file of its own needs no keeping
    std::unique_ptr<FileLock> _lock = std::make_unique<FileLock>();
    int _saveLocks = 0;
    bool _announces = false;
    std::string _lockError;
};

} // namespace filesystem
