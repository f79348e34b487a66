#pragma once

#include "filesystem/ByteReader.h"
#include "register/Register.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The stored bytes of a property: the tag of its type, then the value. docs/file-format.md
/// describes them. `encodedSize` and `encode` write them, `decode` reads them.
namespace utils::properties {

using filesystem::ByteReader;

/// Returns a length or a count as it is stored: as a non-negative `int`. Throws `std::length_error`
/// when it does not fit.
inline std::uint32_t toLength(std::size_t size) {
    if (size > INT_MAX)
        throw std::length_error("The value is too large for a property.");
    return static_cast<std::uint32_t>(size);
}

/// Writes to memory without checking its size. The caller provides `encodedSize` bytes.
class ByteWriter {
public:
    explicit ByteWriter(char *bytes) : _bytes(bytes) {}

    template <class Unsigned>
    void put(Unsigned value) {
        filesystem::littleEndian::put(_bytes, value);
        _bytes += sizeof value;
    }
    void put(std::string_view bytes) { _bytes += bytes.copy(_bytes, bytes.size()); }
    void put(Type tag) { put(static_cast<std::uint8_t>(tag)); }

private:
    char *_bytes;
};

/// Takes the next byte. Returns true when it is this tag.
inline bool takeTag(ByteReader &reader, Type tag) {
    std::uint8_t byte = 0;
    return reader.take(byte) && byte == tag;
}

/// The table of the types: the tag, the encoded size of a value without the tag, how it is written,
/// and how it is read as a `View`, which owns nothing. `inMemory` means that the encoded bytes are
/// those of the value in this machine's memory.
template <class Value>
struct Form;

constexpr bool isLittleEndian = filesystem::littleEndian::isHostOrder;

template <>
struct Form<std::string> {
    using View = std::string_view;
    static constexpr Type tag = StringType;
    static constexpr bool inMemory = false;
    static std::size_t size(std::string_view value) {
        return sizeof(std::uint32_t) + toLength(value.size());
    }
    static void put(ByteWriter &writer, std::string_view value) {
        writer.put(static_cast<std::uint32_t>(value.size()));
        writer.put(value);
    }
    static bool take(ByteReader &reader, View &value) {
        std::uint32_t length = 0;
        return reader.take(length) && length <= INT_MAX && reader.take(length, value);
    }
};

template <>
struct Form<double> {
    using View = double;
    static constexpr Type tag = NumberType;
    static constexpr bool inMemory = isLittleEndian;
    static std::size_t size(double) { return sizeof(double); }
    static void put(ByteWriter &writer, double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        writer.put(bits);
    }
    static bool take(ByteReader &reader, View &value) {
        std::uint64_t bits = 0;
        if (!reader.take(bits))
            return false;
        std::memcpy(&value, &bits, sizeof value);
        return true;
    }
};

template <>
struct Form<int> {
    using View = int;
    static constexpr Type tag = IntegerType;
    static constexpr bool inMemory = isLittleEndian;
    static std::size_t size(int) { return sizeof(std::uint32_t); }
    static void put(ByteWriter &writer, int value) {
        writer.put(static_cast<std::uint32_t>(value));
    }
    static bool take(ByteReader &reader, View &value) {
        std::uint32_t bits = 0;
        if (!reader.take(bits))
            return false;
        value = static_cast<int>(bits);
        return true;
    }
};

template <>
struct Form<bool> {
    using View = bool;
    static constexpr Type tag = BooleanType;
    static constexpr bool inMemory = false;
    static std::size_t size(bool) { return 1; }
    static void put(ByteWriter &writer, bool value) { writer.put(std::uint8_t{value}); }
    static bool take(ByteReader &reader, View &value) {
        std::uint8_t byte = 0;
        if (!reader.take(byte))
            return false;
        value = byte != 0;
        return true;
    }
};

/// Returns the size in bytes of a property with this value. Throws `std::length_error` when the
/// value is too large.
template <class Value>
std::size_t encodedSize(const Value &value) {
    return 1 + Form<Value>::size(value);
}

template <class Value>
void encode(const Value &value, char *bytes) {
    ByteWriter writer(bytes);
    writer.put(Form<Value>::tag);
    Form<Value>::put(writer, value);
}

template <class Element>
std::size_t encodedSize(const std::vector<Element> &values) {
    std::size_t size = 2 + sizeof toLength(values.size());
    if constexpr (Form<Element>::inMemory)
        return size + values.size() * sizeof(Element);
    for (const auto &value : values)
        size += Form<Element>::size(value);
    return size;
}

template <class Element>
void encode(const std::vector<Element> &values, char *bytes) {
    ByteWriter writer(bytes);
    writer.put(ListType);
    writer.put(Form<Element>::tag);
    writer.put(static_cast<std::uint32_t>(values.size()));
    if constexpr (Form<Element>::inMemory)
        writer.put(
            {reinterpret_cast<const char *>(values.data()), values.size() * sizeof(Element)});
    else
        for (const auto &value : values)
            Form<Element>::put(writer, value);
}

/// Reads the bytes of a property. Returns false, with `value` unchanged, when they are of another
/// type or cut short.
template <class Value>
bool decode(std::string_view bytes, Value &value) {
    ByteReader reader(bytes);
    typename Form<Value>::View view;
    if (!takeTag(reader, Form<Value>::tag) || !Form<Value>::take(reader, view))
        return false;
    value = view;
    return true;
}

template <class Element>
bool decode(std::string_view bytes, std::vector<Element> &values) {
    using ElementForm = Form<Element>;
    ByteReader reader(bytes);
    std::uint32_t stored = 0;
    if (!takeTag(reader, ListType) || !takeTag(reader, ElementForm::tag) || !reader.take(stored))
        return false;
    const std::size_t count = stored > INT_MAX ? 0 : stored; // a negative count
    if constexpr (ElementForm::inMemory) {
        std::string_view elements;
        if (count > SIZE_MAX / sizeof(Element) || !reader.take(count * sizeof(Element), elements))
            return false;
        values.resize(count);
        if (count > 0)
            std::memcpy(values.data(), elements.data(), elements.size());
    } else {
        // Checks all elements before it allocates, so that a wrong count cannot cost memory.
        typename ElementForm::View view;
        ByteReader ahead = reader;
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
