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
/// Paths: components separated by "/"; the root is "/". Empty components are skipped, so "/a//b" is
/// "/a/b" and "/a/" is the directory "/a", never a file. "." and ".." are not names: nothing is
/// ever there and nothing can be created there, so no path leaves its tree. The same holds for a
/// component with U+FFFD, the mark that a conversion leaves of what it could not represent.
///
/// Failures show in the results, as each operation says; memory that runs out shows as
/// `std::bad_alloc`. An object is for one thread at a time.
class REGISTER_EXPORT FileSystem {
public:
    enum FileSystemMode : int {
        ReadMode = 0, ///< an existing file, from its start, as it is now
        WriteMode = 1 ///< a file with new content; it is created where it is missing
    };
    enum FileSystemOrigin : int { BeginOrigin = 0, CurrentOrigin = 1, EndOrigin = 2 };

    virtual ~FileSystem();

    /// The entries of a directory, without "." and ".."; none where there is no directory.
    virtual std::set<DirEntry> getFileList(const QString &path) const = 0;
    /// True when a file or a directory is at the path.
    virtual bool exists(const QString &path) const = 0;
    /// Removes the file, or the directory with all that is in it. The root is refused.
    virtual bool remove(const QString &path) = 0;
    /// Creates one directory. True when it was created: its parent exists, nothing was at the path.
    virtual bool mkdir(const QString &path) = 0;

    /// Opens a file and stores its handle, which is the caller's until `close`. False, and `handle`
    /// left as it was: in `ReadMode` when no file is there; in `WriteMode` when the path is a
    /// directory or its parent is missing; in any other mode. A new file is there from the opening
    /// on in memory, and from `close` on, on disk.
    virtual bool open(const QString &path, FileHandle **handle, FileSystemMode mode) = 0;
    /// Ends and deletes the handle, of whichever file system. What was written through it is the
    /// file's content from here on; false when that failed and the file is as it was. A file that
    /// was removed meanwhile stays removed, and that is no failure.
    virtual bool close(FileHandle *handle);

    /// Reads up to `length` bytes: how many there were, or -1 (see `FileHandle::read`).
    virtual long read(FileHandle *handle, void *buffer, long length);
    /// Writes `length` bytes at the handle's position: `length`, or -1 (see `FileHandle::write`).
    virtual long write(FileHandle *handle, const void *buffer, long length);
    /// Moves by `offset` bytes from the origin; false, and no move, out of the file's bounds.
    virtual bool seek(FileHandle *handle, long offset, FileSystemOrigin origin);
    /// The position in bytes from the start, or -1 without a handle.
    virtual long tell(FileHandle *handle);

    /// The number of bytes behind the handle, or -1 without a handle.
    virtual long size(FileHandle *handle);
    /// The number of bytes of the file at the path, or -1 when no file is there.
    virtual long size(const QString &path);

    // The typed reads and writes. Integers and floats are little-endian, of 2, 4 and 4 bytes
    // (float: IEEE 754 binary32). A value that the rest of the file cannot hold reads as 0 and
    // leaves the position at the end; a write is false when `write` is.
    virtual char readByte(FileHandle *handle);
    virtual short readShort(FileHandle *handle);
    virtual int readInt(FileHandle *handle);
    virtual float readFloat(FileHandle *handle);
    /// The next `length` bytes, or as many as are left; none for a negative length.
    virtual std::string readBytes(FileHandle *handle, int length);
    /// Moves by `length` bytes from the position, as `seek`.
    virtual bool skip(FileHandle *handle, int length);
    virtual bool writeByte(FileHandle *handle, char value);
    virtual bool writeShort(FileHandle *handle, short value);
    virtual bool writeInt(FileHandle *handle, int value);
    virtual bool writeFloat(FileHandle *handle, float value);

    /// Loads the shared object that is the file at the path; null when that cannot be done.
    virtual void *loadModule(const QString &path) = 0;
    /// Unloads what `loadModule` gave.
    virtual bool unloadModule(void *module) = 0;
    /// The address of a symbol in a loaded module, or null.
    virtual void *getSymbolAddress(void *module, const QString &symbol) = 0;

    /// A path in `directory`, of the form prefix, number, suffix, at which nothing is; the empty
    /// string when the first 100,000 numbers are taken. Nothing is created, so on disk another
    /// process may take the name first.
    virtual QString getUniqueFileName(const QString &directory, const QString &prefix,
                                      const QString &suffix);

    virtual bool isDirectory(const QString &path) const = 0;
    virtual bool isFile(const QString &path) const = 0;

    /// The whole tree: `serialize("/", handle)` and `unserialize("/", handle)`.
    virtual bool serialize(FileHandle &handle) const = 0;
    virtual bool unserialize(FileHandle &handle) = 0;
    /// Writes what is below the directory at the path, in the form of docs/file-format.md. Equal
    /// trees give equal bytes. False where there is no directory or the handle is for reading.
    /// Throws `utils::Exception` when it holds more than the format can (256 MiB).
    virtual bool serialize(const QString &path, FileHandle &handle) const = 0;
    /// Makes what lies between the handle's position and its end the content of the directory at
    /// the path. No bytes at all are an empty directory. False where there is no directory or
    /// the handle is for writing. Throws `utils::Exception`, saying what is wrong and where, for
    /// anything else that is not a whole and intact serialisation; the tree is as it was then.
    virtual bool unserialize(const QString &path, FileHandle &handle) = 0;

protected:
    /// For a `close` of its own: makes what was written the file's content; the handle stays.
    static bool commit(FileHandle &handle) { return handle.commit(); }
};

/// The directory part of a path: everything before its last "/", and nothing when there is none.
REGISTER_EXPORT QString dirName(const QString &path);

} // namespace filesystem
