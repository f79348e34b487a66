#pragma once

#include "filesystem/FileLocation.h"
#include "filesystem/Posix.h"

#include <string>

namespace filesystem {

/// The locks of one register file between processes. They lie on the file `.NAME.lock` beside it,
/// which stays there and has the rights of the register file.
///
/// - The save lock is exclusive: one process at a time reads, merges and replaces the file.
/// - The announcement is shared, and held for long: its holder will overwrite the file, so changes
///   that others make to it meanwhile will be lost.
///
/// Both are open file description locks (fcntl(2)): on byte 0 and on byte 1. Byte 2 is held by the
/// process whose turn is next. The locks exclude two objects in one process too. The system
/// releases them when the process dies, also if a forked child lives on.
///
/// For one thread at a time.
class FileLock {
public:
    FileLock();
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    /// Takes the save lock. Waits for it, for at most five seconds, and then fails with
    /// `ETIMEDOUT`. Any other `errno` means that there are no locks here: the file system has none,
    /// or the lock file cannot be opened.
    bool lock(const FileLocation &location);
    void unlock();

    /// Starts or ends the announcement. Call it with the save lock held, or to end it.
    void announce(bool overwriting);
    /// True when a process, this one included, announces that it will overwrite the file.
    static bool isAnnounced(const FileLocation &location);

    static std::string pathOf(const FileLocation &location);

private:
    class All;

    bool open(const FileLocation &location);
    bool isInPlace(const FileLocation &location) const;
    bool waitForLock();

    posix::Descriptor _file;
    bool _isAnnounced = false;
    FileLock *_next = nullptr; ///< in the list of all
};

} // namespace filesystem
