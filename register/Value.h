#pragma once

#include "filesystem/LittleEndian.h"
#include "register/Register.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

/// The bytes of a property's file: the tag of its type, then the value. Integers, lengths and
/// counts are 32 bits and numbers 64 bits (IEEE 754), the least significant byte first; a string is
/// its length and its bytes.
namespace utils::properties {

namespace littleEndian = filesystem::littleEndian;

inline void putInt(std::string &bytes, std::int32_t value) {
    char buffer[sizeof value];
    littleEndian::put(buffer, static_cast<std::uint32_t>(value));
    bytes.append(buffer, sizeof buffer);
}

/// Lengths and counts are stored as an `int`.
inline std::int32_t toInt(std::size_t size) {
    if (size > INT_MAX)
        throw std::length_error("The value is too large for a property.");
    return static_cast<std::int32_t>(size);
}

/// Takes a value's parts off the front of its bytes; each take throws `PropertyBadType` when the
/// rest cannot hold it.
class ValueReader {
public:
    explicit ValueReader(std::string_view rest) : _rest(rest) {}

    std::string_view takeBytes(std::size_t count) {
        if (count > _rest.size())
            throw PropertyBadType();
        const std::string_view bytes = _rest.substr(0, count);
        _rest.remove_prefix(count);
        return bytes;
    }
    char takeByte() { return takeBytes(1).front(); }
    std::int32_t takeInt() {
        return static_cast<std::int32_t>(
            littleEndian::get<std::uint32_t>(takeBytes(sizeof(std::int32_t)).data()));
    }

private:
    std::string_view _rest;
};

/// What tells the types apart: the tag, and how one value is written and read.
template <class Value>
struct Form;

template <>
struct Form<std::string> {
    static constexpr Type tag = StringType;
    static void put(std::string &bytes, const std::string &value) {
        putInt(bytes, toInt(value.size()));
        bytes += value;
    }
    static std::string_view take(ValueReader &reader) {
        const std::int32_t length = reader.takeInt();
        return reader.takeBytes(length < 0 ? SIZE_MAX : static_cast<std::size_t>(length));
    }
};

template <>
struct Form<double> {
    static constexpr Type tag = NumberType;
    static void put(std::string &bytes, double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        char buffer[sizeof bits];
        littleEndian::put(buffer, bits);
        bytes.append(buffer, sizeof buffer);
    }
    static double take(ValueReader &reader) {
        const auto bits = littleEndian::get<std::uint64_t>(reader.takeBytes(sizeof(double)).data());
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
};

template <>
struct Form<int> {
    static constexpr Type tag = IntegerType;
    static void put(std::string &bytes, int value) { putInt(bytes, value); }
    static int take(ValueReader &reader) { return reader.takeInt(); }
};

template <>
struct Form<bool> {
    static constexpr Type tag = BooleanType;
    static void put(std::string &bytes, bool value) { bytes += value ? '\1' : '\0'; }
    static bool take(ValueReader &reader) { return reader.takeByte() != 0; }
};

/// The content of the file of a property with this value.
template <class Value>
std::string encode(const Value &value) {
    std::string bytes(1, static_cast<char>(Form<Value>::tag));
    Form<Value>::put(bytes, value);
    return bytes;
}

/// Reads such a content; `PropertyBadType`, and `value` untouched, when it is another type's or cut
/// short.
template <class Value>
void decode(std::string_view bytes, Value &value) {
    ValueReader reader(bytes);
    if (reader.takeByte() != static_cast<char>(Form<Value>::tag))
        throw PropertyBadType();
    value = Form<Value>::take(reader);
}

} // namespace utils::properties
