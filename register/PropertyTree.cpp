#include "filesystem/Tree.h"
#include "register/Lock.h"
#include "register/Register.h"

#include <memory>

namespace utils::properties {

namespace tree = filesystem::tree;

namespace {

constexpr RegisterScope lookupOrder[] = {UserScope, GlobalScope, TempScope};

} // namespace

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
