#pragma once

#include "filesystem/Path.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace filesystem {

class Tree;

/// A file of a tree that is open for writing. Its handle shares ownership of this object and may
/// outlive the tree.
struct OpenFile {
    Tree *tree; ///< null once the file has been removed or the tree destroyed
    std::string top;
    std::string name; ///< in normal form
};

/// The files of a tree that are open for writing.
class OpenFiles {
public:
    OpenFiles() = default;
    ~OpenFiles();
    OpenFiles(const OpenFiles &) = delete;
    OpenFiles &operator=(const OpenFiles &) = delete;

    /// Registers `file` until its handle releases it.
    void add(const std::shared_ptr<OpenFile> &file);
    /// Sets `tree` to null in the file at a path and in all files below it. An empty path stands
    /// for all files.
    void detach(std::string_view top, std::string_view name) noexcept;

private:
    std::vector<std::weak_ptr<OpenFile>> _files;
};

} // namespace filesystem
