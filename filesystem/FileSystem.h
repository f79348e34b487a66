#pragma once

#include "exception/Export.h"
#include "filesystem/DirEntry.h"
#include "filesystem/FileHandle.h"

#include <QString>
#include <set>
#include <string>

namespace filesystem {

/// A tree of directories and files, in memory or on disk.
///
/// Paths: components separated by "/". The root is "/". Empty components are skipped: "/a//b" is
/// "/a/b", and "/a/" is the directory "/a", never a file. "." and ".." are not names: nothing
/// exists and nothing can be created under them, so no path leaves its tree. The same holds for a
/// component that contains U+FFFD, because conversions put it in place of what they cannot
/// represent.
///
/// Errors: the results report failures, as each operation describes. Running out of memory throws
/// `std::bad_alloc`. Threads: one at a time for each object.
class REGISTER_EXPORT FileSystem {
public:
    /// How a file is opened.
    enum FileSystemMode : int {
        ReadMode = 0, ///< reads the present content of an existing file
        WriteMode = 1 ///< writes new content; creates the file if it is missing
    };
    /// From where `seek` counts: the begin, the position or the end of the file.
    enum FileSystemOrigin : int { BeginOrigin = 0, CurrentOrigin = 1, EndOrigin = 2 };

    virtual ~FileSystem();

    /// Returns the entries of a directory, without "." and "..". Returns none if there is no
    /// directory.
    virtual std::set<DirEntry> getFileList(const QString &path) const = 0;
    /// True when a file or a directory exists at the path.
    virtual bool exists(const QString &path) const = 0;
    /// Removes the file, or the directory and everything in it. Fails for the root.
    virtual bool remove(const QString &path) = 0;
    /// Creates one directory. Returns true when it has been created. Fails when the parent does not
    /// exist or something exists at the path.
    virtual bool mkdir(const QString &path) = 0;

    /// Opens a file and stores its handle, which the caller owns until `close`. Returns false, with
    /// `handle` unchanged: in `ReadMode` when there is no file; in `WriteMode` when the path is a
    /// directory or its parent is missing; in any other mode. A new file in memory exists from
    /// `open` on, a new file on disk from `close` on.
    virtual bool open(const QString &path, FileHandle **handle, FileSystemMode mode) = 0;
    /// Closes and deletes a handle of any file system. What was written through the handle becomes
    /// the file's content. Returns false when that failed; the file is then unchanged. A file that
    /// has been removed in the meantime stays removed, which is not a failure.
    virtual bool close(FileHandle *handle);

    /// Reads up to `length` bytes. Returns how many were read, or -1 (see `FileHandle::read`).
    virtual long read(FileHandle *handle, void *buffer, long length);
    /// Writes `length` bytes at the handle's position. Returns `length`, or -1 (see
    /// `FileHandle::write`).
    virtual long write(FileHandle *handle, const void *buffer, long length);
    /// Moves by `offset` bytes from the origin. Returns false, without moving, when the new
    /// position would be outside of the file.
    virtual bool seek(FileHandle *handle, long offset, FileSystemOrigin origin);
    /// Returns the position in bytes from the start, or -1 for a null handle.
    virtual long tell(FileHandle *handle);

    /// Returns the number of bytes of the handle's content, or -1 for a null handle.
    virtual long size(FileHandle *handle);
    /// Returns the number of bytes of the file at the path, or -1 when there is no file.
    virtual long size(const QString &path);

    ///@{
    /// Typed reads and writes. Integers and floats are little-endian. A short has 2 bytes, an int
    /// 4, a float 4 (IEEE 754 binary32). When the rest of the file is too short for a value, the
    /// read returns 0 and moves the position to the end. A write returns false when `write` fails.
    virtual char readByte(FileHandle *handle);
    virtual short readShort(FileHandle *handle);
    virtual int readInt(FileHandle *handle);
    virtual float readFloat(FileHandle *handle);
    virtual bool writeByte(FileHandle *handle, char value);
    virtual bool writeShort(FileHandle *handle, short value);
    virtual bool writeInt(FileHandle *handle, int value);
    virtual bool writeFloat(FileHandle *handle, float value);
    ///@}
    /// Returns the next `length` bytes, or as many as are left. Returns none for a negative length.
    virtual std::string readBytes(FileHandle *handle, int length);
    /// Moves by `length` bytes from the position, like `seek`.
    virtual bool skip(FileHandle *handle, int length);

    /// Loads the file at the path as a shared object. Returns null when that fails.
    virtual void *loadModule(const QString &path) = 0;
    /// Unloads a module that `loadModule` returned.
    virtual bool unloadModule(void *module) = 0;
    /// Returns the address of a symbol in a loaded module, or null.
    virtual void *getSymbolAddress(void *module, const QString &symbol) = 0;

    /// Returns a path in `directory` at which nothing exists. Its name is the prefix, a number and
    /// the suffix. Returns the empty string when the first 100,000 numbers are taken. Nothing is
    /// created, so on disk another process may create the file first.
    virtual QString getUniqueFileName(const QString &directory, const QString &prefix,
                                      const QString &suffix);

    ///@{
    /// What the path denotes now; both are false when nothing is there.
    virtual bool isDirectory(const QString &path) const = 0;
    virtual bool isFile(const QString &path) const = 0;
    ///@}

    ///@{
    /// The whole tree: like `serialize("/", handle)` and `unserialize("/", handle)`.
    virtual bool serialize(FileHandle &handle) const = 0;
    virtual bool unserialize(FileHandle &handle) = 0;
    ///@}
    /// Writes the content of the directory at the path, in the format of docs/file-format.md. Equal
    /// trees give equal bytes. Returns false when there is no directory or the handle is for
    /// reading. Throws `utils::Exception` when the content is larger than the format allows (256
    /// MiB).
    virtual bool serialize(const QString &path, FileHandle &handle) const = 0;
    /// Reads a serialisation from the handle's position to its end and makes it the content of the
    /// directory at the path. No bytes at all stand for an empty directory. Returns false when
    /// there is no directory or the handle is for writing. Throws `utils::Exception` for any other
    /// bytes that are not a complete and intact serialisation. The message says what is wrong and
    /// where, and the tree is unchanged.
    virtual bool unserialize(const QString &path, FileHandle &handle) = 0;

protected:
    /// For implementations of `close`: makes what was written the file's content. Does not delete
    /// the handle.
    static bool commit(FileHandle &handle) { return handle.commit(); }
};

/// Returns the directory part of a path: everything before its last "/", or nothing when there is
/// none.
REGISTER_EXPORT QString dirName(const QString &path);

} // namespace filesystem
