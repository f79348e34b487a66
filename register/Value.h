#pragma once

#include "filesystem/LittleEndian.h"
#include "register/Register.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The bytes of a property's file: the tag of its type, then the value; docs/file-format.md
/// describes them. `encode` makes them, `decode` reads them.
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

/// Takes a value's parts off the front of its bytes. Each take is false when the rest cannot hold
/// it.
class ValueReader {
public:
    explicit ValueReader(std::string_view rest) : _rest(rest) {}

    bool takeBytes(std::size_t count, std::string_view &bytes) {
        if (count > _rest.size())
            return false;
        bytes = _rest.substr(0, count);
        _rest.remove_prefix(count);
        return true;
    }
    bool takeInt(std::int32_t &value) {
        std::string_view bytes;
        if (!takeBytes(sizeof value, bytes))
            return false;
        value = static_cast<std::int32_t>(littleEndian::get<std::uint32_t>(bytes.data()));
        return true;
    }
    /// True when the next byte is that tag, which is taken then.
    bool takeTag(Type tag) {
        if (_rest.empty() || _rest.front() != static_cast<char>(tag))
            return false;
        _rest.remove_prefix(1);
        return true;
    }

private:
    std::string_view _rest;
};

/// What tells the types apart: the tag, how one value is written, and how it is read as a `View`,
/// which owns nothing. `inMemory` says that its bytes are those of this machine's own
/// representation.
template <class Value>
struct Form;

constexpr bool isLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

template <>
struct Form<std::string> {
    using View = std::string_view;
    static constexpr Type tag = StringType;
    static constexpr bool inMemory = false;
    static std::size_t size(std::string_view value) { return sizeof(std::int32_t) + value.size(); }
    static void put(std::string &bytes, std::string_view value) {
        putInt(bytes, toInt(value.size()));
        bytes += value;
    }
    static bool take(ValueReader &reader, View &value) {
        std::int32_t length = 0;
        return reader.takeInt(length) && length >= 0 &&
               reader.takeBytes(static_cast<std::size_t>(length), value);
    }
};

template <>
struct Form<double> {
    using View = double;
    static constexpr Type tag = NumberType;
    static constexpr bool inMemory = isLittleEndian;
    static std::size_t size(double) { return sizeof(double); }
    static void put(std::string &bytes, double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        char buffer[sizeof bits];
        littleEndian::put(buffer, bits);
        bytes.append(buffer, sizeof buffer);
    }
    static bool take(ValueReader &reader, View &value) {
        std::string_view bytes;
        if (!reader.takeBytes(sizeof value, bytes))
            return false;
        const auto bits = littleEndian::get<std::uint64_t>(bytes.data());
        std::memcpy(&value, &bits, sizeof value);
        return true;
    }
};

template <>
struct Form<int> {
    using View = int;
    static constexpr Type tag = IntegerType;
    static constexpr bool inMemory = isLittleEndian;
    static std::size_t size(int) { return sizeof(std::int32_t); }
    static void put(std::string &bytes, int value) { putInt(bytes, value); }
    static bool take(ValueReader &reader, View &value) { return reader.takeInt(value); }
};

template <>
struct Form<bool> {
    using View = bool;
    static constexpr Type tag = BooleanType;
    static constexpr bool inMemory = false;
    static std::size_t size(bool) { return 1; }
    static void put(std::string &bytes, bool value) { bytes += value ? '\1' : '\0'; }
    static bool take(ValueReader &reader, View &value) {
        std::string_view byte;
        if (!reader.takeBytes(1, byte))
            return false;
        value = byte.front() != '\0';
        return true;
    }
};

/// The content of the file of a property with this value.
template <class Value>
std::string encode(const Value &value) {
    std::string bytes;
    bytes.reserve(1 + Form<Value>::size(value));
    bytes += static_cast<char>(Form<Value>::tag);
    Form<Value>::put(bytes, value);
    return bytes;
}

template <class Element>
std::string encode(const std::vector<Element> &values) {
    using ElementForm = Form<Element>;
    const std::int32_t count = toInt(values.size());
    std::size_t size = 2 + sizeof count;
    for (const auto &value : values)
        size += ElementForm::size(value);
    std::string bytes;
    bytes.reserve(size);
    bytes += static_cast<char>(ListType);
    bytes += static_cast<char>(ElementForm::tag);
    putInt(bytes, count);
    if constexpr (ElementForm::inMemory)
        bytes.append(reinterpret_cast<const char *>(values.data()),
                     values.size() * sizeof(Element));
    else
        for (const auto &value : values)
            ElementForm::put(bytes, value);
    return bytes;
}

/// Reads such a content; false, and `value` untouched, when it is of another type or cut short.
template <class Value>
bool decode(std::string_view bytes, Value &value) {
    ValueReader reader(bytes);
    typename Form<Value>::View view;
    if (!reader.takeTag(Form<Value>::tag) || !Form<Value>::take(reader, view))
        return false;
    value = view;
    return true;
}

template <class Element>
bool decode(std::string_view bytes, std::vector<Element> &values) {
    using ElementForm = Form<Element>;
    ValueReader reader(bytes);
    std::int32_t stored = 0;
    if (!reader.takeTag(ListType) || !reader.takeTag(ElementForm::tag) || !reader.takeInt(stored))
        return false;
    const std::size_t count = stored < 0 ? 0 : static_cast<std::size_t>(stored);
    if constexpr (ElementForm::inMemory) {
        std::string_view elements;
        if (!reader.takeBytes(count * sizeof(Element), elements))
            return false;
        values.resize(count);
        if (count > 0)
            std::memcpy(values.data(), elements.data(), elements.size());
    } else {
        // First through all of them, so that nothing is allocated for elements that are not there.
        typename ElementForm::View view;
        ValueReader ahead = reader;
        for (std::size_t i = 0; i < count; ++i)
            if (!ElementForm::take(ahead, view))
                return false;
        std::vector<Element> all;
        all.reserve(count);
        for (std::size_t i = 0; i < count && ElementForm::take(reader, view); ++i)
            all.emplace_back(view);
        values.swap(all);
    }
    return true;
}

} // namespace utils::properties
