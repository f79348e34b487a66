#pragma once

#include "filesystem/Tree.h"
#include "register/Scopes.h"
#include "register/Value.h"

#include <iterator>
#include <string>
#include <type_traits>

/// Typed reads and writes of a tree, without a lock and without notification.
namespace utils::properties {

/// The first levels in which a read looks, in their order.
struct Tops {
    const filesystem::Top *first, *last;
};
inline constexpr Tops allTops = {std::begin(scopeTops), std::end(scopeTops)};

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
