#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

/// Unsigned integers as little-endian bytes.
namespace filesystem::littleEndian {

constexpr bool isHostOrder = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

template <class Unsigned>
void put(char *bytes, Unsigned value) {
    std::memcpy(bytes, &value, sizeof value);
    if constexpr (!isHostOrder)
        std::reverse(bytes, bytes + sizeof value);
}

template <class Unsigned>
Unsigned get(const char *bytes) {
    Unsigned value = 0;
    std::memcpy(&value, bytes, sizeof value);
    if constexpr (!isHostOrder) {
        char *first = reinterpret_cast<char *>(&value);
        std::reverse(first, first + sizeof value);
    }
    return value;
}

} // namespace filesystem::littleEndian
