#include "filesystem/Tree.h"
#include "register/Change.h"
#include "register/Lock.h"
#include "register/Register.h"
#include "register/Scopes.h"
#include "register/TypedAccess.h"

namespace utils::properties {

using filesystem::Name;
using filesystem::Tree;

namespace {

template <class Value>
void readLocked(Tree &tree, const std::string &name, Value &value) {
    const Name key(name);
    const Lock lock(*_Register::_mutex);
    readValue(tree, allTops, key, value);
}

template <class Value>
std::optional<RegisterScope> findValueIn(Tree &tree, const std::string &name, Value &value,
                                         std::optional<RegisterScope> only) {
    const Name key(name);
    Tops tops = topsOf(only);
    const Lock lock(*_Register::_mutex);
    while (const Tree::Entry entry = tree.findFirst(tops.first, tops.last, key)) {
        tops.first += entry.top + 1;
        if (entry.isProperty() && decode(tree.value(entry), value))
            return scopes[tops.first - 1 - scopeTops].value;
    }
    return std::nullopt;
}

/// Stores a value and notifies the callbacks. Returns false, with nothing changed, when the tree
/// cannot hold the name. Throws for a bad scope before anything else.
template <class Value>
bool writeLocked(_Register &reg, void *sender, const std::string &name, const Value &value,
                 RegisterScope scope) {
    const filesystem::Top &top = topOf(scope);
    const Name key(name);
    const std::size_t size = encodedSize(value);
    const Lock lock(*_Register::_mutex);
    Change change(reg, name);
    if (!placeValue(change.tree(), top, key, value, size))
        return false;
    change.notify(sender);
    return true;
}

template <class Value>
void writeOrThrow(_Register &reg, void *sender, const std::string &name, const Value &value,
                  RegisterScope scope) {
    if (!writeLocked(reg, sender, name, value, scope))
        throw Exception(name + " no such property.");
}

} // namespace

void _Register::_readString(const std::string &name, std::string &value) const {
    readLocked(tree(), name, value);
}

void _Register::_readNumber(const std::string &name, double &value) const {
    readLocked(tree(), name, value);
}

void _Register::_readInteger(const std::string &name, int &value) const {
    readLocked(tree(), name, value);
}

void _Register::_readBoolean(const std::string &name, bool &value) const {
    readLocked(tree(), name, value);
}

void _Register::_readStrings(const std::string &name, std::vector<std::string> &values) const {
    readLocked(tree(), name, values);
}

void _Register::_readNumbers(const std::string &name, std::vector<double> &values) const {
    readLocked(tree(), name, values);
}

void _Register::_readIntegers(const std::string &name, std::vector<int> &values) const {
    readLocked(tree(), name, values);
}

void _Register::_readBooleans(const std::string &name, std::vector<bool> &values) const {
    readLocked(tree(), name, values);
}

Type _Register::readPropertyType(const std::string &name, Type *elementType) const {
    const Name key(name);
    const Lock lock(*_mutex);
    return typeOf(tree(), allTops, key, elementType);
}

PropertyValue _Register::readAny(const std::string &name,
                                 std::optional<RegisterScope> scope) const {
    const Name key(name);
    const Tops tops = topsOf(scope);
    const Lock lock(*_mutex);
    return findAny(tree(), tops, key);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name, std::string &value,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, value, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name, double &value,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, value, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name, int &value,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, value, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name, bool &value,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, value, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name,
                                                  std::vector<std::string> &values,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, values, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name,
                                                  std::vector<double> &values,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, values, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name, std::vector<int> &values,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, values, scope);
}

std::optional<RegisterScope> _Register::findValue(const std::string &name,
                                                  std::vector<bool> &values,
                                                  std::optional<RegisterScope> scope) const {
    return findValueIn(tree(), name, values, scope);
}

void _Register::_writeString(void *sender, const std::string &name, const std::string &value,
                             RegisterScope scope) {
    if (!writeLocked(*this, sender, name, value, scope))
        throw Exception(_nameToPath(name, scope) + " no such property");
}

void _Register::_writeNumber(void *sender, const std::string &name, const double &value,
                             RegisterScope scope) {
    writeOrThrow(*this, sender, name, value, scope);
}

void _Register::_writeInteger(void *sender, const std::string &name, const int &value,
                              RegisterScope scope) {
    writeOrThrow(*this, sender, name, value, scope);
}

void _Register::_writeBoolean(void *sender, const std::string &name, const bool &value,
                              RegisterScope scope) {
    writeOrThrow(*this, sender, name, value, scope);
}

void _Register::_writeStrings(void *sender, const std::string &name,
                              const std::vector<std::string> &values, RegisterScope scope) {
    writeOrThrow(*this, sender, name, values, scope);
}

void _Register::_writeNumbers(void *sender, const std::string &name,
                              const std::vector<double> &values, RegisterScope scope) {
    writeOrThrow(*this, sender, name, values, scope);
}

void _Register::_writeIntegers(void *sender, const std::string &name,
                               const std::vector<int> &values, RegisterScope scope) {
    writeOrThrow(*this, sender, name, values, scope);
}

void _Register::_writeBooleans(void *sender, const std::string &name,
                               const std::vector<bool> &values, RegisterScope scope) {
    writeOrThrow(*this, sender, name, values, scope);
}

} // namespace utils::properties
