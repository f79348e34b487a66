#pragma once

#include "filesystem/Path.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace filesystem {

class Tree;

/// A file of a tree that is open for writing. Its handle shares it; the tree may go first.
struct OpenFile {
    Tree *tree; ///< null once the file has been removed
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

    /// Keeps `file` until its handle drops it.
    void add(const std::shared_ptr<OpenFile> &file);
    /// Detaches the file at a path, and all files below it; all there are for an empty path.
    void detach(std::string_view top, std::string_view name) noexcept;

private:
    std::vector<std::weak_ptr<OpenFile>> _files;
};

} // namespace filesystem
