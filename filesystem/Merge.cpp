#include "filesystem/Merge.h"

#include "filesystem/Tree.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace filesystem {

using registerFormat::Bytes;

namespace {

using GroupId = Tree::GroupId;

/// A content in a tree of its own.
class Side {
public:
    explicit Side(const Bytes &file) {
        _tree.addGroup(_top, Name({}));
        if (file)
            registerFormat::decode(file, _tree, root());
    }
    Tree &tree() { return _tree; }
    const Top &top() const { return _top; }
    GroupId root() { return _tree.find(_top, Name({})).group; }
    Tree::Entry find(std::string_view path) { return _tree.find(_top, Name(path)); }

private:
    Tree _tree;
    const Top _top{"user"}; // the limits of depth and length include the scope
};

/// The value of a property; none for an absent name and for a group.
std::optional<std::string_view> valueOf(const Tree &tree, const Tree::Entry &entry) {
    if (!entry.isProperty())
        return std::nullopt;
    return tree.value(entry);
}

bool isEmpty(const Tree &tree, GroupId group) {
    return tree.properties(group).count() == 0 && tree.groups(group).empty();
}

class Merge {
public:
    Merge(Side &base, Side &theirs, Tree &ours, const Top &top, MergeNames names)
        : _base(base), _theirs(theirs), _ours(ours), _top(top), _names(names) {}

    void run() { mergeMembers(_base.root(), _theirs.root()); }

private:
    /// The states of one name.
    struct States {
        Tree::Entry base, theirs, ours;
    };

    // These recurse once for each level of a path, so at most `maxLevels` times.
    void mergeMembers(GroupId base, GroupId theirs);
    void mergeProperties(GroupId base, GroupId theirs);
    void mergeGroups(GroupId base, GroupId theirs);
    void mergeMember(std::string_view name);
    void merge(const States &states);
    void mergeNewGroup(const States &states);
    void mergeRemovedGroup(const States &states);

    bool isInTheWay();
    bool isUnchangedGroup(const States &states);
    void place(std::string_view value);
    void remove();
    void removeGroup(GroupId base);
    void conflict() { _names.conflicts.insert(_path); }

    Tree::Entry findOurs(std::string_view path) { return _ours.find(_top, Name(path)); }

    /// Appends a name to the path while it exists.
    class Level {
    public:
        Level(std::string &path, std::string_view name) : _path(path), _length(path.size()) {
            _path.append(_length > 0 ? "/" : "").append(name);
        }
        ~Level() { _path.resize(_length); }
        Level(const Level &) = delete;
        Level &operator=(const Level &) = delete;

    private:
        std::string &_path;
        std::size_t _length;
    };

    Side &_base, &_theirs;
    Tree &_ours;
    const Top &_top;
    MergeNames _names;
    std::string _path; ///< of the group or the name that is being merged
};

void Merge::mergeMembers(GroupId base, GroupId theirs) {
    mergeProperties(base, theirs);
    mergeGroups(base, theirs);
}

/// Merges the names that differ and are a property on one side or both.
void Merge::mergeProperties(GroupId base, GroupId theirs) {
    static const Block empty;
    const Block &before = base == Tree::none ? empty : _base.tree().properties(base);
    const Block &after = theirs == Tree::none ? empty : _theirs.tree().properties(theirs);
    if (before.bytes() == after.bytes())
        return;
    const std::vector<std::uint32_t> old = before.inOrder(), now = after.inOrder();
    auto o = old.begin();
    auto n = now.begin();
    while (o != old.end() || n != now.end()) {
        const int order = o == old.end()   ? 1
                          : n == now.end() ? -1
                                           : before.name(*o).compare(after.name(*n));
        if (order != 0 || before.value(*o) != after.value(*n))
            mergeMember(order <= 0 ? before.name(*o) : after.name(*n));
        o += order <= 0;
        n += order >= 0;
    }
}

/// Merges the groups. One that is a property on the other side has been merged before; the second
/// time changes nothing.
void Merge::mergeGroups(GroupId base, GroupId theirs) {
    static const std::vector<GroupId> none;
    const auto &old = base == Tree::none ? none : _base.tree().groups(base);
    const auto &now = theirs == Tree::none ? none : _theirs.tree().groups(theirs);
    auto o = old.begin();
    auto n = now.begin();
    while (o != old.end() || n != now.end()) {
        const int order = o == old.end()   ? 1
                          : n == now.end() ? -1
                                           : _base.tree().name(*o).compare(_theirs.tree().name(*n));
        if (order == 0) {
            const Level level(_path, _base.tree().name(*o));
            mergeMembers(*o, *n);
        } else if (order < 0) {
            mergeMember(_base.tree().name(*o));
        } else {
            mergeMember(_theirs.tree().name(*n));
        }
        o += order <= 0;
        n += order >= 0;
    }
}

void Merge::mergeMember(std::string_view name) {
    const Level level(_path, name);
    if (!isInTheWay())
        merge({_base.find(_path), _theirs.find(_path), findOurs(_path)});
}

/// Where a group of the path is a property in `ours`, that is a conflict as a whole.
bool Merge::isInTheWay() {
    for (auto end = _path.find('/'); end != std::string::npos; end = _path.find('/', end + 1))
        if (findOurs(std::string_view(_path).substr(0, end)).isProperty()) {
            _names.conflicts.insert(_path.substr(0, end));
            return true;
        }
    return false;
}

void Merge::merge(const States &states) {
    if (states.theirs.isGroup())
        return mergeNewGroup(states);
    if (states.base.isGroup())
        return mergeRemovedGroup(states);
    const auto base = valueOf(_base.tree(), states.base);
    const auto theirs = valueOf(_theirs.tree(), states.theirs);
    const auto ours = valueOf(_ours, states.ours);
    if (states.ours.isGroup() || (ours != base && ours != theirs))
        conflict();
    else if (ours != theirs && theirs)
        place(*theirs);
    else if (ours != theirs)
        remove();
}

/// `theirs` has a group where `base` had nothing or a property.
void Merge::mergeNewGroup(const States &states) {
    if (!states.ours.isGroup()) {
        if (valueOf(_ours, states.ours) != valueOf(_base.tree(), states.base))
            return conflict();
        if (states.ours)
            remove();
        if (_ours.addGroup(_top, Name(_path)) && isEmpty(_theirs.tree(), states.theirs.group))
            _names.taken.insert(_path);
    }
    mergeMembers(Tree::none, states.theirs.group);
}

/// `theirs` has nothing or a property where `base` had a group.
void Merge::mergeRemovedGroup(const States &states) {
    if (!states.theirs) {
        if (states.ours.isProperty())
            conflict();
        else if (states.ours)
            removeGroup(states.base.group);
        return;
    }
    const std::string_view theirs = _theirs.tree().value(states.theirs);
    if (states.ours.isGroup() && isUnchangedGroup(states)) {
        removeGroup(states.base.group);
        place(theirs);
    } else if (valueOf(_ours, states.ours) != theirs) {
        conflict();
    }
}

bool Merge::isUnchangedGroup(const States &states) {
    return registerFormat::encode(_base.tree(), states.base.group) ==
           registerFormat::encode(_ours, states.ours.group);
}

void Merge::place(std::string_view value) {
    _names.taken.insert(_path); // first, so that no change goes unnoticed
    if (char *bytes = _ours.place(_top, Name(_path), value.size())) {
        value.copy(bytes, value.size());
    } else {
        _names.taken.erase(_path);
        conflict();
    }
}

void Merge::remove() {
    _names.taken.insert(_path);
    _ours.remove(_top, Name(_path));
}

/// Removes what `ours` has not changed, and the group if nothing is left in it.
void Merge::removeGroup(GroupId base) {
    const std::size_t taken = _names.taken.size();
    mergeMembers(base, Tree::none);
    const Tree::Entry ours = findOurs(_path);
    if (!isEmpty(_ours, ours.group))
        return;
    if (_names.taken.size() == taken)
        _names.taken.insert(_path);
    _ours.remove(_top, Name(_path));
}

} // namespace

void merge(const Bytes &base, const Bytes &theirs, Tree &ours, const Top &top, MergeNames names) {
    Side baseSide(base), theirSide(theirs);
    Merge(baseSide, theirSide, ours, top, names).run();
}

Bytes merged(const Bytes &base, const Bytes &theirs, const Bytes &ours,
             std::set<std::string> &conflicts) {
    std::set<std::string> taken;
    Side ourSide(ours);
    merge(base, theirs, ourSide.tree(), ourSide.top(), {taken, conflicts});
    return std::make_shared<const std::string>(
        registerFormat::encode(ourSide.tree(), ourSide.root()));
}

bool areEqual(const Bytes &a, const Bytes &b) {
    const auto viewOf = [](const Bytes &bytes) {
        return bytes ? std::string_view(*bytes) : std::string_view();
    };
    return a == b || viewOf(a) == viewOf(b);
}

} // namespace filesystem
