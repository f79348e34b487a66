#include "filesystem/FilesBeside.h"

#include "filesystem/AtomicFile.h"
#include "filesystem/RegisterFormat.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace filesystem::beside {

std::string previousOf(const FileLocation &location) {
    return location.beside("", ".previous");
}

bool linkOver(const FileLocation &location, const std::string &to) {
    const int directory = location.directory().number();
    const std::string temporary = AtomicFile::temporaryName(location);
    if (::linkat(directory, location.name().c_str(), directory, temporary.c_str(), 0) == -1)
        return false;
    const bool done = ::renameat(directory, temporary.c_str(), directory, to.c_str()) == 0;
    const int reason = errno;
    // It still exists after a failure, and if `to` was a name of the same file already.
    ::unlinkat(directory, temporary.c_str(), 0);
    errno = reason;
    return done;
}

posix::Descriptor open(const FileLocation &location, const std::string &name) {
    return posix::openForReading(name, O_NONBLOCK | O_NOFOLLOW, location.directory().number());
}

bool read(const FileLocation &location, const std::string &name, std::string &content) {
    const posix::Descriptor file = open(location, name);
    return file && posix::readAll(file, registerFormat::maxFileSize, content);
}

bool isFree(const FileLocation &location, const std::string &name) {
    return ::faccessat(location.directory().number(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) ==
               -1 &&
           errno == ENOENT;
}

bool copyOver(const FileLocation &location, std::string_view content, const std::string &to) {
    AtomicFile copy(location.path());
    return copy.open() && copy.write(content) && copy.replace(to);
}

bool renameTo(const FileLocation &location, const std::string &to) {
    const int directory = location.directory().number();
    const char *from = location.name().c_str();
    if (::renameat2(directory, from, directory, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL) // the file system knows the flag
        return false;
    if (isFree(location, to))
        return ::renameat(directory, from, directory, to.c_str()) == 0;
    errno = EEXIST;
    return false;
}

bool sync(const FileLocation &location) {
    const auto directory = posix::openForReading(".", O_DIRECTORY, location.directory().number());
    return directory && posix::syncDirectory(directory);
}

} // namespace filesystem::beside
