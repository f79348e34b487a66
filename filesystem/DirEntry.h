#pragma once

#include <QString>

namespace filesystem {

/// One entry of a directory listing. Entries are ordered by name, by UTF-16 code units.
struct DirEntry {
    QString name;             ///< the last component of the entry's path
    bool isDirectory = false; ///< otherwise a file

    friend bool operator<(const DirEntry &a, const DirEntry &b) { return a.name < b.name; }
};

} // namespace filesystem
