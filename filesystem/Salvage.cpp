#include "filesystem/Salvage.h"

#include "exception/Exception.h"
#include "filesystem/FormatRecords.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace filesystem::salvage {

using littleEndian::get;
using namespace registerFormat;

namespace {

/// The faults of a file. A hostile file can have millions, so only the first ones are listed.
class Faults {
public:
    void add(std::size_t at, const std::string &what) {
        constexpr std::size_t maxListed = 1000;
        if (_listed.size() < maxListed)
            _listed.push_back({at, what});
        else
            ++_more;
    }
    void addNumber(std::size_t at, const char *what, std::uint64_t stored, std::uint64_t right) {
        if (stored != right)
            add(at, std::string("The ") + what + " is " + std::to_string(stored) +
                        " and should be " + std::to_string(right) + ".");
    }
    /// Returns the faults by their bytes.
    std::vector<Fault> take() {
        std::stable_sort(_listed.begin(), _listed.end(),
                         [](const Fault &a, const Fault &b) { return a.offset < b.offset; });
        if (_more > 0)
            _listed.push_back(
                {_listed.back().offset, std::to_string(_more) + " more faults are not listed."});
        return std::move(_listed);
    }

private:
    std::vector<Fault> _listed;
    std::size_t _more = 0;
};

// What can begin at a byte. Each test looks at two records at most.

/// True for a value whose type and length fit. Other lists, and bytes of another meaning, are told
/// by what follows them.
bool isTypical(std::string_view value) {
    const std::size_t size = value.size();
    const char tag = value.empty() ? '\0' : value.front();
    return size == 0 || (tag == 'B' && size == 2) || (tag == 'I' && size == 5) ||
           (tag == 'N' && size == 9) ||
           (tag == 'S' && size >= 5 && get<std::uint32_t>(&value[1]) == size - 5) ||
           (tag == 'L' && size >= 6 && value[1] == 'I' &&
            get<std::uint32_t>(&value[2]) * 4 == size - 6);
}

/// True for a name without control characters. Zeros and small numbers look like the others. Each
/// record has such a number in its header, so few of these names overlap. Therefore testing all
/// bytes of a file takes time in proportion to its size.
bool isText(std::string_view name) {
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
    return !name.empty() && name.size() <= 3 * maxNameUnits &&
           std::none_of(name.begin(), name.end(), isControl);
}

bool isLikelyName(std::string_view name) {
    return isText(name) && isValidComponent(name);
}

/// Takes the header and the name of a group.
bool take(std::string_view file, std::size_t at, GroupRecord &group) {
    ByteReader reader(file.substr(std::min(at, file.size())));
    return takeGroupHeader(reader, group.header) &&
           reader.take(group.header.nameLength, group.name);
}

bool take(std::string_view file, std::size_t at, PropertyRecord &property) {
    ByteReader reader(file.substr(std::min(at, file.size())));
    return takeProperty(reader, property);
}

std::size_t sizeOf(const PropertyRecord &property) {
    return Block::sizeOf(property.name, property.value.size());
}

/// True when the properties of a group can end here.
bool isBoundary(std::string_view file, std::size_t at) {
    constexpr std::size_t smallest = Block::headerSize + 1;
    GroupRecord next;
    const GroupHeader &header = next.header;
    return at == file.size() || (take(file, at, next) && isText(next.name) &&
                                 header.properties <= header.propertiesLength / smallest &&
                                 (header.properties > 0 || header.propertiesLength == 0));
}

bool isProperty(std::string_view file, std::size_t at, PropertyRecord &property) {
    PropertyRecord next;
    if (!take(file, at, property) || !isLikelyName(property.name))
        return false;
    const std::size_t end = at + sizeOf(property);
    return isTypical(property.value) || isBoundary(file, end) ||
           (take(file, end, next) && isText(next.name));
}

/// True when a group begins here. One of the numbers in its header may be wrong.
bool isGroup(std::string_view file, std::size_t at, GroupRecord &group) {
    const GroupHeader &header = group.header;
    PropertyRecord property;
    if (!take(file, at, group) || !isLikelyName(group.name))
        return false;
    const std::size_t head = at + GroupHeader::size + group.name.size();
    return (header.properties == 0 && header.propertiesLength == 0) ||
           isProperty(file, head, property) ||
           isBoundary(file, head + (header.properties > 0 ? header.propertiesLength : 0));
}

/// Returns the first byte from `at` on where a record begins; the end if there is none.
std::size_t nextRecord(std::string_view file, std::size_t at) {
    GroupRecord group;
    PropertyRecord property;
    while (at < file.size() && !isGroup(file, at, group) && !isProperty(file, at, property))
        ++at;
    return at;
}

/// Reads the groups of a damaged file in one pass and puts them into a tree.
///
/// Where a record ends, another one should begin. Where none does, the reading goes on at the next
/// byte where one can. Groups and properties look so different that the numbers in the header of a
/// group are not needed to tell them apart.
class Reader {
public:
    /// The file ends with its payload.
    Reader(std::string_view file, Tree &tree, Tree::GroupId target, Faults &faults)
        : _file(file), _builder(tree, 0, target),
          _faults(faults), _root{_builder.first(), tree.pathSize(target)} {}

    void read() {
        GroupRecord root;
        ByteReader reader(_file.substr(headerLength));
        if (takeGroupHeader(reader, root.header)) {
            _faults.addNumber(headerLength, "length of the root's name", root.header.nameLength, 0);
            begin(_root, headerLength, root);
            std::size_t at = _head;
            while (at < _file.size())
                at = readRecord(at);
            finish(at);
        } else {
            _faults.add(headerLength, "The file ends behind its header.");
        }
        const auto isMissing = [](const Group &group) { return group.groupsLeft > 0; };
        if (std::any_of(_open.begin(), _open.end(), isMissing))
            _faults.add(headerLength, notFitting);
        addLostProperties();
        _builder.moveIntoTree();
    }

private:
    static constexpr const char *notFitting =
        "The numbers of subgroups do not fit the groups in the file.";
    static constexpr std::size_t maxAdded = 11; ///< by `lostName`
    struct Group {
        Tree::GroupId id = Tree::none;
        Tree::PathSize path = {};
        std::uint32_t groupsLeft = 0;   ///< subgroups that are still to be read
        std::string_view previous = {}; ///< the name of the last subgroup
    };

    std::size_t readRecord(std::size_t at);
    std::size_t skip(std::size_t at);
    std::size_t place(std::size_t at, const GroupRecord &record);
    void begin(Group group, std::size_t at, const GroupRecord &record);
    void finish(std::size_t end);
    void checkNumbers(std::size_t end);
    bool canHold(const Group &group, std::size_t at, std::string_view name, bool isGroup);
    const Group &lost();
    void addLostProperties();

    /// True when a property of the group begins here whose name is damaged.
    bool isUnnamed(std::size_t at, PropertyRecord &property) const {
        return take(_file, at, property) && at + sizeOf(property) <= storedEnd() &&
               !property.name.empty() && !property.value.empty() && isTypical(property.value);
    }
    std::size_t storedEnd() const { return _head + _header.propertiesLength; }
    Group child(const Group &parent, std::string_view name) {
        return {_builder.add(parent.id, name),
                {parent.path.levels + 1, parent.path.bytes + name.size() + 1}};
    }
    /// False when a member of a group has this name already. Remembers hashes, which nobody can
    /// make collide on purpose; if two collide by chance, one member moves to "lost+found".
    bool claim(Tree::GroupId parent, std::string_view name) {
        return _taken.insert(hashOf(name) + parent * 0x9E3779B97F4A7C15).second;
    }
    /// The name of what begins at a byte in "lost+found". No two are equal.
    static std::string lostName(std::string_view name, std::size_t at) {
        const bool isGood = name.size() <= maxNameUnits - maxAdded && isValidComponent(name);
        return std::string(isGood ? name : "") + '@' + std::to_string(at);
    }

    const std::string_view _file;
    Tree::Builder _builder;
    Faults &_faults;

    const Group _root;
    std::vector<Group> _open; ///< from the root down to the last group; empty if it is not known
    bool _placeIsKnown = true;
    Group _lost; ///< "lost+found"
    std::vector<std::uint32_t> _lostProperties;
    std::size_t _lostSize = 0;
    std::unordered_set<std::uint64_t> _taken; ///< see `claim`

    // The group whose properties are being read.
    GroupHeader _header;
    std::size_t _at = 0, _head = 0;      ///< where it and its properties begin
    bool _isWhole = true;                ///< nothing in it is damaged so far
    std::vector<std::uint32_t> _offsets; ///< of its properties
    std::size_t _size = 0;               ///< of its properties
};

/// Reads the group or the property at a byte, or skips what is damaged. Returns where the next
/// record should begin.
std::size_t Reader::readRecord(std::size_t at) {
    GroupRecord group;
    PropertyRecord property;
    if (isGroup(_file, at, group))
        return place(at, group);
    if (!isProperty(_file, at, property) && !isUnnamed(at, property))
        return skip(at);
    _offsets.push_back(static_cast<std::uint32_t>(at));
    _size += sizeOf(property);
    return at + sizeOf(property);
}

/// Skips bytes that cannot be read. Unless they lie in a group that goes on, another one may be
/// lost, so it is not known what the following ones lie in.
std::size_t Reader::skip(std::size_t at) {
    const std::size_t next = nextRecord(_file, at + 1);
    _isWhole = false;
    if (at < storedEnd() && next <= storedEnd()) {
        _faults.add(at, "The lengths or the name of a property are damaged; " +
                            std::to_string(next - at) + " bytes of its group are lost.");
        return next;
    }
    const std::string what =
        at < storedEnd() ? "A group is" : "The lengths or the name of a group are";
    _faults.add(at, what + " damaged or cut short. " +
                        (next == _file.size() ? "Nothing behind it can be read."
                                              : "What can be read again begins at byte " +
                                                    std::to_string(next) + "."));
    finish(at);
    _open.clear();
    return next;
}

/// Puts a group into the tree. Returns where its properties begin.
std::size_t Reader::place(std::size_t at, const GroupRecord &record) {
    finish(at);
    while (!_open.empty() && _open.back().groupsLeft == 0)
        _open.pop_back();
    if (_open.empty() && std::exchange(_placeIsKnown, false))
        _faults.add(at, "It is not known what the groups from here on lie in.");
    if (!_open.empty()) {
        --_open.back().groupsLeft;
        if (record.name < std::exchange(_open.back().previous, record.name))
            _faults.add(at, "The names of groups are not in order.");
    }
    if (!_open.empty() && canHold(_open.back(), at, record.name, true))
        begin(child(_open.back(), record.name), at, record);
    else
        begin(child(lost(), lostName(record.name, at)), at, record);
    return _head;
}

/// Begins to read the properties of a group.
void Reader::begin(Group group, std::size_t at, const GroupRecord &record) {
    _header = record.header;
    _at = at;
    _head = at + GroupHeader::size + record.name.size();
    _isWhole = true;
    group.groupsLeft = _header.groups;
    if (_header.groups > (_file.size() - _head) / GroupHeader::size) {
        group.groupsLeft = 0; // as in most groups
        _faults.add(at + GroupHeader::groupsAt, notFitting);
    }
    _open.push_back(group);
}

/// Puts the properties that were read into their group, which ends here.
void Reader::finish(std::size_t end) {
    if (std::exchange(_isWhole, false))
        checkNumbers(end);
    Block block(_size);
    std::string_view previous;
    for (const std::uint32_t at : _offsets) {
        PropertyRecord property;
        take(_file, at, property);
        if (property.name < std::exchange(previous, property.name))
            _faults.add(at, "The names of properties are not in order.");
        if (!_open.empty() && canHold(_open.back(), at, property.name, false)) {
            block.append(property.name, property.value);
        } else {
            _lostProperties.push_back(at);
            _lostSize += sizeOf(property) + maxAdded;
        }
    }
    if (block.count() > 0)
        _builder.setProperties(_open.back().id, std::move(block));
    _offsets.clear();
    _size = 0;
}

/// Compares the header of a group with what was read of it.
void Reader::checkNumbers(std::size_t end) {
    if (end == _file.size() && end < storedEnd())
        return _faults.add(end, "A group is damaged or cut short. Nothing behind it can be read.");
    _faults.addNumber(_at + GroupHeader::propertiesAt, "number of a group's properties",
                      _header.properties, _offsets.size());
    _faults.addNumber(_at + GroupHeader::propertiesLengthAt, "length of a group's properties",
                      _header.propertiesLength, end - _head);
}

/// True when a group can have another member with this name.
bool Reader::canHold(const Group &group, std::size_t at, std::string_view name, bool isGroup) {
    if (!isValidComponent(name)) // of a property
        _faults.add(at, "The name of a property is not allowed.");
    else if (group.path.levels >= maxLevels || group.path.bytes + name.size() > maxPathSize)
        _faults.add(at, isGroup ? "A group is too deep." : "A property is too deep.");
    else if (!claim(group.id, name))
        _faults.add(at, isGroup ? "Another group or a property has the name of this one."
                                : "Another property has the name of this one.");
    else
        return true;
    return false;
}

/// The group for what has no known place. Its name is one that the root does not have yet.
const Reader::Group &Reader::lost() {
    if (_lost.id != Tree::none)
        return _lost;
    std::string name = "lost+found";
    for (int number = 2; !claim(_root.id, name); ++number)
        name = "lost+found." + std::to_string(number);
    return _lost = child(_root, name);
}

void Reader::addLostProperties() {
    Block block(_lostSize);
    PropertyRecord property;
    for (const std::uint32_t at : _lostProperties)
        if (take(_file, at, property))
            block.append(lostName(property.name, at), property.value);
    if (block.count() > 0)
        _builder.setProperties(lost().id, std::move(block));
}

// The header

/// The file as it should be if its payload has this length.
std::string mended(std::string_view file, std::uint64_t length) {
    std::string whole(file.substr(0, headerLength + length));
    writeHeader(whole);
    return whole;
}

/// True when the file is damaged in nothing but its header.
bool isSound(std::string_view file, std::string_view mended) {
    return mended.substr(checksumAt, 8) == file.substr(checksumAt, 8);
}

/// False for a file that a newer library has written, and for one that neither begins nor goes on
/// like a register file. A loss of power can leave zeros at the front.
bool isOwn(std::string_view file, bool isSound) {
    if (file.substr(0, magic.size()) == magic)
        return get<std::uint32_t>(&file[versionAt]) > version
                   ? isSound
                   : get<std::uint32_t>(&file[flagsAt]) == 0 ||
                         get<std::uint64_t>(&file[checksumAt]) != checksumOf(file);
    const std::size_t first = headerLength + GroupHeader::size;
    const bool isZero = file.find_first_not_of('\0') >= headerLength;
    const std::size_t next = nextRecord(file, isZero ? headerLength : first);
    return next < file.size() && (isZero || next == first);
}

void checkHeader(std::string_view file, bool isSound, Faults &faults) {
    const auto length = get<std::uint64_t>(&file[payloadLengthAt]);
    if (file.substr(0, magic.size()) != magic)
        faults.add(0, "The first eight bytes are not those of a register file.");
    faults.addNumber(versionAt, "version", get<std::uint32_t>(&file[versionAt]), version);
    if (get<std::uint32_t>(&file[flagsAt]) != 0)
        faults.add(flagsAt, "The flags are not zero.");
    if (length != file.size() - headerLength)
        faults.add(payloadLengthAt, "The file should hold " + std::to_string(length) +
                                        " bytes after its header and holds " +
                                        std::to_string(file.size() - headerLength) + ".");
    if (!isSound)
        faults.add(checksumAt, "The checksum does not match. Any name or value may be wrong; it "
                               "cannot be told which.");
}

/// False, with nothing changed, when there is nothing to salvage.
bool readDamaged(std::string_view file, Tree &tree, Tree::GroupId group, Faults &faults) {
    if (file.size() < headerLength) {
        if (file.substr(0, magic.size()) != magic.substr(0, file.size()))
            return false;
        faults.add(file.size(), "The file ends within its header.");
        Tree::Builder(tree, 0, group).moveIntoTree();
        return true;
    }
    const std::uint64_t present = file.size() - headerLength;
    std::string whole = mended(file, std::min(present, get<std::uint64_t>(&file[payloadLengthAt])));
    if (!isSound(file, whole))
        whole = mended(file, present);
    if (file.size() > maxFileSize || !isOwn(file, isSound(file, whole)))
        return false;
    checkHeader(file, isSound(file, whole), faults);
    const std::size_t end = whole.size();
    try {
        decode(std::make_shared<const std::string>(std::move(whole)), tree, group);
    } catch (const utils::Exception &) {
        Reader(file.substr(0, end), tree, group, faults).read();
    }
    return true;
}

} // namespace

std::vector<Fault> read(const Bytes &file, Tree &tree, Tree::GroupId group) {
    Faults faults;
    try {
        decode(file, tree, group);
    } catch (const utils::Exception &) {
        if (!readDamaged(*file, tree, group, faults))
            throw;
    }
    return faults.take();
}

} // namespace filesystem::salvage
