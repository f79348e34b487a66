#pragma once

#include "filesystem/LittleEndian.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace filesystem {

/// The properties of one group, stored one after the other in the form of the register file: the
/// length of the name (2 bytes), the length of the value (4 bytes), the name, the value. A removed
/// property leaves a gap, which is a property with an empty name.
///
/// The block of a loaded group uses the bytes of the file, which all such blocks share with others
/// and never change. Before its first change, the block moves to its own allocation.
///
/// Offsets stay valid until the block is replaced. Views of names and values stay valid until the
/// block is replaced or moves.
class Block {
public:
    static constexpr std::size_t headerSize = 6;
    static constexpr std::size_t maxSize = UINT32_MAX - 1;
    static constexpr std::uint32_t none = UINT32_MAX; ///< no offset

    Block() = default;
    /// An empty block with room for `capacity` bytes. Throws `std::bad_alloc`, and
    /// `std::length_error` above `maxSize`.
    explicit Block(std::size_t capacity);
    /// A block in the bytes of a loaded file. It shares ownership of the file until it moves. Its
    /// properties are sorted by name and have no gaps between them.
    Block(std::shared_ptr<const std::string> file, std::string_view bytes, std::size_t count);

    /// Moves to an allocation of `capacity` bytes, at least as many as before. Offsets stay valid.
    void moveTo(std::size_t capacity);
    /// Moves to its own allocation if it uses the bytes of a file. Call this before a change.
    void makeWritable() {
        if (_file)
            moveTo(_size);
    }

    std::size_t count() const { return _count; }
    /// The size in bytes, without the gaps.
    std::size_t liveSize() const { return _size - _gaps; }
    bool hasGaps() const { return _gaps > 0; }
    std::size_t capacity() const { return _capacity; }
    bool hasRoom(std::size_t size) const { return size <= _capacity - _size; }
    /// True when the properties are sorted by name and no gaps are between them.
    bool isOrdered() const { return _gaps == 0 && _ordered == _size; }

    std::string_view name(std::uint32_t offset) const {
        return {bytesAt(offset) + headerSize, nameLength(offset)};
    }
    std::string_view value(std::uint32_t offset) const {
        return {bytesAt(offset) + headerSize + nameLength(offset), valueLength(offset)};
    }
    /// The bytes of the value, for overwriting with a value of the same length.
    char *valueBytes(std::uint32_t offset) {
        return _own.get() + offset + headerSize + nameLength(offset);
    }
    /// All bytes, including the gaps.
    std::string_view bytes() const { return {_bytes, _size}; }

    /// Calls `visit` with the offset of each property, in the order of storage.
    template <class Visit>
    void forEach(Visit visit) const {
        for (std::uint32_t at = 0; at < _size; at += propertySize(at))
            if (nameLength(at) > 0)
                visit(at);
    }

    /// Returns the offsets of all properties, sorted by the bytes of their names.
    std::vector<std::uint32_t> inOrder() const;

    /// Appends a property and returns its offset. The caller fills in the value. The block must
    /// have room for the property.
    std::uint32_t append(std::string_view name, std::size_t valueSize) noexcept;
    std::uint32_t append(std::string_view name, std::string_view value) noexcept;
    /// Replaces a property by a gap.
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

    const char *_bytes = nullptr;
    std::unique_ptr<char[]> _own; ///< owns the bytes, unless `_file` does
    std::shared_ptr<const std::string> _file;
    std::uint32_t _size = 0;
    std::uint32_t _capacity = 0;
    std::uint32_t _gaps = 0;    ///< bytes in gaps
    std::uint32_t _count = 0;   ///< properties
    std::uint32_t _ordered = 0; ///< size of the sorted part at the front
    std::uint32_t _last = none; ///< the last property of the sorted part, if known
};

} // namespace filesystem
