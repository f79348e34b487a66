#include "filesystem/FileSystem.h"

#include "filesystem/LittleEndian.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace filesystem {

namespace {

template <class Unsigned>
Unsigned readUnsigned(FileSystem &fs, FileHandle *handle) {
    constexpr long width = sizeof(Unsigned);
    char bytes[width];
    if (fs.read(handle, bytes, width) != width)
        return 0;
    return littleEndian::get<Unsigned>(bytes);
}

template <class Unsigned>
bool writeUnsigned(FileSystem &fs, FileHandle *handle, Unsigned value) {
    constexpr long width = sizeof(Unsigned);
    char bytes[width];
    littleEndian::put(bytes, value);
    return fs.write(handle, bytes, width) == width;
}

} // namespace

FileSystem::~FileSystem() = default;

bool FileSystem::close(FileHandle *handle) {
    const std::unique_ptr<FileHandle> owned(handle);
    return owned && owned->commit();
}

long FileSystem::read(FileHandle *handle, void *buffer, long length) {
    return handle ? handle->read(buffer, length) : -1;
}

long FileSystem::write(FileHandle *handle, const void *buffer, long length) {
    return handle ? handle->write(buffer, length) : -1;
}

bool FileSystem::seek(FileHandle *handle, long offset, FileSystemOrigin origin) {
    if (!handle)
        return false;
    long start = 0;
    if (origin == CurrentOrigin)
        start = handle->tell();
    else if (origin == EndOrigin)
        start = handle->size();
    else if (origin != BeginOrigin)
        return false;
    long position = 0;
    return !__builtin_add_overflow(start, offset, &position) && handle->seek(position);
}

long FileSystem::tell(FileHandle *handle) {
    return handle ? handle->tell() : -1;
}

long FileSystem::size(FileHandle *handle) {
    return handle ? handle->size() : -1;
}

long FileSystem::size(const QString &path) {
    FileHandle *handle = nullptr;
    if (!open(path, &handle, ReadMode))
        return -1;
    const long bytes = size(handle);
    close(handle);
    return bytes;
}

char FileSystem::readByte(FileHandle *handle) {
    return static_cast<char>(readUnsigned<std::uint8_t>(*this, handle));
}

short FileSystem::readShort(FileHandle *handle) {
    return static_cast<short>(readUnsigned<std::uint16_t>(*this, handle));
}

int FileSystem::readInt(FileHandle *handle) {
    return static_cast<int>(readUnsigned<std::uint32_t>(*this, handle));
}

float FileSystem::readFloat(FileHandle *handle) {
    const auto bits = readUnsigned<std::uint32_t>(*this, handle);
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string FileSystem::readBytes(FileHandle *handle, int length) {
    const long count = std::min<long>(length, size(handle) - tell(handle));
    if (count <= 0)
        return {};
    std::string bytes(static_cast<std::size_t>(count), '\0');
    const long got = read(handle, bytes.data(), count);
    bytes.resize(static_cast<std::size_t>(std::max(got, 0L)));
    return bytes;
}

bool FileSystem::skip(FileHandle *handle, int length) {
    return seek(handle, length, CurrentOrigin);
}

bool FileSystem::writeByte(FileHandle *handle, char value) {
    return writeUnsigned(*this, handle, static_cast<std::uint8_t>(value));
}

bool FileSystem::writeShort(FileHandle *handle, short value) {
    return writeUnsigned(*this, handle, static_cast<std::uint16_t>(value));
}

bool FileSystem::writeInt(FileHandle *handle, int value) {
    return writeUnsigned(*this, handle, static_cast<std::uint32_t>(value));
}

bool FileSystem::writeFloat(FileHandle *handle, float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return writeUnsigned(*this, handle, bits);
}

QString FileSystem::getUniqueFileName(const QString &directory, const QString &prefix,
                                      const QString &suffix) {
    constexpr int attempts = 100000;
    for (int number = 1; number <= attempts; ++number) {
        QString path = directory + QLatin1Char('/') + prefix + QString::number(number) + suffix;
        if (!exists(path))
            return path;
    }
    return {};
}

QString dirName(const QString &path) {
    const auto slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : path.left(slash);
}

} // namespace filesystem
