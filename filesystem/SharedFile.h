#pragma once

#include "filesystem/Merge.h"
#include "filesystem/StoredFile.h"

#include <set>
#include <string>

namespace filesystem {

/// A register file that several processes read and write, and what this process knows of it.
///
/// Merging needs the content that memory and file had in common. This is what was in memory when
/// the two last met, that is, when the file was read or written. A merging save puts the changes of
/// both sides into the file, but those of others not into memory: they stay pending until `take`.
///
/// Not for several threads at once.
class SharedFile {
public:
    using Bytes = registerFormat::Bytes;
    using Result = StoredFile::Result;
    using Names = std::set<std::string>;

    SharedFile(std::string directory, const std::string &name)
        : _file(std::move(directory), name) {}

    /// See `StoredFile::read`.
    Result read(Bytes &content);
    /// The content that was read is in memory now.
    void accept();
    const Bytes &inMemory() const { return _inMemory; }

    // These return the error: the file, the operation that failed and the reason. Empty on success.

    /// Reads the file again if it has changed. What others have changed is then pending. A file
    /// that is still missing is no error.
    std::string refresh();
    /// Overwrites the file with the content of memory.
    std::string replace(const Bytes &inMemory);

    enum class IfMissing { Create, Fail };
    /// Merges the content of memory with what others have changed in the file, and replaces the
    /// file unless it holds that already. Adds the names that both have changed differently to
    /// `conflicts`: the file gets them from memory. Holds the save lock, and fails if another
    /// process holds it for too long. `missing` says what happens if the file was there before.
    std::string merge(const Bytes &inMemory, IfMissing missing, Names &conflicts);

    /// True when the file holds changes of others that memory does not.
    bool hasPending() const { return !areEqual(_inMemory, _inFile); }
    /// Brings the pending changes into a group of a tree; see `filesystem::merge`.
    void take(Tree &tree, const Top &top, MergeNames names);

    StoredFile &file() { return _file; }
    const StoredFile &file() const { return _file; }

private:
    StoredFile::Result readAgain();
    std::string put(const Bytes &inMemory, const Bytes &content);
    void meet(const Bytes &inMemory, const Bytes &inFile);

    StoredFile _file;
    Bytes _read;     ///< not yet accepted
    Bytes _inMemory; ///< when memory and file last met; null before that
    Bytes _inFile;   ///< what the file has held since
};

} // namespace filesystem
