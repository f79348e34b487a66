#pragma once

#include "filesystem/RegisterFormat.h"
#include "filesystem/SalvageScan.h"

#include <string>
#include <string_view>
#include <vector>

namespace filesystem::salvage {

/// Puts the groups that were found in a damaged file into a tree.
///
/// Where it is not known what a group lies in, it goes below "lost+found/BYTE", with the byte from
/// which its place is not known. A group or a property whose name is not known, not allowed or
/// taken becomes "lost+found/BYTE", with the byte where it begins.
class SalvageTree {
public:
    SalvageTree(registerFormat::Bytes file, std::vector<FoundGroup> groups, Faults &faults)
        : _bytes(std::move(file)), _file(*_bytes), _groups(std::move(groups)), _faults(faults) {}

    /// `isCut` says that groups may be missing at the end.
    void place(bool isCut);
    /// Replaces the content of a group by what was found.
    void moveInto(Tree &tree, Tree::GroupId target);

private:
    using Index = std::uint32_t;
    static constexpr Index lost = UINT32_MAX;    ///< the parent of what has no known name or place
    static constexpr Index nothing = UINT32_MAX; ///< no found group

    struct Node {
        Index parent;
        Index found;      ///< `nothing` for a group that was not in the file
        std::uint32_t at; ///< in the file
        bool isNamedByByte;
        std::uint16_t levels = 0, bytes = 0; ///< of its path, see `Tree::PathSize`
    };
    /// A group while its subgroups are placed.
    struct Open {
        Index node;
        std::uint32_t groupsLeft;
        std::string_view previous = {};
    };
    struct Property {
        std::uint32_t at;
        std::string_view name, value;
    };

    bool addUp() const;
    bool mendCount();
    bool isConsistent() const;
    void addNodes();
    void addNode(std::size_t found, std::vector<Open> &open, Index &place);
    Index addPlace(std::uint32_t at);

    void resolveNames();
    void measure(const Tree::PathSize &top);
    void moveToLost(Node &node, const char *why);
    std::string nameOf(const Node &node) const;
    std::vector<Property> propertiesOf(const FoundGroup &group) const;
    void checkProperties(std::vector<Property> &properties, Index node);
    bool isFault(const Property &property, std::string_view previous, const Node &node);
    Block blockOf(const FoundGroup &group, Index node);
    Block lostBlock() const;
    void chooseLostName();

    registerFormat::Bytes _bytes;
    std::string_view _file;
    std::vector<FoundGroup> _groups;
    Faults &_faults;
    std::size_t _placed = 0; ///< so many groups from the front are where the file says
    int _places = 0;
    Index _lastPlace = nothing;
    std::vector<Node> _nodes;
    std::vector<Index> _byName; ///< nodes by parent and name, without those in "lost+found"
    std::vector<Property> _lostProperties;
    std::string _lostName = "lost+found";
};

} // namespace filesystem::salvage
