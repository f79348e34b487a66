#pragma once

#include "filesystem/FileLocation.h"
#include "filesystem/Posix.h"

#include <string>
#include <string_view>

/// A file and the files beside it, by their names in the directory of a `FileLocation`. A function
/// that fails returns false, or no descriptor, and sets `errno`.
namespace filesystem::beside {

/// The name of the previous generation of a register file.
std::string previousOf(const FileLocation &location);

/// Opens a file for reading; does not follow a symbolic link.
posix::Descriptor open(const FileLocation &location, const std::string &name);

/// Reads a whole file, up to the size limit of register files.
bool read(const FileLocation &location, const std::string &name, std::string &content);

/// True when nothing has the name.
bool isFree(const FileLocation &location, const std::string &name);

/// Makes `to` a second name of the file, replacing what has that name, in one step. Fails on a file
/// system without hard links, and where the system refuses one to a file of somebody else.
bool linkOver(const FileLocation &location, const std::string &to);

/// Makes `to` a file with this content and the rights of the file, replacing what has that name, in
/// one step.
bool copyOver(const FileLocation &location, std::string_view content, const std::string &to);

/// Renames the file, unless the name is taken (`EEXIST`).
bool renameTo(const FileLocation &location, const std::string &to);

/// Forces the names in the directory to the disk.
bool sync(const FileLocation &location);

} // namespace filesystem::beside
