#include "register/Lock.h"
#include "register/Register.h"
#include "register/Value.h"

#include <utility>

namespace utils::properties {

template <class Value>
void _Register::readValue(const std::string &name, Value &value) const {
    const Lock lock(*_mutex);
    const std::string *bytes = locateValue(name);
    if (!bytes)
        throw PropertyBadType();
    decode(*bytes, value);
}

void _Register::_readString(const std::string &name, std::string &value) const {
    const Lock lock(*_mutex);
    const std::string *bytes = locateValue(name);
    if (!bytes)
        throw PropertyNotFound();
    decode(*bytes, value);
}

void _Register::_readNumber(const std::string &name, double &value) const {
    readValue(name, value);
}

void _Register::_readInteger(const std::string &name, int &value) const {
    readValue(name, value);
}

void _Register::_readBoolean(const std::string &name, bool &value) const {
    readValue(name, value);
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

/// Stores the bytes and tells the callbacks. The name is set aside before anything changes, so that
/// memory running out leaves the value and the marks as they were.
void _Register::storeValue(void *sender, const std::string &name, RegisterScope scope,
                           std::string bytes) {
    rootOf(scope);
    const Lock lock(*_mutex);
    std::set<std::string> changed;
    const bool report = !_changedProperties.empty() || hasCallbackFor(name);
    if (report)
        changed.insert(name);
    const char tag = bytes.front();
    if (!replaceValue(name, scope, bytes))
        throw Exception(tag == static_cast<char>(StringType)
                            ? _nameToPath(name, scope) + " no such property"
                            : name + " no such property.");
    if (report) {
        _changedProperties.merge(changed);
        notify(sender);
    }
}

void _Register::_writeString(void *sender, const std::string &name, const std::string &value,
                             RegisterScope scope) {
    storeValue(sender, name, scope, encode(value));
}

void _Register::_writeNumber(void *sender, const std::string &name, const double &value,
                             RegisterScope scope) {
    storeValue(sender, name, scope, encode(value));
}

void _Register::_writeInteger(void *sender, const std::string &name, const int &value,
                              RegisterScope scope) {
    storeValue(sender, name, scope, encode(value));
}

void _Register::_writeBoolean(void *sender, const std::string &name, const bool &value,
                              RegisterScope scope) {
    storeValue(sender, name, scope, encode(value));
}

} // namespace utils::properties
