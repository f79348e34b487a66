#pragma once

#include "filesystem/FileSystem.h"

#include <string>

namespace filesystem {

/// A file system on disk, below a root directory. Paths are relative to that root, with or without
/// a leading "/"; symbolic links are followed, also out of the root.
///
/// Rooted at the empty string, or at a path that the file system's encoding (UTF-8) cannot hold, it
/// refers to nothing: nothing exists there and nothing opens.
class REGISTER_EXPORT RealFileSystem : public FileSystem {
public:
    explicit RealFileSystem(const QString &root);
    ~RealFileSystem() override;

    std::set<DirEntry> getFileList(const QString &path) const override;
    /// True unless the system says that nothing is there: what it cannot tell, for lack of a right
    /// or after a read error, counts as existing, so that nobody starts anew over lost sight of it.
    bool exists(const QString &path) const override;
    bool remove(const QString &path) override;
    bool mkdir(const QString &path) override;

    /// In `ReadMode` takes the whole file at once; only a regular file of at most 256 MiB opens.
    ///
    /// In `WriteMode` first creates the root directory with its missing parents (mode 0700), but no
    /// directory below it. `close` then replaces the file in one step: the file is the whole old
    /// one or the whole new one, also after a crash or a loss of power, and when `close` returns
    /// true the new one is on the disk. A file that is new has mode 0600 and appears at `close`;
    /// one that exists keeps its mode, and a symbolic link stays one. A file that the process may
    /// not write does not open.
    bool open(const QString &path, FileHandle **handle, FileSystemMode mode) override;
    bool close(FileHandle *handle) override;

    void *loadModule(const QString &path) override;
    bool unloadModule(void *module) override;
    void *getSymbolAddress(void *module, const QString &symbol) override;

    bool isDirectory(const QString &path) const override;
    bool isFile(const QString &path) const override;

    // False for what cannot be read whole, and for links to directories.
    bool serialize(FileHandle &handle) const override;
    bool unserialize(FileHandle &handle) override;
    bool serialize(const QString &path, FileHandle &handle) const override;
    /// Fills an empty directory; false, and nothing done, where it holds anything. Not one step: a
    /// disk that fills up leaves a part of it.
    bool unserialize(const QString &path, FileHandle &handle) override;

    /// Why the last `open` or `close` of this object failed: the file, what was being done and what
    /// the system said. Empty when it succeeded.
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
