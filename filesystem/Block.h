#pragma once

#include "filesystem/LittleEndian.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace filesystem {

/// The properties of one group, one behind the other, in the form of the register file: the length
/// of the name (2 bytes) and of the value (4 bytes), the name, the value. What is removed leaves a
/// gap, a property whose name is empty.
///
/// The block of a loaded group lies in the bytes of the file, which all such blocks share. Once it
/// has to grow it moves to an allocation of its own.
///
/// Offsets stay valid until the block is replaced; views of names and values as well.
class Block {
public:
    static constexpr std::size_t headerSize = 6;
    static constexpr std::size_t maxSize = UINT32_MAX - 1;
    static constexpr std::uint32_t none = UINT32_MAX; ///< no offset

    Block() = default;
    /// An empty block with room for `capacity` bytes. Throws `std::bad_alloc`, and
    /// `std::length_error` above `maxSize`.
    explicit Block(std::size_t capacity);
    /// A block that lies in a loaded file and keeps it until the block moves. Its properties lie in
    /// the order of their names, without gaps.
    Block(std::shared_ptr<std::string> file, std::string_view bytes, std::size_t count);

    /// Moves to an allocation of `capacity` bytes, which is more than today's; offsets stay valid.
    void grow(std::size_t capacity);

    std::size_t count() const { return _count; }
    /// Without the gaps.
    std::size_t liveSize() const { return _size - _gaps; }
    bool hasGaps() const { return _gaps > 0; }
    std::size_t capacity() const { return _capacity; }
    bool hasRoom(std::size_t size) const { return size <= _capacity - _size; }
    /// True when the properties lie in the order of their names and without gaps.
    bool isOrdered() const { return _gaps == 0 && _ordered == _size; }

    std::string_view name(std::uint32_t offset) const {
        return {bytesAt(offset) + headerSize, nameLength(offset)};
    }
    std::string_view value(std::uint32_t offset) const {
        return {bytesAt(offset) + headerSize + nameLength(offset), valueLength(offset)};
    }
    /// The bytes of the value, to be overwritten with as many.
    char *valueBytes(std::uint32_t offset) {
        return _bytes + offset + headerSize + nameLength(offset);
    }
    /// All bytes, gaps included.
    std::string_view bytes() const { return {_bytes, _size}; }

    /// Calls `visit` with the offset of each property, in the order in which they lie.
    template <class Visit>
    void forEach(Visit visit) const {
        for (std::uint32_t at = 0; at < _size; at += propertySize(at))
            if (nameLength(at) > 0)
                visit(at);
    }

    /// The offsets of all properties, in the order of the bytes of their names.
    std::vector<std::uint32_t> inOrder() const;

    /// Appends a property whose value is to be filled in. There must be room for it.
    std::uint32_t append(std::string_view name, std::size_t valueSize) noexcept;
    std::uint32_t append(std::string_view name, std::string_view value) noexcept;
    /// Leaves a gap where a property was.
    void remove(std::uint32_t offset) noexcept;

    static std::size_t sizeOf(std::string_view name, std::size_t valueSize) {
        return headerSize + name.size() + valueSize;
    }

private:
    const char *bytesAt(std::uint32_t offset) const { return _bytes + offset; }
    std::size_t nameLength(std::uint32_t offset) const {
        return littleEndian::get<std::uint16_t>(bytesAt(offset));
    }
    std::size_t valueLength(std::uint32_t offset) const {
        return littleEndian::get<std::uint32_t>(bytesAt(offset) + 2);
    }
    std::uint32_t propertySize(std::uint32_t offset) const {
        return static_cast<std::uint32_t>(headerSize + nameLength(offset) + valueLength(offset));
    }

    char *_bytes = nullptr;
    std::unique_ptr<char[]> _own; ///< holds the bytes, unless they lie in a file
    std::shared_ptr<std::string> _file;
    std::uint32_t _size = 0;
    std::uint32_t _capacity = 0;
    std::uint32_t _gaps = 0;    ///< bytes in gaps
    std::uint32_t _count = 0;   ///< properties
    std::uint32_t _ordered = 0; ///< bytes in front whose properties lie in order
    std::uint32_t _last = none; ///< the last property, where all lie in order and it is known
};

} // namespace filesystem
