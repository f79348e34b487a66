#pragma once

#include "filesystem/StoredFile.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace utils::properties {

/// The user register file of this process. One save at a time writes it; none overwrites a newer
/// one.
///
/// A save takes its number and encodes the tree under the register's lock, and writes without it.
/// Lock order: the register's lock, `_writing`, `_resultMutex`. A thread that holds one of them
/// takes none before it in this order. Therefore a save from a callback, which holds the first,
/// cannot deadlock.
class UserFile {
public:
    using Result = filesystem::StoredFile::Result;

    /// Reads the file in a directory, see `StoredFile::read`. On failure stores the reason.
    Result read(const std::string &directory, std::string &content, std::string &reason);
    /// See `StoredFile::accept`.
    void accept();
    /// See `StoredFile::leaveAlone`.
    void leaveAlone(const std::string &directory, const std::string &reason);

    /// The number of the next save. Called under the register's lock.
    std::uint64_t nextNumber() { return ++_lastNumber; }
    /// Replaces the file in a directory. Does nothing when a newer save has been tried there,
    /// because even one that failed may have replaced the file. Returns the error; empty on
    /// success.
    std::string write(std::uint64_t number, const std::string &directory, const std::string &bytes);
    /// Stores the result of a save, unless a newer save has one.
    void setError(std::uint64_t number, std::string error);
    /// The error of the newest save that has a result; empty on success.
    std::string error() const;

private:
    filesystem::StoredFile &fileIn(const std::string &directory);

    std::uint64_t _lastNumber = 0;

    std::mutex _writing; ///< held while the disk works
    std::optional<filesystem::StoredFile> _file;
    std::uint64_t _newest = 0; ///< the newest save tried in the directory of `_file`

    mutable std::mutex _resultMutex;
    std::uint64_t _resultNumber = 0;
    std::string _error;
};

} // namespace utils::properties
