#include "filesystem/FileHandle.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace filesystem {

FileHandle::FileHandle(QString name, std::string content)
    : _name(std::move(name)), _bytes(std::move(content)), _writable(false) {}

FileHandle::FileHandle(QString name) : _name(std::move(name)), _writable(true) {}

FileHandle::~FileHandle() = default;

bool FileHandle::seek(long position) {
    if (position < 0 || position > size())
        return false;
    _position = static_cast<std::size_t>(position);
    return true;
}

long FileHandle::read(void *buffer, long length) {
    if (_writable || length < 0)
        return -1;
    const long count = std::min(length, size() - tell());
    if (count > 0)
        std::memcpy(buffer, _bytes.data() + _position, static_cast<std::size_t>(count));
    _position += static_cast<std::size_t>(count);
    return count;
}

long FileHandle::write(const void *buffer, long length) {
    if (!_writable || length < 0)
        return -1;
    const auto count = static_cast<std::size_t>(length);
    const std::size_t overwritten = std::min(count, _bytes.size() - _position);
    _bytes.replace(_position, overwritten, static_cast<const char *>(buffer), count);
    _position += count;
    return length;
}

bool FileHandle::commit() {
    return true;
}

} // namespace filesystem
