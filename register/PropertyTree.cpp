#include "filesystem/Tree.h"
#include "filesystem/Utf8.h"
#include "register/Change.h"
#include "register/Lock.h"
#include "register/Register.h"
#include "register/Scopes.h"

#include <algorithm>

namespace utils::properties {

using filesystem::Name;
using filesystem::Top;
using filesystem::toQString;
using filesystem::Tree;

std::string _Register::_nameToPath(const std::string &name, RegisterScope scope) const {
    return std::string(scopes[indexOf(scope)].root) += name;
}

std::string _Register::_pathToName(const std::string &path) const {
    const std::size_t start = path.find_first_not_of('/');
    if (start != std::string::npos)
        for (const Scope &scope : scopes) {
            const std::string_view prefix = scope.root.substr(1);
            if (path.compare(start, prefix.size(), prefix) == 0)
                return path.substr(start + prefix.size());
        }
    throw Exception("Bad scope value.");
}

std::string _Register::_locateProperty(const std::string &name) const {
    const Tree::Entry entry =
        tree().findFirst(std::begin(scopeTops), std::end(scopeTops), Name(name));
    if (!entry)
        throw PropertyNotFound();
    return _nameToPath(name, scopes[entry.top].value);
}

void _Register::addGroup(const std::string &name, RegisterScope scope) {
    const Top &top = topOf(scope);
    const Lock lock(*_mutex);
    tree().addGroup(top, Name(name));
}

void _Register::addProperty(const std::string &name, RegisterScope scope) {
    const Top &top = topOf(scope);
    const Name key(name);
    const Lock lock(*_mutex);
    if (!key.isEmpty() && !tree().find(top, key))
        tree().place(top, key, 0);
}

void _Register::delProperty(const std::string &name, RegisterScope scope) {
    const Top &top = topOf(scope);
    const Name key(name);
    const Lock lock(*_mutex);
    if (!key.isEmpty())
        tree().remove(top, key);
}

void _Register::resetProperty(void *sender, const std::string &name, RegisterScope scope) {
    const Top &top = topOf(scope);
    const Name key(name);
    const Lock lock(*_mutex);
    if (!tree().find(top, key).isProperty())
        return;
    Change change(*this, name);
    tree().remove(top, key);
    change.notify(sender);
}

void _Register::removeGroup(void *sender, const std::string &name, RegisterScope scope) {
    const Top &top = topOf(scope);
    const Name key(name);
    const Lock lock(*_mutex);
    const Tree::Entry entry = tree().find(top, key);
    if (!entry || (key.isEmpty() && !entry.isGroup())) // a file can stand in place of the root
        return;
    std::set<std::string> names;
    if (entry.isGroup())
        names = tree().leafNames(entry.group);
    else
        names.insert(key.normal());
    if (key.isEmpty())
        Tree::Builder(tree(), 0, entry.group).moveIntoTree();
    else
        tree().remove(top, key);
    _changedProperties.merge(names);
    notify(sender);
}

bool _Register::groupExists(const std::string &name, RegisterScope scope) const {
    const Top &top = topOf(scope);
    const Lock lock(*_mutex);
    return tree().find(top, Name(name)).isGroup();
}

bool _Register::groupExists(const std::string &name) const {
    const Lock lock(*_mutex);
    return std::any_of(std::begin(scopes), std::end(scopes),
                       [&](const Scope &scope) { return groupExists(name, scope.value); });
}

bool _Register::propertyExists(const std::string &name, RegisterScope scope) const {
    const Top &top = topOf(scope);
    const Lock lock(*_mutex);
    return static_cast<bool>(tree().find(top, Name(name)));
}

bool _Register::propertyExists(const std::string &name) const {
    const Name key(name);
    const Lock lock(*_mutex);
    return static_cast<bool>(tree().findFirst(std::begin(scopeTops), std::end(scopeTops), key));
}

std::set<filesystem::DirEntry> _Register::propertyList(const std::string &name,
                                                       RegisterScope scope) const {
    const QString path = toQString(_nameToPath(name, scope));
    const Lock lock(*_mutex);
    if (!isDirectory(path))
        throw Exception(name + " does not exist or is not a group.");
    return getFileList(path);
}

filesystem::FileHandle &_Register::openProperty(const std::string &name, FileSystemMode mode,
                                                RegisterScope scope) {
    const Lock lock(*_mutex);
    const std::string group = filesystem::dirName(toQString(name)).toStdString();
    if (!groupExists(group))
        throw Exception("Group " + group + " does not exist !");
    const QString path = toQString(_nameToPath(name, scope));
    filesystem::FileHandle *handle = nullptr;
    if (!open(path, &handle, mode))
        throw Exception("Cannot open property named " + name + " !");
    return *handle;
}

void _Register::closeProperty(filesystem::FileHandle &handle) {
    const Lock lock(*_mutex);
    close(&handle);
}

} // namespace utils::properties
