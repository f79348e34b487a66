#pragma once

#include "exception/Export.h"

#include <QString>
#include <string>
#include <string_view>

namespace filesystem {

/// An open file: a snapshot of its bytes and a position in them.
///
/// A handle for reading holds the content of the moment in which it was opened, whatever is
/// written, replaced or removed later. A handle for writing starts empty; its bytes become the
/// file's as one step in `commit`. It needs neither the file nor the file system that opened it
/// to live on, so every file system can work on every handle.
///
/// Owner: whoever called `FileSystem::open`, until `FileSystem::close`, which deletes it. Deleting
/// a handle instead of closing it drops what was written. One thread at a time.
class REGISTER_EXPORT FileHandle {
public:
    /// A handle for reading `content`. `name` is what messages call the file.
    FileHandle(QString name, std::string content);
    virtual ~FileHandle();
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;

    const QString &name() const { return _name; }
    bool isWritable() const { return _writable; }

    /// All bytes, wherever the position is; valid until the next write.
    std::string_view bytes() const { return _bytes; }
    long size() const { return static_cast<long>(_bytes.size()); }
    long tell() const { return static_cast<long>(_position); }

    /// Moves to a position from 0 to `size()`; false, and no move, for any other.
    bool seek(long position);

    /// Copies up to `length` bytes and moves past them. Returns how many there were: 0 at the end,
    /// -1 for a handle for writing or a negative length.
    long read(void *buffer, long length);

    /// Writes at the position, over what is there and on behind it. Returns `length`, or -1 for a
    /// handle for reading or a negative length. Throws, nothing written, `std::bad_alloc` or
    /// `std::length_error`.
    long write(const void *buffer, long length);

protected:
    friend class FileSystem;

    /// A handle for writing, empty.
    explicit FileHandle(QString name);

    /// Makes the bytes written the file's content, once, at the end. Returns false when that
    /// failed, and the file then is what it was. A handle for reading has nothing to do and returns
    /// true.
    virtual bool commit();

    QString _name;
    std::string _bytes;

private:
    std::size_t _position = 0;
    bool _writable;
};

} // namespace filesystem
