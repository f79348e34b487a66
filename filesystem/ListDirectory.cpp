#include "filesystem/ListDirectory.h"

#include <cerrno>
#include <memory>

#include <dirent.h>

namespace filesystem {

bool listDirectory(const std::string &path, std::vector<std::string> &names) {
    struct Close {
        void operator()(DIR *directory) const { ::closedir(directory); }
    };
    const std::unique_ptr<DIR, Close> directory(::opendir(path.c_str()));
    if (!directory)
        return false;
    for (errno = 0; const dirent *entry = ::readdir(directory.get()); errno = 0) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return errno == 0;
}

} // namespace filesystem
