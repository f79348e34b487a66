#include "filesystem/Tree.h"
#include "filesystem/Utf8.h"
#include "register/Lock.h"
#include "register/Register.h"

#include <iterator>
#include <memory>

namespace utils::properties {

namespace tree = filesystem::tree;
using filesystem::toQString;

std::string_view _Register::rootOf(RegisterScope scope) {
    switch (scope) {
    case UserScope:
        return "/user/";
    case TempScope:
        return "/temp/";
    case GlobalScope:
        return "/global/";
    }
    throw Exception("Bad scope value.");
}

/// Null when the application has removed the scope's root through the inherited operations.
tree::Directory *_Register::scopeRoot(RegisterScope scope) const {
    return tree::findDirectory(root(), rootOf(scope));
}

std::string _Register::_nameToPath(const std::string &name, RegisterScope scope) const {
    return std::string(rootOf(scope)) += name;
}

std::string _Register::_pathToName(const std::string &path) const {
    const std::size_t start = path.find_first_not_of('/');
    if (start != std::string::npos)
        for (const RegisterScope scope : {TempScope, UserScope, GlobalScope}) {
            const std::string_view prefix = rootOf(scope).substr(1);
            if (path.compare(start, prefix.size(), prefix) == 0)
                return path.substr(start + prefix.size());
        }
    throw Exception("Bad scope value.");
}

std::string _Register::_locateProperty(const std::string &name) const {
    for (const RegisterScope scope : lookupOrder)
        if (tree::Directory *directory = scopeRoot(scope);
            directory && tree::find(*directory, name))
            return _nameToPath(name, scope);
    throw PropertyNotFound();
}

/// The bytes of the property that a read of the name finds; null when it finds a group.
const std::string *_Register::locateValue(const std::string &name) const {
    for (const RegisterScope scope : lookupOrder)
        if (tree::Directory *directory = scopeRoot(scope))
            if (const tree::Node *node = tree::find(*directory, name))
                return node->isDirectory ? nullptr : &static_cast<const tree::File *>(node)->bytes;
    throw PropertyNotFound();
}

void _Register::addGroup(const std::string &name, RegisterScope scope) {
    const Lock lock(*_mutex);
    tree::add(root(), _nameToPath(name, scope), std::make_shared<tree::Directory>(),
              tree::Parents::Create);
}

void _Register::addProperty(const std::string &name, RegisterScope scope) {
    const std::string path = _nameToPath(name, scope);
    const Lock lock(*_mutex);
    tree::add(root(), path, std::make_shared<tree::File>(), tree::Parents::Create);
}

void _Register::delProperty(const std::string &name, RegisterScope scope) {
    const std::string_view scopePath = rootOf(scope);
    const Lock lock(*_mutex);
    if (tree::Directory *directory = tree::findDirectory(root(), scopePath))
        tree::remove(*directory, name);
}

bool _Register::groupExists(const std::string &name, RegisterScope scope) const {
    const Lock lock(*_mutex);
    tree::Directory *directory = scopeRoot(scope);
    return directory && tree::findDirectory(*directory, name);
}

bool _Register::groupExists(const std::string &name) const {
    const Lock lock(*_mutex);
    return groupExists(name, GlobalScope) || groupExists(name, UserScope) ||
           groupExists(name, TempScope);
}

bool _Register::propertyExists(const std::string &name, RegisterScope scope) const {
    const Lock lock(*_mutex);
    tree::Directory *directory = scopeRoot(scope);
    return directory && tree::find(*directory, name);
}

bool _Register::propertyExists(const std::string &name) const {
    const Lock lock(*_mutex);
    return propertyExists(name, GlobalScope) || propertyExists(name, UserScope) ||
           propertyExists(name, TempScope);
}

std::set<filesystem::DirEntry> _Register::propertyList(const std::string &name,
                                                       RegisterScope scope) const {
    const QString path = toQString(_nameToPath(name, scope));
    const Lock lock(*_mutex);
    if (!isDirectory(path))
        throw Exception(name + " does not exist or is not a group.");
    std::set<filesystem::DirEntry> entries = getFileList(path);
    for (auto entry = entries.begin(); entry != entries.end();) {
        const bool isMember =
            entry->name != QLatin1String(".") && entry->name != QLatin1String("..");
        entry = isMember ? std::next(entry) : entries.erase(entry);
    }
    return entries;
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

/// Makes `bytes` the content of the property, which is created where it is missing. False, and
/// nothing changed, where the tree has no room for it.
bool _Register::replaceValue(const std::string &name, RegisterScope scope, std::string &bytes) {
    if (tree::Directory *directory = scopeRoot(scope))
        if (tree::File *file = tree::findFile(*directory, name)) {
            file->bytes.swap(bytes);
            return true;
        }
    return tree::add(root(), _nameToPath(name, scope),
                     std::make_shared<tree::File>(std::string_view(), std::move(bytes)),
                     tree::Parents::Create);
}

} // namespace utils::properties
