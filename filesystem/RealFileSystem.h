#pragma once

#include "filesystem/FileSystem.h"

#include <string>

namespace filesystem {

/// A file system on disk, below a root directory. Paths are relative to that root, with or without
/// a leading "/"; symbolic links are followed, also out of the root.
///
/// With an empty root, or one that UTF-8 cannot represent, it refers to nothing: nothing exists and
/// nothing opens.
class REGISTER_EXPORT RealFileSystem : public FileSystem {
public:
    /// `root` is the path of a directory, which need not exist.
    explicit RealFileSystem(const QString &root);
    ~RealFileSystem() override;

    std::set<DirEntry> getFileList(const QString &path) const override;
    /// True when something is at the path. Also true when the system cannot tell; otherwise an
    /// unreachable file would pass for a first start and be overwritten.
    bool exists(const QString &path) const override;
    bool remove(const QString &path) override;
    bool mkdir(const QString &path) override;

    /// In `ReadMode` reads the whole file. Only a regular file of at most 256 MiB opens.
    ///
    /// In `WriteMode` creates the root directory and its missing parents (mode 0700), but no
    /// directory below it. `close` replaces the file as a whole; `docs/durability.md` says what is
    /// promised. When `close` returns true, the new file is on the disk. A new file has mode 0600;
    /// one that exists keeps its rights, and a symbolic link stays. A file that the process may not
    /// write does not open.
    bool open(const QString &path, FileHandle **handle, FileSystemMode mode) override;
    bool close(FileHandle *handle) override;

    void *loadModule(const QString &path) override;
    bool unloadModule(void *module) override;
    void *getSymbolAddress(void *module, const QString &symbol) override;

    bool isDirectory(const QString &path) const override;
    bool isFile(const QString &path) const override;

    // False when not everything can be read, and for links to directories.
    bool serialize(FileHandle &handle) const override;
    bool unserialize(FileHandle &handle) override;
    bool serialize(const QString &path, FileHandle &handle) const override;
    /// Fills an empty directory. Returns false without a change when the directory is not empty.
    /// Not atomic: a full disk leaves a part of the content.
    bool unserialize(const QString &path, FileHandle &handle) override;

    /// The error of the last `open` or `close`: the file, the operation that failed and the
    /// system's message. Empty on success.
    const std::string &error() const { return _error; }

private:
    bool openForReading(const QString &path, FileHandle **handle);
    bool openForWriting(const QString &path, FileHandle **handle);
    bool fail(const std::string &path, const char *stage);
    std::string toSystemPath(const QString &path) const;

    QString _root;
    std::string _error;
};

} // namespace filesystem
