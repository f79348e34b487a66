#pragma once

#include "filesystem/SharedFile.h"
#include "register/Register.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace utils::properties {

/// How a save treats what others have changed in the file.
enum class SaveKind {
    Replace, ///< overwrites it
    Merge,   ///< merges it into the file
    Sync     ///< likewise, but a file that is gone is not created again
};

/// The register file of a scope in this process. One save at a time writes it; none overwrites a
/// newer one.
///
/// A save encodes the tree and takes its number under the register's lock, and writes without it.
/// Lock order: the register's lock, `_writing`, `_resultMutex`. A thread that holds one of them
/// takes none before it in this order. Therefore a save from a callback, which holds the first,
/// cannot deadlock.
class ScopeFile {
public:
    using Bytes = filesystem::registerFormat::Bytes;
    using Result = filesystem::StoredFile::Result;

    /// What a save writes, as it was at one moment.
    struct Snapshot {
        std::uint64_t number; ///< the later, the higher
        std::uint64_t taken;  ///< how often the tree had taken changes from the file
        std::string directory;
        Bytes content;
    };

    /// Reads the file in a directory, see `StoredFile::read`. On failure stores the reason.
    Result read(const std::string &directory, Bytes &content, std::string &reason);
    /// The content that was read is in the tree now. Called under the register's lock.
    void accept(const filesystem::Tree &tree);
    /// See `StoredFile::leaveAlone`.
    void leaveAlone(const std::string &directory, const std::string &reason);

    /// The number of the next save. Called under the register's lock.
    std::uint64_t nextNumber() { return ++_lastNumber; }
    /// Takes a snapshot of a scope. Called under the register's lock.
    Snapshot snapshot(std::uint64_t number, const std::string &directory, filesystem::Tree &tree,
                      const filesystem::Top &top);
    /// Writes a snapshot. Does nothing when a newer save has been tried in its directory, because
    /// even one that failed may have replaced the file. Stores the error; it is empty on success.
    /// Adds the names in conflict; see `SharedFile::merge`. Returns false, with nothing done, when
    /// the tree has taken changes since the snapshot, which this save would undo.
    bool save(const Snapshot &snapshot, SaveKind kind, std::string &error,
              std::set<std::string> &conflicts);

    /// Reads the file in a directory again if it has changed. Returns the error; empty on success.
    std::string refresh(const std::string &directory);
    /// Brings what others have changed in the file into the tree; see `SharedFile::take`. Returns
    /// false, with nothing done, while another thread uses the disk and `mayWait` is false. Called
    /// under the register's lock.
    bool take(filesystem::Tree &tree, const filesystem::Top &top, bool mayWait, SyncResult &result);
    /// Returns when no thread uses the disk.
    void waitForDisk();

    /// See `StoredFile::announce`. Waits for the disk.
    void announce(bool overwriting);

    /// Stores the result of a save, unless a newer save has one.
    void setError(std::uint64_t number, std::string error);
    /// The error of the newest save that has a result; empty on success.
    std::string error() const;
    /// Why that save had no lock between processes; empty if it had one.
    std::string lockError() const;

private:
    filesystem::SharedFile &fileIn(const std::string &directory);
    const Bytes &encode(filesystem::Tree &tree, const filesystem::Top &top);

    // Guarded by the register's lock.
    std::uint64_t _lastNumber = 0;
    Bytes _encoded; ///< the scope, at `_encodedChanges` changes of the tree
    std::uint64_t _encodedChanges = 0;

    std::uint64_t _taken = 0; ///< changed under the register's lock and `_writing`, read under one

    std::mutex _writing; ///< held while the disk works
    std::optional<filesystem::SharedFile> _file;
    std::uint64_t _newest = 0; ///< the newest save tried in the directory of `_file`
    bool _announces = false;

    mutable std::mutex _resultMutex;
    std::uint64_t _resultNumber = 0;
    std::string _error;
    std::string _lockError;
};

} // namespace utils::properties
