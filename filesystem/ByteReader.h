#pragma once

#include "filesystem/LittleEndian.h"

#include <cstddef>
#include <string_view>

namespace filesystem {

/// Reads items from the front of unchecked bytes. `take` returns false when the bytes left are too
/// few for the item.
class ByteReader {
public:
    explicit ByteReader(std::string_view bytes) : _rest(bytes) {}

    bool atEnd() const { return _rest.empty(); }
    const char *position() const { return _rest.data(); }

    bool take(std::size_t length, std::string_view &bytes) {
        if (length > _rest.size())
            return false;
        bytes = _rest.substr(0, length);
        _rest.remove_prefix(length);
        return true;
    }
    /// Reads a little-endian unsigned integer.
    template <class Unsigned>
    bool take(Unsigned &value) {
        std::string_view bytes;
        if (!take(sizeof value, bytes))
            return false;
        value = littleEndian::get<Unsigned>(bytes.data());
        return true;
    }

private:
    std::string_view _rest;
};

} // namespace filesystem
