#include "register/Callbacks.h"
#include "register/Lock.h"
#include "register/Register.h"
#include "register/Value.h"

#include "filesystem/Tree.h"

#include <type_traits>

namespace utils::properties {

namespace tree = filesystem::tree;

template <class WhenGroup, class Value>
void _Register::readValue(const std::string &name, Value &value) const {
    const Lock lock(*_mutex);
    const std::string *bytes = locateValue(name);
    if (!bytes)
        throw WhenGroup();
    if (!decode(*bytes, value))
        throw PropertyBadType();
}

void _Register::_readString(const std::string &name, std::string &value) const {
    readValue<PropertyNotFound>(name, value);
}

void _Register::_readNumber(const std::string &name, double &value) const {
    readValue<PropertyBadType>(name, value);
}

void _Register::_readInteger(const std::string &name, int &value) const {
    readValue<PropertyBadType>(name, value);
}

void _Register::_readBoolean(const std::string &name, bool &value) const {
    readValue<PropertyBadType>(name, value);
}

void _Register::_readStrings(const std::string &name, std::vector<std::string> &values) const {
    readValue<PropertyBadType>(name, values);
}

void _Register::_readNumbers(const std::string &name, std::vector<double> &values) const {
    readValue<PropertyBadType>(name, values);
}

void _Register::_readIntegers(const std::string &name, std::vector<int> &values) const {
    readValue<PropertyBadType>(name, values);
}

void _Register::_readBooleans(const std::string &name, std::vector<bool> &values) const {
    readValue<PropertyBadType>(name, values);
}

Type _Register::readPropertyType(const std::string &name, Type *elementType) const {
    const Lock lock(*_mutex);
    const std::string *bytes = locateValue(name);
    if (!bytes)
        throw PropertyBadType();
    const auto typeAt = [bytes](std::size_t position) {
        return Type(position < bytes->size() ? static_cast<unsigned char>((*bytes)[position]) : 0);
    };
    if (elementType && typeAt(0) == ListType)
        *elementType = typeAt(1);
    return typeAt(0);
}

namespace {

template <class Value>
bool findIn(tree::Directory *scopeRoot, const std::string &name, Value &value) {
    const tree::File *file = scopeRoot ? tree::findFile(*scopeRoot, name) : nullptr;
    return file && decode(file->bytes, value);
}

} // namespace

template <class Value>
bool _Register::findValue(const std::string &name, Value &value, RegisterScope scope) const {
    const Lock lock(*_mutex);
    return findIn(scopeRoot(scope), name, value);
}

template <class Value>
std::optional<RegisterScope> _Register::findValue(const std::string &name, Value &value) const {
    const Lock lock(*_mutex);
    for (const RegisterScope scope : lookupOrder)
        if (findIn(scopeRoot(scope), name, value))
            return scope;
    return std::nullopt;
}

#define INSTANTIATE(Value)                                                                         \
    template bool _Register::findValue(const std::string &, Value &, RegisterScope) const;         \
    template std::optional<RegisterScope> _Register::findValue(const std::string &, Value &) const;
INSTANTIATE(std::string)
INSTANTIATE(double)
INSTANTIATE(int)
INSTANTIATE(bool)
INSTANTIATE(std::vector<std::string>)
INSTANTIATE(std::vector<double>)
INSTANTIATE(std::vector<int>)
INSTANTIATE(std::vector<bool>)
#undef INSTANTIATE

/// Makes a change of the tree and tells it. The name is set aside before anything changes, so that
/// memory running out leaves the tree and the marks as they were.
template <class Change>
void _Register::change(void *sender, const std::string &name, Change makeChange) {
    std::set<std::string> changed;
    if (!_changedProperties.empty() || _callbacks->hears(name))
        changed.insert(name);
    makeChange();
    if (changed.empty())
        return;
    _changedProperties.merge(changed);
    notify(sender);
}

/// Stores the value and tells the callbacks. A bad scope is refused before all else.
template <class Value>
void _Register::writeValue(void *sender, const std::string &name, const Value &value,
                           RegisterScope scope) {
    rootOf(scope);
    std::string bytes = encode(value);
    const Lock lock(*_mutex);
    change(sender, name, [&] {
        if (replaceValue(name, scope, bytes))
            return;
        if constexpr (std::is_same_v<Value, std::string>)
            throw Exception(_nameToPath(name, scope) + " no such property");
        else
            throw Exception(name + " no such property.");
    });
}

void _Register::_writeString(void *sender, const std::string &name, const std::string &value,
                             RegisterScope scope) {
    writeValue(sender, name, value, scope);
}

void _Register::_writeNumber(void *sender, const std::string &name, const double &value,
                             RegisterScope scope) {
    writeValue(sender, name, value, scope);
}

void _Register::_writeInteger(void *sender, const std::string &name, const int &value,
                              RegisterScope scope) {
    writeValue(sender, name, value, scope);
}

void _Register::_writeBoolean(void *sender, const std::string &name, const bool &value,
                              RegisterScope scope) {
    writeValue(sender, name, value, scope);
}

void _Register::_writeStrings(void *sender, const std::string &name,
                              const std::vector<std::string> &values, RegisterScope scope) {
    writeValue(sender, name, values, scope);
}

void _Register::_writeNumbers(void *sender, const std::string &name,
                              const std::vector<double> &values, RegisterScope scope) {
    writeValue(sender, name, values, scope);
}

void _Register::_writeIntegers(void *sender, const std::string &name,
                               const std::vector<int> &values, RegisterScope scope) {
    writeValue(sender, name, values, scope);
}

void _Register::_writeBooleans(void *sender, const std::string &name,
                               const std::vector<bool> &values, RegisterScope scope) {
    writeValue(sender, name, values, scope);
}

void _Register::resetProperty(void *sender, const std::string &name, RegisterScope scope) {
    const Lock lock(*_mutex);
    tree::Directory *directory = scopeRoot(scope);
    if (directory && tree::findFile(*directory, name))
        change(sender, name, [&] { tree::remove(*directory, name); });
}

} // namespace utils::properties
