#include "filesystem/TreePrefix.h"

#include <utility>

namespace filesystem {

Tree::Builder::Builder(Tree &tree, std::size_t count, GroupId target)
    : _tree(tree), _target(target), _announced(count) {
    tree.reserveGroups(count + 1);
    tree._index.reserve(count);
    Group first; // represents the target until `moveIntoTree`
    first.text = tree._groups[target].text;
    first.hasPath = tree._groups[target].hasPath;
    _first = tree.store(std::move(first));
}

Tree::Builder::~Builder() {
    _tree.free(_first);
}

Tree::GroupId Tree::Builder::add(GroupId parent, std::string_view name) {
    reserveOne(_tree._groups[parent].groups);
    if (++_count > _announced)
        _tree._index.reserve(_count);
    const GroupId id = _tree.newGroup(name, parent);
    _tree.attach(id, parent);
    return id;
}

void Tree::Builder::setProperties(GroupId id, Block properties) {
    Group &group = _tree._groups[id];
    group.block = std::move(properties);
    group.isIndexed = false;
    ++_tree._unindexed;
}

void Tree::Builder::moveIntoTree() noexcept {
    _tree.changed();
    Prefix path(_tree, _target);
    _tree._openFiles.detach(path.top(), path.name());
    _tree.removeContent(_target);
    Group &from = _tree._groups[_first], &to = _tree._groups[_target];
    std::swap(from.groups, to.groups);
    std::swap(from.block, to.block);
    std::swap(from.isIndexed, to.isIndexed);
    std::swap(from.groupsAreSorted, to.groupsAreSorted);
    for (const GroupId child : to.groups)
        _tree._groups[child].parent = _target;
    GroupId id = _target;
    while ((id = path.next(id, _target)) != none)
        _tree._index.insert({path.hash(), id, Index::none});
}

} // namespace filesystem
