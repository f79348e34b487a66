#include "filesystem/OpenFiles.h"

#include <algorithm>

namespace filesystem {

namespace {

bool isAtOrBelow(std::string_view name, std::string_view path) {
    return path.empty() || name == path ||
           (name.size() > path.size() && name[path.size()] == '/' &&
            name.substr(0, path.size()) == path);
}

} // namespace

OpenFiles::~OpenFiles() {
    for (const auto &entry : _files)
        if (const auto file = entry.lock())
            file->tree = nullptr;
}

void OpenFiles::add(const std::shared_ptr<OpenFile> &file) {
    const auto dropped = [](const auto &entry) { return entry.expired(); };
    _files.erase(std::remove_if(_files.begin(), _files.end(), dropped), _files.end());
    _files.push_back(file);
}

void OpenFiles::detach(std::string_view top, std::string_view name) noexcept {
    for (const auto &entry : _files)
        if (const auto file = entry.lock())
            if (top.empty() || (file->top == top && isAtOrBelow(file->name, name)))
                file->tree = nullptr;
}

} // namespace filesystem
