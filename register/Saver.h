#pragma once

#include <cstdint>
#include <mutex>
#include <string>

namespace utils::properties {

/// Writes the user register file. One save at a time writes; none lands over a newer one.
///
/// A save takes its number and encodes the tree under the register's lock, and writes without it.
/// Lock order: the register's lock, `_writing`, `_resultMutex`. Who holds one of them takes none
/// that stands before it, so a save from inside a callback, which holds the first, cannot deadlock.
class Saver {
public:
    /// The number of the next save. Called under the register's lock.
    std::uint64_t nextNumber() { return ++_lastNumber; }

    /// Replaces the register file in a directory. Does nothing when a newer save has been tried
    /// there: also one that failed may have put its file in place.
    void write(std::uint64_t number, const std::string &directory, const std::string &bytes);
    /// Keeps why a save failed, unless a newer one has a result.
    void setError(std::uint64_t number, std::string error);
    /// The result of the newest save that has one; empty when it reached the disk.
    std::string error() const;

private:
    std::uint64_t _lastNumber = 0;

    std::mutex _writing;       ///< held while the disk works
    std::uint64_t _newest = 0; ///< the newest save tried
    std::string _newestIn;     ///< its directory

    mutable std::mutex _resultMutex;
    std::uint64_t _resultNumber = 0;
    std::string _error;
};

} // namespace utils::properties
