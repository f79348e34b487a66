#pragma once

#include "filesystem/FileSystem.h"

#include <memory>
#include <string>

namespace filesystem {

class Tree;

/// A file system in memory. A new one contains only the root directory. One hash of the path finds
/// a file or a directory, whatever the number of levels and of files.
///
/// A path has at most 512 levels and 4096 bytes of UTF-8, a component at most 255 UTF-16 code
/// units. Nothing can be created beyond these limits. The files of one directory hold at most 4
/// GiB, including their names. A call that would exceed this limit throws `std::length_error`.
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

    // Files in memory cannot be loaded as modules. These return null, false and null.
    void *loadModule(const QString &path) override;
    bool unloadModule(void *module) override;
    void *getSymbolAddress(void *module, const QString &symbol) override;

    bool isDirectory(const QString &path) const override;
    bool isFile(const QString &path) const override;

    bool serialize(FileHandle &handle) const override;
    bool unserialize(FileHandle &handle) override;
    bool serialize(const QString &path, FileHandle &handle) const override;
    /// Replaces the content of the directory at the path.
    bool unserialize(const QString &path, FileHandle &handle) override;

protected:
    /// For derived classes that use the tree directly.
    Tree &tree() const { return *_tree; }

private:
    const std::unique_ptr<Tree> _tree;
};

} // namespace filesystem
