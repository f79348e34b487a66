#pragma once

#include "filesystem/FileSystem.h"

#include <memory>

namespace filesystem {

namespace tree {
struct Directory;
}

/// A file system in memory; a new one holds only the root directory. Directories find their
/// children by hash, whatever their number.
///
/// A path has at most 512 levels and a component at most 255 UTF-16 code units; nothing can be
/// created beyond either.
class REGISTER_EXPORT RAMFileSystem : public FileSystem {
public:
    RAMFileSystem();
    ~RAMFileSystem() override;
    RAMFileSystem(const RAMFileSystem &) = delete;
    RAMFileSystem &operator=(const RAMFileSystem &) = delete;

    std::set<DirEntry> getFileList(const QString &path) const override;
    bool exists(const QString &path) const override;
    bool remove(const QString &path) override;
    bool mkdir(const QString &path) override;
    bool open(const QString &path, FileHandle **handle, FileSystemMode mode) override;

    // Memory holds no modules that the system could load: null, false and null.
    void *loadModule(const QString &path) override;
    bool unloadModule(void *module) override;
    void *getSymbolAddress(void *module, const QString &symbol) override;

    bool isDirectory(const QString &path) const override;
    bool isFile(const QString &path) const override;

    bool serialize(FileHandle &handle) const override;
    bool unserialize(FileHandle &handle) override;
    bool serialize(const QString &path, FileHandle &handle) const override;
    /// Replaces what the directory at the path held.
    bool unserialize(const QString &path, FileHandle &handle) override;

protected:
    /// The root of the tree, for derived classes that walk it themselves.
    tree::Directory &root() const { return *_root; }

private:
    const std::unique_ptr<tree::Directory> _root;
};

} // namespace filesystem
