#include "filesystem/SalvageTree.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

namespace filesystem::salvage {

using registerFormat::GroupHeader;
using registerFormat::PropertyRecord;

// Places

void SalvageTree::place(bool isCut) {
    if (_groups.empty())
        return _faults.add(registerFormat::headerLength, "The file ends behind its header.");
    const auto broken = std::find_if(_groups.begin(), _groups.end(),
                                     [](const FoundGroup &group) { return group.isBroken; });
    _placed = static_cast<std::size_t>(broken - _groups.begin()) + 1;
    if (broken == _groups.end() && !isCut && !addUp() && !mendCount()) {
        _faults.add(registerFormat::headerLength,
                    "The numbers of subgroups do not fit the groups in the file.");
        _placed = 1;
    }
    addNodes();
}

/// True when the numbers of subgroups account for all groups.
bool SalvageTree::addUp() const {
    std::uint64_t left = 1;
    for (const FoundGroup &group : _groups) {
        if (left == 0)
            return false;
        left += std::uint64_t{group.groups} - 1;
    }
    return left == 0;
}

/// Finds the only number of subgroups that one flipped bit makes right, so that the groups are
/// complete and in order.
bool SalvageTree::mendCount() {
    std::int64_t excess = 1 - static_cast<std::int64_t>(_groups.size());
    for (const FoundGroup &group : _groups)
        excess += group.groups;
    std::size_t attempts = std::max<std::size_t>(64, (std::size_t{1} << 22) / _groups.size());
    FoundGroup *wrong = nullptr;
    for (FoundGroup &group : _groups) {
        const std::uint32_t stored = group.groups;
        const auto count = static_cast<std::uint32_t>(stored - excess);
        if (excess == 0 || stored - excess != count || !differInOneBit(stored, count))
            continue;
        if (attempts-- == 0)
            return false;
        group.groups = count;
        const bool isPossible = isConsistent();
        group.groups = stored;
        if (isPossible && std::exchange(wrong, &group))
            return false;
    }
    if (!wrong)
        return false;
    _faults.add(wrong->at + GroupHeader::groupsAt,
                "The number of a group's subgroups is " + std::to_string(wrong->groups) +
                    " and should be " + std::to_string(wrong->groups - excess) + ".");
    wrong->groups = static_cast<std::uint32_t>(wrong->groups - excess);
    return true;
}

/// True when the numbers of subgroups account for all groups, and their names are in order.
bool SalvageTree::isConsistent() const {
    std::vector<Open> open;
    for (const FoundGroup &group : _groups) {
        while (!open.empty() && open.back().groupsLeft == 0)
            open.pop_back();
        const std::string_view name = group.name(_file);
        if (&group != &_groups.front()) {
            if (open.empty() || name <= open.back().previous)
                return false;
            open.back().previous = name;
            --open.back().groupsLeft;
        }
        open.push_back({0, group.groups, {}});
    }
    return std::all_of(open.begin(), open.end(),
                       [](const Open &group) { return group.groupsLeft == 0; });
}

void SalvageTree::addNodes() {
    std::vector<Open> open;
    Index place = nothing; // of the groups whose place is not known
    _nodes.reserve(_groups.size());
    for (std::size_t i = 0; i < _groups.size(); ++i) {
        if (i == _placed || (i > _placed && _groups[i - 1].isBroken)) {
            open.clear();
            place = nothing;
        }
        addNode(i, open, place);
    }
}

/// Adds a group for groups whose place is not known. A hostile file could ask for one at each group
/// of few bytes, so at some point they share the last one.
SalvageTree::Index SalvageTree::addPlace(std::uint32_t at) {
    constexpr int maxPlaces = 1000;
    _faults.add(at, "It is not known what the groups from here on lie in.");
    if (_places++ < maxPlaces) {
        _lastPlace = static_cast<Index>(_nodes.size());
        _nodes.push_back({lost, nothing, at, true});
    }
    return _lastPlace;
}

void SalvageTree::addNode(std::size_t found, std::vector<Open> &open, Index &place) {
    const FoundGroup &group = _groups[found];
    const bool isRoot = found == 0, hasName = isValidComponent(group.name(_file));
    while (!open.empty() && open.back().groupsLeft == 0)
        open.pop_back();
    Node node = {lost, static_cast<Index>(found), group.at, !isRoot && !hasName};
    if (!open.empty()) {
        --open.back().groupsLeft;
        node.parent = hasName ? open.back().node : lost;
    } else if (hasName) {
        if (place == nothing)
            place = addPlace(group.at);
        node.parent = place;
    }
    const bool isEmpty =
        group.groups == 0 && group.headEnd == group.head && group.tail == group.end;
    if (node.isNamedByByte && group.nameLength == 0 && isEmpty)
        return;
    if (node.isNamedByByte && group.nameLength > 0)
        _faults.add(group.at, "The name of a group is not allowed.");
    open.push_back({static_cast<Index>(_nodes.size()), group.groups});
    _nodes.push_back(node);
}

// Names

void SalvageTree::moveToLost(Node &node, const char *why) {
    node.parent = lost;
    node.isNamedByByte = true;
    _faults.add(node.at, why);
}

std::string SalvageTree::nameOf(const Node &node) const {
    return node.isNamedByByte ? std::to_string(node.at)
                              : std::string(_groups[node.found].name(_file));
}

/// Sorts the groups by their names. Moves those whose name another group has.
void SalvageTree::resolveNames() {
    for (Index i = 1; i < _nodes.size(); ++i)
        if (!_nodes[i].isNamedByByte)
            _byName.push_back(i);
    const auto key = [this](Index i) {
        const Node &node = _nodes[i];
        return std::make_tuple(node.parent, _groups[node.found].name(_file), i);
    };
    std::sort(_byName.begin(), _byName.end(), [&](Index a, Index b) { return key(a) < key(b); });
    const auto isTaken = [&](Index previous, Index i) {
        if (_nodes[previous].parent != _nodes[i].parent)
            return false;
        const Index parent = _nodes[i].parent;
        if (i < previous && _nodes[parent].found != nothing)
            _faults.add(_nodes[previous].at, "The names of groups are not in order.");
        return std::get<1>(key(previous)) == std::get<1>(key(i));
    };
    std::size_t kept = 0;
    for (const Index i : _byName) {
        if (kept > 0 && isTaken(_byName[kept - 1], i))
            moveToLost(_nodes[i], "Another group has the name of this one.");
        else
            _byName[kept++] = i;
    }
    _byName.resize(kept);
}

/// Finds a name that nothing at the root has.
void SalvageTree::chooseLostName() {
    std::set<std::string_view> taken;
    const auto take = [&](std::string_view name) {
        if (name.substr(0, _lostName.size()) == _lostName)
            taken.insert(name);
    };
    for (auto i = _byName.begin(); i != _byName.end() && _nodes[*i].parent == 0; ++i)
        take(_groups[_nodes[*i].found].name(_file));
    for (const Property &property : propertiesOf(_groups.front()))
        take(property.name);
    const std::string name = _lostName;
    for (int number = 2; taken.count(_lostName) > 0; ++number)
        _lostName = name + "." + std::to_string(number);
}

/// Computes the sizes of all paths. Moves groups that are too deep.
void SalvageTree::measure(const Tree::PathSize &top) {
    Node above = {}; // "lost+found"
    above.levels = static_cast<std::uint16_t>(top.levels + 1);
    above.bytes = static_cast<std::uint16_t>(top.bytes + _lostName.size() + 1);
    for (Node &node : _nodes) {
        if (&node == &_nodes.front()) {
            node.levels = static_cast<std::uint16_t>(top.levels);
            node.bytes = static_cast<std::uint16_t>(top.bytes);
            continue;
        }
        const auto add = [&] {
            const Node &parent = node.parent == lost ? above : _nodes[node.parent];
            node.levels = static_cast<std::uint16_t>(parent.levels + 1);
            node.bytes = static_cast<std::uint16_t>(parent.bytes + nameOf(node).size() + 1);
        };
        add();
        if (node.levels > maxLevels || node.bytes > maxPathSize + 1) {
            moveToLost(node, "A group is too deep.");
            add();
        }
    }
}

// Properties

std::vector<SalvageTree::Property> SalvageTree::propertiesOf(const FoundGroup &group) const {
    std::vector<Property> properties;
    forEachProperty(_file, group, [&](std::size_t at, const PropertyRecord &property) {
        properties.push_back({static_cast<std::uint32_t>(at), property.name, property.value});
    });
    return properties;
}

/// True when a property, behind another one in order, cannot be in its group.
bool SalvageTree::isFault(const Property &property, std::string_view previous, const Node &node) {
    const char *why = nullptr;
    if (!isValidComponent(property.name))
        why = "The name of a property is not allowed.";
    else if (property.name == previous)
        why = "Another property has the name of this one.";
    else if (node.levels >= maxLevels || node.bytes + property.name.size() > maxPathSize)
        why = "A property is too deep.";
    if (why)
        _faults.add(property.at, why);
    return why;
}

/// Sorts the properties of a group. Moves those that cannot be in it.
void SalvageTree::checkProperties(std::vector<Property> &properties, Index node) {
    const auto byName = [](const Property &a, const Property &b) { return a.name < b.name; };
    const auto unsorted = std::is_sorted_until(properties.begin(), properties.end(), byName);
    if (unsorted != properties.end()) {
        _faults.add(unsorted->at, "The names of properties are not in order.");
        std::stable_sort(properties.begin(), properties.end(), byName);
    }
    auto group =
        std::lower_bound(_byName.begin(), _byName.end(), node,
                         [this](Index i, Index parent) { return _nodes[i].parent < parent; });
    const auto isGroup = [&](std::string_view name) {
        const auto isHere = [&] { return group != _byName.end() && _nodes[*group].parent == node; };
        while (isHere() && _groups[_nodes[*group].found].name(_file) < name)
            ++group;
        return isHere() && _groups[_nodes[*group].found].name(_file) == name;
    };
    std::string_view previous;
    const auto isLost = [&](const Property &property) {
        bool isLost = isFault(property, previous, _nodes[node]);
        previous = property.name;
        if (!isLost && isGroup(property.name)) {
            _faults.add(property.at, "A group has the name of this property.");
            isLost = true;
        }
        if (isLost)
            _lostProperties.push_back(property);
        return isLost;
    };
    properties.erase(std::remove_if(properties.begin(), properties.end(), isLost),
                     properties.end());
}

Block SalvageTree::blockOf(const FoundGroup &group, Index node) {
    std::vector<Property> properties = propertiesOf(group);
    checkProperties(properties, node);
    const auto byPlace = [](const Property &a, const Property &b) { return a.at < b.at; };
    if (group.isWhole && properties.size() == group.properties &&
        std::is_sorted(properties.begin(), properties.end(), byPlace))
        return Block(_bytes, _file.substr(group.head, group.end - group.head), properties.size());
    std::size_t size = 0;
    for (const Property &property : properties)
        size += Block::sizeOf(property.name, property.value.size());
    Block block(size);
    for (const Property &property : properties)
        block.append(property.name, property.value);
    return block;
}

/// The properties that are named by their bytes.
Block SalvageTree::lostBlock() const {
    std::size_t size = 0;
    for (const Property &property : _lostProperties)
        size += Block::sizeOf(std::to_string(property.at), property.value.size());
    Block block(size);
    for (const Property &property : _lostProperties)
        block.append(std::to_string(property.at), property.value);
    return block;
}

void SalvageTree::moveInto(Tree &tree, Tree::GroupId target) {
    if (!_nodes.empty()) {
        resolveNames();
        chooseLostName();
        measure(tree.pathSize(target));
    }
    Tree::Builder builder(tree, _nodes.size() + 1, target);
    Tree::GroupId lostGroup = Tree::none;
    const auto addLost = [&] {
        if (lostGroup == Tree::none)
            lostGroup = builder.add(builder.first(), _lostName);
        return lostGroup;
    };
    std::vector<Tree::GroupId> ids = {builder.first()};
    for (Index i = 0; i < _nodes.size(); ++i) {
        const Node &node = _nodes[i];
        if (i > 0)
            ids.push_back(
                builder.add(node.parent == lost ? addLost() : ids[node.parent], nameOf(node)));
        if (node.found == nothing)
            continue;
        if (Block block = blockOf(_groups[node.found], i); block.count() > 0)
            builder.setProperties(ids[i], std::move(block));
    }
    if (!_lostProperties.empty())
        builder.setProperties(addLost(), lostBlock());
    builder.moveIntoTree();
}

} // namespace filesystem::salvage
