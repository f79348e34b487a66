#include "filesystem/Tree.h"

#include "filesystem/TreePrefix.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace filesystem {

namespace {

/// Returns the capacity for a block that must hold `size` bytes now and may grow later.
std::size_t grown(std::size_t size) {
    constexpr std::size_t smallest = 64;
    return std::max({size, std::min(size + size / 4, Block::maxSize), smallest});
}

/// Compares two texts of equal length. Avoids a function call for short ones.
inline bool areEqual(const char *a, const char *b, std::size_t length) {
    using littleEndian::get;
    if (length > 32)
        return std::memcmp(a, b, length) == 0;
    if (length > 16) {
        const char *aEnd = a + length - 16, *bEnd = b + length - 16;
        return ((get<std::uint64_t>(a) ^ get<std::uint64_t>(b)) |
                (get<std::uint64_t>(a + 8) ^ get<std::uint64_t>(b + 8)) |
                (get<std::uint64_t>(aEnd) ^ get<std::uint64_t>(bEnd)) |
                (get<std::uint64_t>(aEnd + 8) ^ get<std::uint64_t>(bEnd + 8))) == 0;
    }
    if (length >= 8)
        return get<std::uint64_t>(a) == get<std::uint64_t>(b) &&
               get<std::uint64_t>(a + length - 8) == get<std::uint64_t>(b + length - 8);
    if (length >= 4)
        return get<std::uint32_t>(a) == get<std::uint32_t>(b) &&
               get<std::uint32_t>(a + length - 4) == get<std::uint32_t>(b + length - 4);
    for (std::size_t i = 0; i < length; ++i)
        if (a[i] != b[i])
            return false;
    return true;
}

/// Removes a component and the "/" before it from the end of a path. Returns false, with the path
/// unchanged, when the path does not end in that component.
inline bool takeBack(std::string_view &path, std::string_view component) {
    if (component.size() > path.size())
        return false;
    std::size_t start = path.size() - component.size();
    if (!areEqual(path.data() + start, component.data(), component.size()))
        return false;
    if (start > 0 && path[--start] != '/')
        return false;
    path = path.substr(0, start);
    return true;
}

} // namespace

Tree::Tree() : _groups(1) {}

void Tree::keepTogether(const Top *first, const Top *last) {
    _firstTogether = first;
    _lastTogether = last;
}

Top Tree::top(std::string_view name) const {
    const Top *known = std::find_if(_firstTogether, _lastTogether,
                                    [=](const Top &top) { return top.name == name; });
    return known == _lastTogether ? Top(name) : *known;
}

// Lookup

inline bool Tree::isAt(GroupId id, const Top &top, std::string_view rest) const {
    const Group *group = &_groups[id];
    for (; !group->hasPath; group = &_groups[group->parent])
        if (rest.empty() || group->parent == none || !takeBack(rest, group->name()))
            return false;
    const std::string_view text = group->text;
    const std::size_t length = top.name.size();
    if (!rest.empty())
        return text.size() == length + 1 + rest.size() && text[length] == '/' &&
               areEqual(text.data() + length + 1, rest.data(), rest.size()) &&
               areEqual(text.data(), top.name.data(), length);
    return text.size() == length && areEqual(text.data(), top.name.data(), length);
}

inline bool Tree::matches(const Index::Slot &slot, const Top &top, std::string_view rest) const {
    if (slot.isGroup())
        return isAt(slot.group, top, rest);
    const std::string_view leaf = _groups[slot.group].block.name(slot.offset);
    if (rest.empty())
        return slot.group == root && leaf == top.name;
    return takeBack(rest, leaf) && isAt(slot.group, top, rest);
}

/// Returns the slot of a name in normal form, or null.
inline Index::Slot *Tree::lookUp(const Top &top, const Name &name) {
    const auto search = [&] {
        return _index.find(pathHash(top, name),
                           [&](const Index::Slot &slot) { return matches(slot, top, name.text); });
    };
    Index::Slot *slot = search();
    return slot || _unindexed == 0 || !indexGroupAbove(top, name) ? slot : search();
}

/// Adds the properties of the group that would hold `name` to the index. Returns false when there
/// is no such group or its properties are in the index already.
bool Tree::indexGroupAbove(const Top &top, const Name &name) {
    GroupId group = root;
    if (!name.text.empty()) {
        const Name above(parentOf(name.text));
        const Index::Slot *slot = _index.find(pathHash(top, above), [&](const Index::Slot &found) {
            return found.isGroup() && isAt(found.group, top, above.text);
        });
        if (!slot)
            return false;
        group = slot->group;
    }
    if (_groups[group].isIndexed)
        return false;
    index(group);
    return true;
}

void Tree::index(GroupId id) {
    Group &group = _groups[id];
    Prefix prefix(*this, id);
    _index.reserve(group.block.count());
    group.block.forEach([&](std::uint32_t offset) {
        _index.insert({prefix.hashOf(group.block.name(offset)), id, offset});
    });
    group.isIndexed = true;
    --_unindexed;
}

Tree::Entry Tree::findFirst(const Top *first, const Top *last, const Name &name) {
    for (const Top *top = first; top != last; ++top)
        if (const Index::Slot *slot = lookUp(*top, name))
            return {slot->group, slot->offset, static_cast<std::uint32_t>(top - first)};
    if (name.isNormal())
        return {};
    const std::string normal = name.normal();
    for (const Top *top = first; top != last; ++top)
        if (const Index::Slot *slot = lookUp(*top, Name(normal));
            slot && (slot->isGroup() || !name.namesGroupOnly()))
            return {slot->group, slot->offset, static_cast<std::uint32_t>(top - first)};
    return {};
}

std::vector<Tree::Member> Tree::members(GroupId id) {
    sort(id);
    const Group &group = _groups[id];
    std::vector<Member> all;
    all.reserve(group.block.count() + group.groups.size());
    group.block.forEach([&](std::uint32_t offset) {
        all.push_back({group.block.name(offset), false});
    });
    for (const GroupId child : group.groups)
        all.push_back({_groups[child].name(), true});
    return all;
}

std::set<std::string> Tree::leafNames(GroupId top) const {
    std::set<std::string> names;
    Prefix path(*this, top);
    for (GroupId id = top; id != none; id = path.next(id, top)) {
        const Block &block = _groups[id].block;
        bool isEmpty = _groups[id].groups.empty();
        block.forEach([&](std::uint32_t offset) {
            std::string name(path.name());
            names.insert(name.append(name.empty() ? "" : "/").append(block.name(offset)));
            isEmpty = false;
        });
        if (isEmpty && !path.name().empty())
            names.emplace(path.name());
    }
    return names;
}

Tree::PathSize Tree::pathSize(GroupId group) const {
    PathSize size = {0, 0};
    for (; group != root; group = _groups[group].parent) {
        ++size.levels;
        size.bytes += _groups[group].name().size() + 1;
    }
    return size;
}

Tree::GroupId Tree::next(GroupId group, GroupId top) const {
    if (!_groups[group].groups.empty())
        return _groups[group].groups.front();
    while (group != top) {
        const std::vector<GroupId> &siblings = _groups[_groups[group].parent].groups;
        if (const std::size_t after = _groups[group].position + 1; after < siblings.size())
            return siblings[after];
        group = _groups[group].parent;
    }
    return none;
}

// The bytes of groups

void Tree::sort(GroupId id) {
    if (!_groups[id].block.isOrdered())
        rewrite(id, std::min(_groups[id].block.capacity(), grown(_groups[id].block.liveSize())),
                Block::none);
    Group &group = _groups[id];
    if (group.groupsAreSorted)
        return;
    std::sort(group.groups.begin(), group.groups.end(),
              [this](GroupId a, GroupId b) { return _groups[a].name() < _groups[b].name(); });
    for (std::size_t at = 0; at < group.groups.size(); ++at)
        _groups[group.groups[at]].position = static_cast<std::uint32_t>(at);
    group.groupsAreSorted = true;
}

void Tree::makeRoom(GroupId id, std::size_t size) {
    Block &block = _groups[id].block;
    if (block.hasRoom(size))
        return;
    const std::size_t capacity = grown(block.liveSize() + size);
    if (block.hasGaps())
        rewrite(id, capacity, Block::none);
    else
        block.moveTo(capacity);
}

/// Moves the properties of a group into a new block, sorted by name, except the one at `without`.
void Tree::rewrite(GroupId id, std::size_t capacity, std::uint32_t without) {
    Group &group = _groups[id];
    Block fresh(capacity);
    std::vector<std::uint32_t> offsets = group.block.inOrder();
    offsets.erase(std::remove(offsets.begin(), offsets.end(), without), offsets.end());
    std::vector<Index::Slot *> slots;
    if (group.isIndexed) {
        // Finds all slots before it changes any of them, because only the offsets distinguish slots
        // with equal hashes.
        slots.reserve(offsets.size());
        Prefix prefix(*this, id);
        for (const std::uint32_t offset : offsets)
            slots.push_back(
                _index.find(prefix.hashOf(group.block.name(offset)), [&](const Index::Slot &slot) {
                    return slot.group == id && slot.offset == offset;
                }));
    }
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        const std::uint32_t moved =
            fresh.append(group.block.name(offsets[i]), group.block.value(offsets[i]));
        if (group.isIndexed)
            slots[i]->offset = moved;
    }
    group.block = std::move(fresh);
}

/// Changes the size of a property and returns its bytes.
char *Tree::resize(Index::Slot &slot, const Top &top, const Name &name, std::size_t size) {
    Block &block = _groups[slot.group].block;
    const std::size_t oldSize = block.value(slot.offset).size();
    if (oldSize == size) {
        block.makeWritable();
        return block.valueBytes(slot.offset);
    }
    const std::string_view leaf = name.text.empty() ? top.name : leafOf(name.text);
    if (block.hasRoom(Block::sizeOf(leaf, size)))
        block.remove(slot.offset);
    else
        rewrite(slot.group, grown(block.liveSize() - oldSize + size), slot.offset);
    slot.offset = block.append(leaf, size);
    return block.valueBytes(slot.offset);
}

// Changes

/// The missing groups of a path, built outside of the tree. The destructor frees them, unless they
/// have been moved into the tree.
class Tree::NewGroups {
public:
    explicit NewGroups(Tree &tree) : _tree(tree) {}
    ~NewGroups() {
        if (!_groups.empty())
            _tree.free(_groups.front().id);
    }
    NewGroups(const NewGroups &) = delete;
    NewGroups &operator=(const NewGroups &) = delete;

    /// Builds the missing groups above the end of a path in normal form, and the end itself if it
    /// is a group. Returns false when the end exists, a level above it is a property, or a level is
    /// not allowed.
    bool make(const Top &top, std::string_view text, bool endIsGroup);
    /// The lowest group of the path, existing or new.
    GroupId lowest() const { return _groups.empty() ? _parent : _groups.back().id; }
    void moveIntoTree() noexcept;

private:
    void add(std::string_view name, std::uint32_t hash);

    struct NewGroup {
        GroupId id;
        std::uint32_t hash;
    };
    Tree &_tree;
    GroupId _parent = root;
    std::vector<NewGroup> _groups;
};

bool Tree::NewGroups::make(const Top &top, std::string_view text, bool endIsGroup) {
    const auto slashes = std::count(text.begin(), text.end(), '/');
    const auto levels = slashes + (text.empty() ? 1 : 2);
    if (levels > maxLevels || top.name.size() + 1 + text.size() > maxPathSize)
        return false;
    std::string_view component = top.name, rest = text;
    for (int level = 1;; ++level, component = takeComponent(rest)) {
        const bool isEnd = level == levels;
        const Name path(text.substr(0, text.size() - rest.size()));
        const Index::Slot *slot = _groups.empty() ? _tree.lookUp(top, path) : nullptr;
        if (slot) {
            if (isEnd || !slot->isGroup())
                return false;
            _parent = slot->group;
            continue;
        }
        if (!isValidComponent(component))
            return false;
        if (!isEnd || endIsGroup)
            add(component, pathHash(top, path));
        if (isEnd)
            break;
    }
    _tree._index.reserve(_groups.size() + 1);
    return true;
}

void Tree::NewGroups::add(std::string_view name, std::uint32_t hash) {
    const GroupId parent = lowest();
    reserveOne(_groups);
    reserveOne(_tree._groups[parent].groups);
    const GroupId id = _tree.newGroup(name, parent);
    if (!_groups.empty())
        _tree.attach(id, parent);
    _groups.push_back({id, hash});
}

void Tree::NewGroups::moveIntoTree() noexcept {
    if (_groups.empty())
        return;
    _tree.attach(_groups.front().id, _parent);
    for (const NewGroup &group : _groups)
        _tree._index.insert({group.hash, group.id, Index::none});
    _groups.clear();
}

char *Tree::place(const Top &top, const Name &name, std::size_t size) {
    if (size > Block::maxSize)
        throw std::length_error("The value is too large for a group.");
    if (Index::Slot *slot = lookUp(top, name)) {
        if (slot->isGroup())
            return nullptr;
        char *bytes = resize(*slot, top, name, size);
        changed();
        return bytes;
    }
    if (name.isNormal())
        return create(top, name, size);
    if (name.namesGroupOnly())
        return nullptr;
    const std::string normal = name.normal();
    return place(top, Name(normal), size);
}

char *Tree::create(const Top &top, const Name &name, std::size_t size) {
    NewGroups above(*this);
    if (!above.make(top, name.text, false))
        return nullptr;
    const std::string_view leaf = name.text.empty() ? top.name : leafOf(name.text);
    const GroupId group = above.lowest();
    makeRoom(group, Block::sizeOf(leaf, size));
    above.moveIntoTree();
    Block &block = _groups[group].block;
    const std::uint32_t offset = block.append(leaf, size);
    _index.insert({pathHash(top, name), group, offset});
    changed();
    return block.valueBytes(offset);
}

bool Tree::addGroup(const Top &top, const Name &name) {
    const std::string normal = name.normal();
    NewGroups groups(*this);
    if (!groups.make(top, normal, true))
        return false;
    groups.moveIntoTree();
    changed();
    return true;
}

bool Tree::remove(const Top &top, const Name &name) {
    const std::string normal = name.normal();
    const Name path(normal);
    Index::Slot *slot = lookUp(top, path);
    if (!slot || (!slot->isGroup() && name.namesGroupOnly()))
        return false;
    const GroupId group = slot->group;
    if (!slot->isGroup())
        _groups[group].block.makeWritable();
    changed();
    _openFiles.detach(top.name, normal);
    if (slot->isGroup()) {
        _index.erase(slot);
        removeContent(group);
        detach(group);
        free(group);
        return true;
    }
    Block &block = _groups[group].block;
    block.remove(slot->offset);
    _index.erase(slot);
    if (block.count() == 0)
        block = Block();
    return true;
}

// Groups

/// Creates a group with the path that it will have in `parent`. Does not attach it.
Tree::GroupId Tree::newGroup(std::string_view name, GroupId parent) {
    constexpr std::size_t shortPath = 47;
    const Group &above = _groups[parent];
    Group group;
    group.nameLength = static_cast<std::uint16_t>(name.size());
    const bool isTop = above.text.empty();
    group.hasPath = isTop || (above.hasPath && above.text.size() + 1 + name.size() <= shortPath);
    if (group.hasPath && !isTop) {
        group.text.reserve(above.text.size() + 1 + name.size());
        group.text.append(above.text).append("/");
    }
    group.text.append(name);
    return store(std::move(group));
}

Tree::GroupId Tree::store(Group &&group) {
    reserveGroups(1);
    if (_firstFree == none) {
        _groups.push_back(std::move(group));
        return static_cast<GroupId>(_groups.size() - 1);
    }
    const GroupId id = _firstFree;
    _firstFree = _groups[id].parent;
    --_freeCount;
    _groups[id] = std::move(group);
    return id;
}

/// Grows by at least a quarter, so that a series of calls stays linear. Does not double the records
/// of a large file.
void Tree::reserveGroups(std::size_t more) {
    const std::size_t needed = _groups.size() + more - std::min(more, _freeCount);
    if (needed > _groups.capacity())
        _groups.reserve(std::max(needed, _groups.capacity() * 5 / 4));
}

/// The parent must have room for one more group.
void Tree::attach(GroupId id, GroupId parent) noexcept {
    std::vector<GroupId> &siblings = _groups[parent].groups;
    if (!siblings.empty() && _groups[siblings.back()].name() > _groups[id].name())
        _groups[parent].groupsAreSorted = false;
    _groups[id].parent = parent;
    _groups[id].position = static_cast<std::uint32_t>(siblings.size());
    siblings.push_back(id);
}

void Tree::detach(GroupId id) noexcept {
    Group &parent = _groups[_groups[id].parent];
    const std::uint32_t position = _groups[id].position;
    if (parent.groups.back() != id) {
        parent.groups[position] = parent.groups.back();
        _groups[parent.groups[position]].position = position;
        parent.groupsAreSorted = false;
    }
    parent.groups.pop_back();
}

/// Removes the content of a group from the tree and the index, and frees it.
void Tree::removeContent(GroupId top) noexcept {
    const auto erase = [this](std::uint32_t hash, GroupId group, std::uint32_t offset) {
        _index.erase(_index.find(hash, [=](const Index::Slot &slot) {
            return slot.group == group && slot.offset == offset;
        }));
    };
    Prefix prefix(*this, top);
    for (GroupId id = top; id != none; id = prefix.next(id, top)) {
        Group &group = _groups[id];
        if (id != top)
            erase(prefix.hash(), id, Index::none);
        if (group.isIndexed)
            group.block.forEach([&](std::uint32_t offset) {
                erase(prefix.hashOf(group.block.name(offset)), id, offset);
            });
    }
    while (!_groups[top].groups.empty()) {
        const GroupId last = _groups[top].groups.back();
        _groups[top].groups.pop_back();
        free(last);
    }
    _groups[top].block = Block();
    if (!std::exchange(_groups[top].isIndexed, true))
        --_unindexed;
}

/// Frees a group that is not in the tree, and the groups below it, the lowest first.
void Tree::free(GroupId top) noexcept {
    for (GroupId id = top;;) {
        if (!_groups[id].groups.empty()) {
            id = _groups[id].groups.back();
            continue;
        }
        const GroupId parent = _groups[id].parent;
        _unindexed -= !_groups[id].isIndexed;
        _groups[id] = Group();
        _groups[id].parent = std::exchange(_firstFree, id);
        ++_freeCount;
        if (id == top)
            return;
        _groups[parent].groups.pop_back();
        id = parent;
    }
}

} // namespace filesystem
