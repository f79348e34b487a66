#pragma once

#include <cstddef>

/// Unsigned integers as bytes, the least significant first. Compilers make one move of each loop.
namespace filesystem::littleEndian {

template <class Unsigned>
Unsigned get(const char *bytes) {
    Unsigned value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i)
        value = static_cast<Unsigned>(
            value | static_cast<Unsigned>(static_cast<unsigned char>(bytes[i])) << (8 * i));
    return value;
}

template <class Unsigned>
void put(char *bytes, Unsigned value) {
    for (std::size_t i = 0; i < sizeof value; ++i)
        bytes[i] = static_cast<char>(value >> (8 * i));
}

} // namespace filesystem::littleEndian
