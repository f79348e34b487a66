#include "filesystem/Block.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace filesystem {

Block::Block(std::size_t capacity) {
    if (capacity > maxSize)
        throw std::length_error("The group is too large.");
    _own.reset(new char[capacity]);
    _bytes = _own.get();
    _capacity = static_cast<std::uint32_t>(capacity);
}

Block::Block(std::shared_ptr<const std::string> file, std::string_view bytes, std::size_t count)
    : _bytes(bytes.data()), _file(std::move(file)), _size(static_cast<std::uint32_t>(bytes.size())),
      _capacity(_size), _count(static_cast<std::uint32_t>(count)), _ordered(_size) {}

void Block::moveTo(std::size_t capacity) {
    Block moved(capacity);
    bytes().copy(moved._own.get(), _size);
    _bytes = moved._bytes;
    _own = std::move(moved._own);
    _file.reset();
    _capacity = moved._capacity;
}

std::vector<std::uint32_t> Block::inOrder() const {
    std::vector<std::uint32_t> offsets;
    offsets.reserve(_count);
    std::size_t ordered = 0;
    forEach([&](std::uint32_t offset) {
        ordered += offset < _ordered;
        offsets.push_back(offset);
    });
    const auto byName = [this](std::uint32_t a, std::uint32_t b) { return name(a) < name(b); };
    const auto tail = offsets.begin() + static_cast<std::ptrdiff_t>(ordered);
    if (tail == offsets.end())
        return offsets;
    std::sort(tail, offsets.end(), byName);
    std::vector<std::uint32_t> merged(offsets.size());
    std::merge(offsets.begin(), tail, tail, offsets.end(), merged.begin(), byName);
    return merged;
}

std::uint32_t Block::append(std::string_view name, std::size_t valueSize) noexcept {
    const std::uint32_t offset = _size;
    const bool inOrder =
        _ordered == _size && (_size == 0 || (_last != none && this->name(_last) < name));
    char *bytes = _own.get() + offset;
    littleEndian::put(bytes, static_cast<std::uint16_t>(name.size()));
    littleEndian::put(bytes + 2, static_cast<std::uint32_t>(valueSize));
    name.copy(bytes + headerSize, name.size());
    _size += static_cast<std::uint32_t>(sizeOf(name, valueSize));
    ++_count;
    if (inOrder) {
        _ordered = _size;
        _last = offset;
    }
    return offset;
}

std::uint32_t Block::append(std::string_view name, std::string_view value) noexcept {
    const std::uint32_t offset = append(name, value.size());
    value.copy(valueBytes(offset), value.size());
    return offset;
}

void Block::remove(std::uint32_t offset) noexcept {
    const std::uint32_t size = propertySize(offset);
    char *bytes = _own.get() + offset;
    littleEndian::put(bytes, std::uint16_t{0});
    littleEndian::put(bytes + 2, static_cast<std::uint32_t>(size - headerSize));
    _gaps += size;
    --_count;
    if (offset == _last)
        _last = none;
}

} // namespace filesystem
