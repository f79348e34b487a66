#pragma once

#include "filesystem/Block.h"
#include "filesystem/Index.h"
#include "filesystem/OpenFiles.h"
#include "filesystem/Path.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace filesystem {

/// The tree in memory. `RAMFileSystem` gives access to it by `QString`. The register uses it
/// directly, so a read or a write converts and copies nothing.
///
/// A group is a small record; its properties lie in one `Block`. One `Index` finds both by the hash
/// of their whole path, so a lookup does not walk from level to level. The entry found is compared
/// with the path, from the leaf up. The properties of a loaded group enter the index at the first
/// search in that group.
///
/// A path is passed as its first level (`Top`, one component) and the levels below it (`Name`), in
/// any spelling. The tree stores names in normal form.
///
/// `place`, `addGroup`, `remove` and `Builder::moveIntoTree` change the tree. Each calls `changed`
/// when it does. A call that throws has changed nothing: it reserves memory before it changes
/// anything.
///
/// Threads: one at a time, also for lookups. A lookup may add to the index; `sort` and `members`
/// move properties. No function here recurses.
class Tree {
public:
    using GroupId = std::uint32_t;
    static constexpr GroupId none = Index::none;
    static constexpr GroupId root = 0;

    /// What a path denotes: nothing, a group or a property. Valid until the tree changes.
    struct Entry {
        GroupId group = none; ///< the group itself, or the one that holds the property
        std::uint32_t offset = Index::none; ///< of a property in its group's block
        std::uint32_t top = 0;              ///< index of the first level that it was found below

        explicit operator bool() const { return group != none; }
        bool isGroup() const { return group != none && offset == Index::none; }
        bool isProperty() const { return offset != Index::none; }
    };

    Tree();

    /// Keeps the entries of equal names below these first levels side by side in the index. Looking
    /// a name up below all of them then costs little more than below one. The hashes of the first
    /// levels must be different small numbers. The tree must still be empty. The array must outlive
    /// the tree.
    void keepTogether(const Top *first, const Top *last);
    /// Returns a first level with the hash that this tree uses.
    Top top(std::string_view name) const;

    Entry find(const Top &top, const Name &name) { return findFirst(&top, &top + 1, name); }
    /// Searches below several first levels, in their order. Returns the first entry found.
    Entry findFirst(const Top *first, const Top *last, const Name &name);
    /// The bytes of a property.
    std::string_view value(const Entry &property) const {
        return _groups[property.group].block.value(property.offset);
    }

    /// Sets the size of a property to `size` bytes and returns its bytes. The caller must fill them
    /// in at once. Creates the property and the groups above it if they are missing. Returns null,
    /// with nothing changed, when the name is a group, a level above it is a property, or a level
    /// is not allowed. Throws `std::length_error` when a group would hold more than 4 GiB.
    char *place(const Top &top, const Name &name, std::size_t size);
    /// Creates a group and the missing groups above it. Returns false, with nothing changed, when
    /// it exists or cannot be created.
    bool addGroup(const Top &top, const Name &name);
    /// Removes a property, or a group and everything in it. Returns false when there is neither.
    bool remove(const Top &top, const Name &name);

    struct Member {
        std::string_view name;
        bool isGroup;
    };
    /// Returns the members of a group: its properties, then its groups, each sorted by the bytes of
    /// their names. Valid until the tree changes.
    std::vector<Member> members(GroupId group);

    /// Returns the names of all properties below a group, and of the groups without members, in
    /// normal form, without the first level.
    std::set<std::string> leafNames(GroupId group) const;

    /// The number of levels of a group's path, and the number of bytes of their names.
    struct PathSize {
        int levels;
        std::size_t bytes; ///< including a "/" after each level
    };
    PathSize pathSize(GroupId group) const;

    // For the register file, which contains each group before its subgroups.

    /// Sorts the properties and the subgroups of a group by name.
    void sort(GroupId group);
    std::string_view name(GroupId group) const { return _groups[group].name(); }
    const Block &properties(GroupId group) const { return _groups[group].block; }
    /// The subgroups of a group; sorted after `sort`, and in a loaded group.
    const std::vector<GroupId> &groups(GroupId group) const { return _groups[group].groups; }
    /// Returns the group after `group` in a walk of the groups below `top`; `none` at the end.
    GroupId next(GroupId group, GroupId top) const;

    /// The number of changes so far.
    std::uint64_t changes() const { return _changes; }

    /// The files that are open for writing. Removing such a file from the tree detaches it.
    OpenFiles &openFiles() { return _openFiles; }

    /// New content for a group, built outside of the tree. The destructor frees it, unless it has
    /// been moved into the tree.
    class Builder {
    public:
        /// Begins the groups that will replace the content of `target`. Makes room for `count`;
        /// there may be more.
        Builder(Tree &tree, std::size_t count, GroupId target);
        ~Builder();
        Builder(const Builder &) = delete;
        Builder &operator=(const Builder &) = delete;

        GroupId first() const { return _first; }
        GroupId add(GroupId parent, std::string_view name);
        void setProperties(GroupId group, Block properties);
        /// Replaces the content of the target by the content of the first group.
        void moveIntoTree() noexcept;

    private:
        Tree &_tree;
        const GroupId _target;
        GroupId _first;
        const std::size_t _announced;
        std::size_t _count = 0;
    };

private:
    struct Group {
        /// The whole path if `hasPath`, else the name. Short paths are stored whole, so that one
        /// comparison tests them.
        std::string text;
        std::uint16_t nameLength = 0;
        bool hasPath = false;
        bool isIndexed = true;
        bool groupsAreSorted = true;
        GroupId parent = none;      ///< in a free record: the next free one
        std::uint32_t position = 0; ///< index in the parent's `groups`
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
    /// Every change of the tree calls this.
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
