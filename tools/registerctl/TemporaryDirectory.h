#pragma once

#include "Failure.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include <stdlib.h>

namespace registerctl {

/// A private directory. The destructor removes it with all its content.
class TemporaryDirectory {
public:
    /// Throws `Failure` when nothing can be created in `parent`.
    explicit TemporaryDirectory(const std::string &parent)
        : _path(parent + "/.registerctl-XXXXXX") {
        if (!::mkdtemp(_path.data()))
            throw Failure(NotWritten, parent + ": " + std::strerror(errno));
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        if (!_isKept)
            std::filesystem::remove_all(_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    /// Leaves the directory where it is.
    void keep() { _isKept = true; }
    std::string operator/(const std::string &name) const { return _path + "/" + name; }

private:
    std::string _path;
    bool _isKept = false;
};

} // namespace registerctl
