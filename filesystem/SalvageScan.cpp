#include "filesystem/SalvageScan.h"

#include "filesystem/Block.h"
#include "filesystem/Path.h"

#include <algorithm>
#include <utility>

namespace filesystem::salvage {

using registerFormat::GroupHeader;
using registerFormat::GroupRecord;
using registerFormat::headerLength;
using registerFormat::PropertyRecord;

namespace {

/// True for a value of one of the register's types, as far as its length tells. Properties may hold
/// other bytes too.
bool isTypical(std::string_view value) {
    switch (value.empty() ? 0 : value.front()) {
    case 0:
        return value.empty();
    case 'S':
        return value.size() >= 5 && littleEndian::get<std::uint32_t>(&value[1]) == value.size() - 5;
    case 'N':
        return value.size() == 9;
    case 'I':
        return value.size() == 5;
    case 'B':
        return value.size() == 2;
    default:
        return value.front() == 'L';
    }
}

/// True for a name without control characters. Other valid names exist, but zeros and small numbers
/// look like them.
bool isLikelyName(std::string_view name) {
    return isValidComponent(name) && std::none_of(name.begin(), name.end(), [](char character) {
               return static_cast<unsigned char>(character) < 0x20;
           });
}

std::uint32_t offset(std::size_t at) {
    return static_cast<std::uint32_t>(at);
}

std::string wrongNumber(const char *what, std::size_t stored, std::size_t actual) {
    return std::string("The ") + what + " is " + std::to_string(stored) + " and should be " +
           std::to_string(actual) + ".";
}

} // namespace

void Faults::add(std::size_t at, std::string what) {
    if (_listed.size() == maxListed)
        ++_more;
    else
        _listed.push_back({at, std::move(what)});
}

std::vector<Fault> Faults::take() {
    std::stable_sort(_listed.begin(), _listed.end(),
                     [](const Fault &a, const Fault &b) { return a.offset < b.offset; });
    if (_more > 0)
        _listed.push_back({_listed.back().offset, std::to_string(std::exchange(_more, 0)) +
                                                      " more faults are not listed."});
    return std::move(_listed);
}

Scan::Scan(std::string_view file, std::size_t end, bool isCut, Faults &faults)
    : _file(file.substr(0, end)), _isCut(isCut), _faults(faults), _spare(8 * file.size()) {}

std::vector<FoundGroup> Scan::run() {
    for (std::size_t at = headerLength; at < _file.size();)
        at = readGroup(at);
    return std::move(_groups);
}

// Groups

/// Reads a group, which need not make sense. The first one is the root, which has no name.
bool Scan::read(std::size_t at, GroupRecord &group) const {
    ByteReader reader(_file.substr(at));
    if (at != headerLength)
        return takeGroup(reader, group);
    return takeGroupHeader(reader, group.header) && reader.take(0, group.name) &&
           reader.take(group.header.propertiesLength, group.properties);
}

bool Scan::isLikelyGroup(std::size_t at, GroupRecord &group) const {
    constexpr std::size_t smallest = Block::headerSize + 1;
    PropertyRecord property;
    const GroupHeader &header = group.header;
    return read(at, group) && header.properties <= header.propertiesLength / smallest &&
           (header.properties > 0 || header.propertiesLength == 0) && isLikelyName(group.name) &&
           (header.properties == 0 ||
            isLikelyProperty(static_cast<std::size_t>(group.properties.data() - _file.data()),
                             _file.size(), property));
}

bool Scan::isBoundary(std::size_t at) const {
    GroupRecord group;
    return at == _file.size() || isLikelyGroup(at, group);
}

/// True when the properties fill the bytes of their group. A hostile file can make this check
/// useless time and again, so it ends at some point.
bool Scan::isExact(const GroupRecord &group) {
    if (group.properties.size() > _spare)
        return false;
    _spare -= group.properties.size();
    ByteReader reader(group.properties);
    PropertyRecord property;
    std::size_t count = 0;
    for (; !reader.atEnd(); ++count)
        if (!takeProperty(reader, property) || !isLikelyName(property.name))
            return false;
    return count == group.header.properties && count > 0;
}

/// Reads the group at a byte. Returns where the reading goes on.
std::size_t Scan::readGroup(std::size_t at) {
    const bool isRoot = at == headerLength;
    GroupRecord record;
    if (!read(at, record) || record.name.empty() != isRoot)
        return readBroken(at);
    const GroupHeader &header = record.header;
    FoundGroup group;
    group.at = offset(at);
    group.groups = header.groups;
    group.nameLength = static_cast<std::uint16_t>(record.name.size());
    group.head = offset(at + GroupHeader::size + record.name.size());
    group.end = offset(group.head + record.properties.size());
    const bool endsWell = isBoundary(group.end);
    if (!(endsWell && startsWell(group, header.properties)) && !isExact(record)) {
        const std::size_t next = nextChain(at + 1);
        const bool isEmpty = header.properties == 0 && group.head == group.end;
        if (readMended(at, next))
            return next;
        if (!endsWell && !(isEmpty && isLikelyName(record.name)))
            return addIncomplete(at, next);
    }
    if (isRoot && header.nameLength != 0)
        _faults.add(at, wrongNumber("length of the root's name", header.nameLength, 0));
    readProperties(group, header.properties);
    _groups.push_back(group);
    return group.end;
}

/// Reads what can be read of the group at a byte, up to the next byte where a group begins.
std::size_t Scan::readBroken(std::size_t at) {
    const std::size_t next = nextChain(at + 1);
    return readMended(at, next) ? next : addIncomplete(at, next);
}

/// Reads a group that ends where the next one begins once one of its lengths is mended.
bool Scan::readMended(std::size_t at, std::size_t next) {
    ByteReader reader(_file.substr(at, next - at));
    FoundGroup group;
    GroupHeader header;
    group.at = offset(at);
    group.end = offset(next);
    if (!takeGroupHeader(reader, header) || isCutAt(next) || !mendLengths(group, header))
        return false;
    group.groups = header.groups;
    readProperties(group, header.properties);
    _groups.push_back(group);
    return true;
}

/// Mends one of the two lengths of a group that ends where the next one begins.
bool Scan::mendLengths(FoundGroup &group, const GroupHeader &header) {
    const bool isRoot = group.at == headerLength;
    const std::size_t nameLength = isRoot ? 0 : header.nameLength;
    const std::size_t total = group.end - group.at - GroupHeader::size;
    const auto fits = [&](std::size_t length) {
        group.nameLength = static_cast<std::uint16_t>(length);
        group.head = offset(group.at + GroupHeader::size + length);
        return startsWell(group, header.properties) && (isRoot || isLikelyName(group.name(_file)));
    };
    if (nameLength <= total && differInOneBit(total - nameLength, header.propertiesLength) &&
        fits(nameLength)) {
        _faults.add(group.at + GroupHeader::propertiesLengthAt,
                    wrongNumber("length of a group's properties", header.propertiesLength,
                                total - nameLength));
        return true;
    }
    const std::size_t length = total - header.propertiesLength;
    if (header.propertiesLength > total || isRoot || length > UINT16_MAX ||
        !differInOneBit(length, header.nameLength) || !fits(length))
        return false;
    _faults.add(group.at, wrongNumber("length of a group's name", header.nameLength, length));
    return true;
}

/// Adds a group that cannot be told where it ends. Properties at the end of its bytes may be those
/// of another group, whose header is damaged.
std::size_t Scan::addIncomplete(std::size_t at, std::size_t end) {
    const bool isRoot = at == headerLength;
    ByteReader reader(_file.substr(at, end - at));
    GroupHeader header;
    FoundGroup group;
    group.at = offset(at);
    group.end = offset(end);
    group.isBroken = true;
    if (takeGroupHeader(reader, header) && !isRoot)
        group.nameLength = header.nameLength;
    group.head = offset(std::min(at + GroupHeader::size + group.nameLength, end));
    const bool isKnown = isRoot || (isLikelyName(group.name(_file.substr(0, end))) &&
                                    header.properties > 0 && startsWell(group, 1));
    if (isKnown)
        readHead(group);
    else
        group.nameLength = 0, group.head = group.headEnd = group.at;
    group.tail = offset(findTail(group.headEnd + (isKnown ? 0 : 1), end));
    const std::string where = group.tail < end || end < _file.size()
                                  ? "What can be read again begins at byte " +
                                        std::to_string(std::min<std::size_t>(group.tail, end)) + "."
                                  : "Nothing behind it can be read.";
    _faults.add(group.headEnd,
                (isKnown ? "A group is damaged or cut short. "
                         : "The lengths or the name of a group are damaged or cut short. ") +
                    where);
    _groups.push_back(group);
    if (isKnown && group.tail < end) {
        FoundGroup rest;
        rest.at = rest.head = rest.headEnd = rest.tail = group.tail;
        rest.end = group.end;
        rest.isBroken = true;
        _groups.back().tail = group.end;
        _groups.push_back(rest);
    }
    return end;
}

// Properties

bool Scan::isLikelyProperty(std::size_t at, std::size_t end, PropertyRecord &property) const {
    ByteReader reader(_file.substr(at, end - at));
    return takeProperty(reader, property) && isLikelyName(property.name);
}

/// True when this number of properties can begin where those of a group do.
bool Scan::startsWell(const FoundGroup &group, std::size_t properties) const {
    PropertyRecord property;
    return properties == 0
               ? group.head == group.end
               : group.head < group.end && isLikelyProperty(group.head, group.end, property);
}

/// Reads the properties of a group that begins and ends at known bytes.
void Scan::readProperties(FoundGroup &group, std::size_t count) {
    if (fillExactly(group, count))
        return;
    const std::size_t last = readHead(group);
    group.tail = offset(findTail(last + 1, group.end));
    PropertyRecord property;
    const bool lastIsSound =
        isLikelyProperty(last, group.headEnd, property) && isTypical(property.value);
    if (mendProperty(group, group.headEnd) || (!lastIsSound && mendProperty(group, last)))
        return;
    if (group.tail < group.headEnd)
        group.headEnd = offset(last);
    _faults.add(group.headEnd, "The lengths or the name of a property are damaged; " +
                                   std::to_string(group.tail - group.headEnd) +
                                   " bytes of its group are lost.");
}

/// True when the properties fill the bytes of their group one after the other.
bool Scan::fillExactly(FoundGroup &group, std::size_t count) {
    ByteReader reader(_file.substr(group.head, group.end - group.head));
    PropertyRecord property;
    std::size_t found = 0;
    bool areLikely = true;
    for (; !reader.atEnd(); ++found) {
        if (!takeProperty(reader, property))
            return false;
        areLikely = areLikely && isLikelyName(property.name);
    }
    if (found != count && !areLikely)
        return false;
    if (found != count)
        _faults.add(group.at + GroupHeader::propertiesAt,
                    wrongNumber("number of a group's properties", count, found));
    group.headEnd = group.tail = group.end;
    group.properties = offset(found);
    return group.isWhole = true;
}

/// Finds the end of the properties that can be read from the front. Returns where the last of them
/// begins.
std::size_t Scan::readHead(FoundGroup &group) const {
    std::size_t last = group.head;
    group.headEnd = group.head;
    for (PropertyRecord property; isLikelyProperty(group.headEnd, group.end, property);) {
        last = group.headEnd;
        group.headEnd = offset(last + Block::sizeOf(property.name, property.value.size()));
    }
    return last;
}

/// Returns the first byte from which properties follow one another exactly to the end; the end
/// itself if there is none.
std::size_t Scan::findTail(std::size_t from, std::size_t end) const {
    std::size_t first = end;
    if (from >= end)
        return end;
    std::vector<bool> reachesEnd(end - from + 1);
    reachesEnd[end - from] = true;
    for (std::size_t at = end; at-- > from;) {
        ByteReader reader(_file.substr(at, end - at));
        PropertyRecord property;
        if (!takeProperty(reader, property))
            continue;
        const std::size_t next = at + Block::sizeOf(property.name, property.value.size());
        if (reachesEnd[next - from] && isLikelyName(property.name)) {
            reachesEnd[at - from] = true;
            first = at;
        }
    }
    return first;
}

/// Mends one of the two lengths of a property that ends where the tail of its group begins. If
/// either could be wrong, the one decides that leaves a value of the register's types.
bool Scan::mendProperty(FoundGroup &group, std::size_t at) {
    const std::size_t names = at + Block::headerSize;
    if (names >= group.tail || isCutAt(group.tail))
        return false;
    const std::size_t total = group.tail - names;
    const std::size_t nameLength = littleEndian::get<std::uint16_t>(&_file[at]);
    const std::size_t valueLength = littleEndian::get<std::uint32_t>(&_file[at + 2]);
    const auto leavesTypical = [&](std::size_t length) {
        return isTypical(_file.substr(names + length, total - length));
    };
    const bool valueFits = nameLength <= total && differInOneBit(total - nameLength, valueLength) &&
                           isLikelyName(_file.substr(names, nameLength));
    const bool nameFits = valueLength < total && differInOneBit(total - valueLength, nameLength) &&
                          isLikelyName(_file.substr(names, total - valueLength));
    if (!valueFits && !nameFits)
        return false;
    const bool isName =
        nameFits &&
        (!valueFits || (leavesTypical(total - valueLength) && !leavesTypical(nameLength)));
    group.headEnd = offset(at);
    group.mendedName = static_cast<std::uint16_t>(isName ? total - valueLength : nameLength);
    if (isName)
        _faults.add(at,
                    wrongNumber("length of a property's name", nameLength, total - valueLength));
    else
        _faults.add(at + 2, wrongNumber("length of a value", valueLength, total - nameLength));
    return true;
}

// Where the reading goes on

/// Finds the bytes from which groups follow one another, and where they end.
void Scan::findChains(std::size_t from) {
    _chainsAreFound = true;
    for (std::size_t at = _file.size(); at-- > from;) {
        GroupRecord group;
        if (!isLikelyGroup(at, group))
            continue;
        const std::size_t next =
            at + GroupHeader::size + group.name.size() + group.properties.size();
        const auto behind =
            std::lower_bound(_chains.begin(), _chains.end(), next,
                             [](const Chain &chain, std::size_t to) { return chain.at > to; });
        const bool goesOn = behind != _chains.end() && behind->at == next;
        _chains.push_back({offset(at), goesOn ? behind->end : offset(next),
                           goesOn || next == _file.size() || group.header.properties > 0});
    }
    std::reverse(_chains.begin(), _chains.end());
}

/// Returns the next byte from which groups follow one another; the end of the payload if there is
/// none. Of chains that begin within one another, takes one that reaches the end, or the longest.
std::size_t Scan::nextChain(std::size_t from) {
    constexpr int maxCompared = 64;
    if (!_chainsAreFound)
        findChains(from);
    const auto better = [this](const Chain &a, const Chain &b) {
        const bool aIsLast = a.end == _file.size(), bIsLast = b.end == _file.size();
        return aIsLast != bIsLast ? aIsLast : a.end - a.at > b.end - b.at;
    };
    auto next = std::lower_bound(_chains.begin(), _chains.end(), from,
                                 [](const Chain &chain, std::size_t at) { return chain.at < at; });
    while (next != _chains.end() && !next->isCredible)
        ++next;
    if (next == _chains.end())
        return _file.size();
    const auto first = next;
    for (auto other = first; other != _chains.end() && other - first < maxCompared; ++other)
        if (other->at < next->end && other->isCredible && better(*other, *next))
            next = other;
    return next->at;
}

} // namespace filesystem::salvage
