#pragma once

#include "filesystem/LittleEndian.h"

#include <cstddef>
#include <string_view>

namespace filesystem {

/// Takes items off the front of bytes that nobody has checked. Each `take` returns false when the
/// rest cannot hold the item.
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
    /// An unsigned integer, the least significant byte first.
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
