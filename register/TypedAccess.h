#pragma once

#include "filesystem/Tree.h"
#include "register/PropertyValue.h"
#include "register/Scopes.h"
#include "register/Value.h"

#include <iterator>
#include <string>
#include <type_traits>
#include <variant>

/// Typed reads and writes of a tree, without a lock and without notification.
namespace utils::properties {

/// The first levels in which a read looks, in their order.
struct Tops {
    const filesystem::Top *first, *last;
};
inline constexpr Tops allTops = {std::begin(scopeTops), std::end(scopeTops)};

/// The first levels of all scopes, or of one. Throws `Exception` for a value that is not a scope.
inline Tops topsOf(std::optional<RegisterScope> only) {
    return only ? Tops{&topOf(*only), &topOf(*only) + 1} : allTops;
}

/// Returns the first entry of a name. Throws `PropertyNotFound`.
inline filesystem::Tree::Entry locate(filesystem::Tree &tree, const Tops &tops,
                                      const filesystem::Name &name) {
    const filesystem::Tree::Entry entry = tree.findFirst(tops.first, tops.last, name);
    if (!entry)
        throw PropertyNotFound();
    return entry;
}

/// Reads the first entry of a name. Throws `PropertyNotFound` and `PropertyBadType`; a string that
/// is a group counts as not found. `value` is then unchanged.
template <class Value>
void readValue(filesystem::Tree &tree, const Tops &tops, const filesystem::Name &name,
               Value &value) {
    const filesystem::Tree::Entry entry = locate(tree, tops, name);
    if (entry.isGroup() && std::is_same_v<Value, std::string>)
        throw PropertyNotFound();
    if (entry.isGroup() || !decode(tree.value(entry), value))
        throw PropertyBadType();
}

/// Stores a value of `encodedSize` bytes. Returns false, with nothing changed, when the tree cannot
/// hold the name.
template <class Value>
bool placeValue(filesystem::Tree &tree, const filesystem::Top &top, const filesystem::Name &name,
                const Value &value, std::size_t size) {
    char *bytes = name.isEmpty() ? nullptr : tree.place(top, name, size);
    if (bytes)
        encode(value, bytes);
    return bytes;
}

/// Returns the value in the bytes of a property. Throws `PropertyBadType` for bytes that are no
/// value of the register's types. `kind` is the first alternative to try.
template <std::size_t kind = 2>
PropertyValue anyValue(std::string_view bytes) {
    if (bytes.empty())
        return NoValue();
    if constexpr (kind < std::variant_size_v<PropertyValue>) {
        std::variant_alternative_t<kind, PropertyValue> value{};
        return decode(bytes, value) ? PropertyValue(std::move(value)) : anyValue<kind + 1>(bytes);
    }
    throw PropertyBadType();
}

/// See `_Register::readAny`. A group is passed over.
inline PropertyValue findAny(filesystem::Tree &tree, Tops tops, const filesystem::Name &name) {
    while (const auto entry = tree.findFirst(tops.first, tops.last, name)) {
        if (entry.isProperty())
            return anyValue(tree.value(entry));
        tops.first += entry.top + 1;
    }
    return {};
}

/// See `_Register::readPropertyType`.
inline Type typeOf(filesystem::Tree &tree, const Tops &tops, const filesystem::Name &name,
                   Type *elementType) {
    const filesystem::Tree::Entry entry = locate(tree, tops, name);
    if (entry.isGroup())
        throw PropertyBadType();
    ByteReader reader(tree.value(entry));
    std::uint8_t tag = 0, elementTag = 0;
    reader.take(tag);
    reader.take(elementTag);
    if (elementType && tag == ListType)
        *elementType = Type(elementTag);
    return Type(tag);
}

} // namespace utils::properties
