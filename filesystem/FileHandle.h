#pragma once

#include "exception/Export.h"

#include <QString>
#include <string>
#include <string_view>

namespace filesystem {

/// An open file: a snapshot of its bytes and a position in them.
///
/// A handle for reading holds the content that the file had when it was opened. Later writes,
/// replacements and removals do not affect it. A handle for writing starts empty. `commit` makes
/// its bytes the file's content in one step. A handle does not depend on the file or on the file
/// system that opened it, so every file system can work on every handle.
///
/// Ownership: the caller of `FileSystem::open` owns the handle until `FileSystem::close`, which
/// deletes it. Deleting a handle instead of closing it discards what was written. Threads: one at a
/// time.
class REGISTER_EXPORT FileHandle {
public:
    /// A handle for reading `content`. Messages use `name` for the file.
    FileHandle(QString name, std::string content);
    virtual ~FileHandle();
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;

    /// The path of the file, as it was opened.
    const QString &name() const { return _name; }
    /// True for a handle that was opened in `WriteMode`.
    bool isWritable() const { return _writable; }

    /// All bytes, regardless of the position. Valid until the next write.
    std::string_view bytes() const { return _bytes; }
    /// The number of bytes.
    long size() const { return static_cast<long>(_bytes.size()); }
    /// The position of the next read or write.
    long tell() const { return static_cast<long>(_position); }

    /// Moves to a position from 0 to `size()`. Returns false, without moving, for any other
    /// position.
    bool seek(long position);

    /// Copies up to `length` bytes and moves past them. Returns how many were copied: 0 at the end.
    /// Returns -1 for a handle for writing or a negative length.
    long read(void *buffer, long length);

    /// Writes at the position, overwriting, and extending the file as needed. Returns `length`, or
    /// -1 for a handle for reading or a negative length. Throws `std::bad_alloc` or
    /// `std::length_error`, with nothing written.
    long write(const void *buffer, long length);

protected:
    friend class FileSystem;

    /// A handle for writing, empty.
    explicit FileHandle(QString name);

    /// Makes the bytes written the file's content. Called once, at the end. Returns false on
    /// failure; the file is then unchanged. A handle for reading does nothing and returns true.
    virtual bool commit();

    QString _name;      ///< see `name`
    std::string _bytes; ///< see `bytes`

private:
    std::size_t _position = 0;
    bool _writable;
};

} // namespace filesystem
