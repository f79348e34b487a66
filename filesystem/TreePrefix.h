#pragma once

#include "filesystem/Tree.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace filesystem {

/// Makes room for one more element. Doubles the capacity, so that a series of calls stays linear.
template <class Element>
void reserveOne(std::vector<Element> &elements) {
    if (elements.size() == elements.capacity())
        elements.reserve(std::max<std::size_t>(4, 2 * elements.size()));
}

/// The path of a group, for hashing the group and its members. It follows a walk through the tree
/// and changes only where the path does, so deep groups cost no more than others.
class Tree::Prefix {
public:
    Prefix(const Tree &tree, GroupId group) : _tree(tree) {
        if (group == root)
            return;
        GroupId top = group;
        for (_levels = 1; tree._groups[top].parent != root; ++_levels) {
            _length += tree._groups[top].name().size() + 1;
            top = tree._groups[top].parent;
        }
        setTop(top);
        char *end = _path + _length;
        for (GroupId at = group; at != top; at = tree._groups[at].parent) {
            const std::string_view name = tree._groups[at].name();
            *--end = '/';
            name.copy(end -= name.size(), name.size());
        }
    }

    /// The first level, empty for the root, and the levels below it.
    std::string_view top() const { return _top; }
    std::string_view name() const { return {_path, _length > 0 ? _length - 1 : 0}; }

    std::uint32_t hash() const { return _topHash ^ Name(name()).hash; }
    std::uint32_t hashOf(std::string_view member) {
        if (_levels == 0)
            return pathHash(_tree.top(member), Name({}));
        member.copy(_path + _length, member.size());
        return _topHash ^ Name({_path, _length + member.size()}).hash;
    }

    /// Moves on from a group to the next one in a walk of the groups below `top`; see `Tree::next`.
    GroupId next(GroupId group, GroupId top) {
        const GroupId after = _tree.next(group, top);
        if (after != none) {
            for (; group != _tree._groups[after].parent; group = _tree._groups[group].parent)
                leave(group);
            enter(after);
        }
        return after;
    }

private:
    void setTop(GroupId group) {
        _top = _tree._groups[group].name();
        _topHash = _tree.top(_top).hash;
    }
    void enter(GroupId group) {
        if (_levels++ == 0)
            return setTop(group);
        const std::string_view name = _tree._groups[group].name();
        _length += name.copy(_path + _length, name.size());
        _path[_length++] = '/';
    }
    void leave(GroupId group) {
        if (--_levels > 0)
            _length -= _tree._groups[group].name().size() + 1;
    }

    const Tree &_tree;
    std::string_view _top;
    std::uint32_t _topHash = 0;
    int _levels = 0;
    std::size_t _length = 0; ///< including a "/" at the end, unless it is empty
    char _path[maxPathSize];
};

} // namespace filesystem
