#pragma once

#include "filesystem/Block.h"
#include "filesystem/Index.h"
#include "filesystem/OpenFiles.h"
#include "filesystem/Path.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace filesystem {

/// The tree in memory. `RAMFileSystem` is its face for `QString`; the register uses it directly, so
/// that a read or a write converts and copies nothing.
///
/// A group is a small record; its properties lie in one `Block`. One `Index` finds both by the hash
/// of their whole path, so a lookup costs no walk from level to level; the hit is then compared
/// with the path, from the leaf up. The properties of a loaded group enter the index when something
/// is first looked for in that group.
///
/// Names are given as the first level (`Top`, one component) and the levels below it (`Name`), in
/// any spelling; the tree stores them in normal form.
///
/// `place`, `addGroup`, `remove` and `Builder::moveIntoTree` change the tree, and each calls
/// `changed` when it does. A call that throws has changed nothing; memory is reserved before
/// anything changes. Lookups may add to the index, and `sort` and `members` move properties, so
/// they are not for several threads at once. Nothing here recurses.
class Tree {
public:
    using GroupId = std::uint32_t;
    static constexpr GroupId none = Index::none;
    static constexpr GroupId root = 0;

    /// What is at a path: nothing, a group, or a property. Valid until the tree changes.
    struct Entry {
        GroupId group = none; ///< the group itself, or the one that holds the property
        std::uint32_t offset = Index::none; ///< of a property in its group's block
        std::uint32_t top = 0;              ///< which of the first levels it was found below

        explicit operator bool() const { return group != none; }
        bool isGroup() const { return group != none && offset == Index::none; }
        bool isProperty() const { return offset != Index::none; }
    };

    Tree();

    /// Keeps the entries of equal names below these first levels side by side in the index, so that
    /// looking a name up below all of them costs little more than below one. Their hashes must be
    /// different small numbers, the tree must still be empty, and the array must outlive it.
    void keepTogether(const Top *first, const Top *last);
    /// A first level as this tree hashes it.
    Top top(std::string_view name) const;

    Entry find(const Top &top, const Name &name) { return findFirst(&top, &top + 1, name); }
    /// The same below several first levels; the first of them that holds the name wins.
    Entry findFirst(const Top *first, const Top *last, const Name &name);
    /// The bytes of a property.
    std::string_view value(const Entry &property) const {
        return _groups[property.group].block.value(property.offset);
    }

    /// Makes a property hold `size` bytes and returns them, to be filled in at once. The property
    /// and the groups above it are created where they are missing. Null, and nothing changed, when
    /// the name is a group, a property is above it, or a level is not allowed. Throws
    /// `std::length_error` when a group would hold more than 4 GiB.
    char *place(const Top &top, const Name &name, std::size_t size);
    /// Creates a group and the groups above it. False, and nothing changed, when it exists or
    /// cannot be created.
    bool addGroup(const Top &top, const Name &name);
    /// Removes a property, or a group with all that is in it; false when there is none.
    bool remove(const Top &top, const Name &name);

    struct Member {
        std::string_view name;
        bool isGroup;
    };
    /// The members of a group: its properties in the order of the bytes of their names, then its
    /// groups in theirs. Valid until the tree changes.
    std::vector<Member> members(GroupId group);

    /// The number of levels of a group's path, and of the bytes of their names.
    struct PathSize {
        int levels;
        std::size_t bytes; ///< with a "/" behind each level
    };
    PathSize pathSize(GroupId group) const;

    // For the register file. Groups are visited from the top down, each before its own groups.

    /// Puts the properties and the groups of a group in the order of their names.
    void sort(GroupId group);
    std::string_view name(GroupId group) const { return _groups[group].name(); }
    const Block &properties(GroupId group) const { return _groups[group].block; }
    std::size_t groupCount(GroupId group) const { return _groups[group].groups.size(); }
    /// The group after `group` in a walk of what is below `top`; `none` at the end.
    GroupId next(GroupId group, GroupId top) const;

    /// The number of changes so far.
    std::uint64_t changes() const { return _changes; }

    /// The files that are open for writing. They are detached when they are removed.
    OpenFiles &openFiles() { return _openFiles; }

    /// A new content of a group, under construction beside the tree. It is freed unless it is moved
    /// into the tree.
    class Builder {
    public:
        /// Makes room for `count` groups, which are to replace all that is in `target`.
        Builder(Tree &tree, std::size_t count, GroupId target);
        ~Builder();
        Builder(const Builder &) = delete;
        Builder &operator=(const Builder &) = delete;

        GroupId first() const { return _first; }
        GroupId add(GroupId parent, std::string_view name);
        void setProperties(GroupId group, Block properties);
        /// Replaces all that is in the target by what is in the first group.
        void moveIntoTree() noexcept;

    private:
        Tree &_tree;
        const GroupId _target;
        GroupId _first;
    };

private:
    struct Group {
        /// Ends in the name. A short path is kept whole, so that one comparison tests it.
        std::string text;
        std::uint16_t nameLength = 0;
        bool hasPath = false;
        bool isIndexed = true;
        bool groupsAreSorted = true;
        GroupId parent = none;      ///< in a free record: the next one
        std::uint32_t position = 0; ///< among the parent's groups
        Block block;
        std::vector<GroupId> groups;

        std::string_view name() const {
            return std::string_view(text).substr(text.size() - nameLength);
        }
    };
    class Prefix;
    class NewGroups;

    Index::Slot *lookUp(const Top &top, const Name &name);
    bool matches(const Index::Slot &slot, const Top &top, std::string_view rest) const;
    bool isAt(GroupId group, const Top &top, std::string_view rest) const;
    bool indexGroupAbove(const Top &top, const Name &name);
    void index(GroupId group);

    char *resize(Index::Slot &slot, const Top &top, const Name &name, std::size_t size);
    char *create(const Top &top, const Name &name, std::size_t size);
    void makeRoom(GroupId group, std::size_t size);
    void rewrite(GroupId group, std::size_t capacity, std::uint32_t without);

    GroupId newGroup(std::string_view name, GroupId parent);
    GroupId store(Group &&group);
    void reserveGroups(std::size_t more);
    void attach(GroupId group, GroupId parent) noexcept;
    void detach(GroupId group) noexcept;
    /// Called by every change of the tree.
    void changed() noexcept { ++_changes; }
    void removeContent(GroupId top) noexcept;
    void free(GroupId top) noexcept;

    const Top *_firstTogether = nullptr;
    const Top *_lastTogether = nullptr;
    std::vector<Group> _groups; ///< the root first; free records are linked by `parent`
    GroupId _firstFree = none;
    std::size_t _freeCount = 0;
    std::size_t _unindexed = 0; ///< groups whose properties are not in the index
    std::uint64_t _changes = 0;
    Index _index;
    OpenFiles _openFiles;
};

} // namespace filesystem
