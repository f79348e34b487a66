#include "filesystem/RegisterFormat.h"

#include "exception/Exception.h"
#include "filesystem/FormatRecords.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace filesystem::registerFormat {

namespace {

using littleEndian::get;
using littleEndian::put;

template <class Unsigned>
void append(std::string &out, std::size_t value) {
    char bytes[sizeof(Unsigned)];
    put(bytes, static_cast<Unsigned>(value));
    out.append(bytes, sizeof bytes);
}

void appendGroup(std::string &out, const Tree &tree, Tree::GroupId id, std::string_view name) {
    const Block &properties = tree.properties(id);
    append<std::uint16_t>(out, name.size());
    append<std::uint32_t>(out, properties.count());
    append<std::uint32_t>(out, properties.bytes().size());
    append<std::uint32_t>(out, tree.groups(id).size());
    out.append(name).append(properties.bytes());
}

/// Counts the groups in a payload, up to the first one that is cut short. Checks nothing else.
std::size_t countGroups(std::string_view payload) {
    ByteReader reader(payload);
    GroupRecord group;
    std::size_t count = 0;
    while (takeGroup(reader, group))
        ++count;
    return count;
}

/// Checks the structure of a payload and builds its groups outside of the tree.
class Decoder {
public:
    Decoder(std::shared_ptr<const std::string> file, std::string_view payload, Tree &tree,
            Tree::GroupId target)
        : _file(std::move(file)), _reader(payload), _path(tree.pathSize(target)),
          _builder(tree, countGroups(payload), target) {}

    void decode() {
        readGroup();
        while (!_open.empty()) {
            if (_open.back().groupsLeft == 0)
                _open.pop_back();
            else
                readGroup();
        }
        if (!_reader.atEnd())
            fail("bytes follow its last group", _reader.position());
        _builder.moveIntoTree();
    }

private:
    /// A group whose subgroups are being read.
    struct OpenGroup {
        Tree::GroupId id;
        std::uint32_t groupsLeft;
        Tree::PathSize path;
        std::string_view previous; ///< the name of the last subgroup read
        ByteReader properties;     ///< not yet compared with the names of subgroups
        PropertyRecord property;   ///< the last one compared
    };

    void readGroup();
    void checkName(OpenGroup &parent, std::string_view name, const char *at) const;
    void checkProperties(const GroupRecord &group, const Tree::PathSize &path) const;

    [[noreturn]] void fail(const char *what, const char *at) const {
        throw utils::Exception(std::string("The register file is damaged: ") + what + " (at byte " +
                               std::to_string(at - _file->data()) + ").");
    }

    const std::shared_ptr<const std::string> _file;
    ByteReader _reader;
    const Tree::PathSize _path; ///< of the target
    Tree::Builder _builder;
    std::vector<OpenGroup> _open; ///< from the first group down to the parent of the next
};

void Decoder::readGroup() {
    const char *at = _reader.position();
    GroupRecord group;
    if (!takeGroup(_reader, group))
        fail("an entry is longer than what holds it", at);
    Tree::PathSize path = _path;
    Tree::GroupId id = _builder.first();
    if (_open.empty()) {
        if (!group.name.empty())
            fail("its first group has a name", at);
    } else {
        OpenGroup &parent = _open.back();
        checkName(parent, group.name, at);
        path = {parent.path.levels + 1, parent.path.bytes + group.name.size() + 1};
        if (path.levels > maxLevels || path.bytes > maxPathSize + 1)
            fail("it is too deep", at);
        id = _builder.add(parent.id, group.name);
        parent.previous = group.name;
        --parent.groupsLeft;
    }
    checkProperties(group, path);
    if (group.header.properties > 0)
        _builder.setProperties(id, Block(_file, group.properties, group.header.properties));
    _open.push_back({id, group.header.groups, path, {}, ByteReader(group.properties), {}});
}

/// Checks the name of a group. It must be valid, come after the name of the group before it, and
/// differ from the names of its parent's properties.
void Decoder::checkName(OpenGroup &parent, std::string_view name, const char *at) const {
    if (!isValidComponent(name))
        fail("a name is not allowed", at);
    if (name <= parent.previous)
        fail("the names are not in order", at);
    while (parent.property.name < name && !parent.properties.atEnd())
        takeProperty(parent.properties, parent.property);
    if (parent.property.name == name)
        fail("a group has the name of a property", at);
}

void Decoder::checkProperties(const GroupRecord &group, const Tree::PathSize &path) const {
    ByteReader reader(group.properties);
    PropertyRecord property;
    std::string_view previous;
    std::uint32_t count = 0;
    for (; !reader.atEnd(); ++count, previous = property.name) {
        const char *at = reader.position();
        if (!takeProperty(reader, property))
            fail("an entry is longer than what holds it", at);
        if (!isValidComponent(property.name))
            fail("a name is not allowed", at);
        if (property.name <= previous)
            fail("the names are not in order", at);
        if (path.levels >= maxLevels || path.bytes + property.name.size() > maxPathSize)
            fail("it is too deep", at);
    }
    if (count != group.header.properties)
        fail("the number of properties is wrong", group.properties.data());
}

/// Checks the header, the length and the checksum.
void checkHeader(std::string_view file) {
    if (file.size() > maxFileSize)
        throw utils::Exception("The register file is larger than 256 MiB.");
    const std::size_t common = std::min(file.size(), magic.size());
    if (file.substr(0, common) != magic.substr(0, common))
        throw utils::Exception("This is not a register file.");
    if (file.size() < headerLength)
        throw utils::Exception("The register file is cut short: " + std::to_string(file.size()) +
                               " bytes are less than its header.");
    const auto fileVersion = get<std::uint32_t>(&file[versionAt]);
    if (fileVersion != version)
        throw utils::Exception("The register file has version " + std::to_string(fileVersion) +
                               "; this library reads version " + std::to_string(version) + ".");
    const auto length = get<std::uint64_t>(&file[payloadLengthAt]);
    const std::uint64_t present = file.size() - headerLength;
    if (length != present)
        throw utils::Exception("The register file is damaged: it should hold " +
                               std::to_string(length) + " bytes after its header and holds " +
                               std::to_string(present) + ".");
    if (checksumOf(file) != get<std::uint64_t>(&file[checksumAt]))
        throw utils::Exception("The register file is damaged: its checksum does not match.");
    if (get<std::uint32_t>(&file[flagsAt]) != 0)
        throw utils::Exception("The register file uses features that this library does not know.");
}

} // namespace

std::uint64_t checksumOf(std::string_view file) {
    XXH3_state_t state;
    XXH3_64bits_reset(&state);
    XXH3_64bits_update(&state, file.data(), checksumAt);
    XXH3_64bits_update(&state, file.data() + headerLength, file.size() - headerLength);
    return XXH3_64bits_digest(&state);
}

void writeHeader(std::string &file) {
    magic.copy(file.data(), magic.size());
    put(&file[versionAt], version);
    put(&file[flagsAt], std::uint32_t{0});
    put(&file[payloadLengthAt], std::uint64_t{file.size() - headerLength});
    put(&file[checksumAt], checksumOf(file));
}

std::string_view headerOf(std::string_view file) {
    return file.substr(0, headerLength);
}

std::string faultOf(Bytes file) {
    Tree scratch;
    const Top top = scratch.top("user"); // the limits of depth and length include the scope
    scratch.addGroup(top, Name({}));
    try {
        decode(std::move(file), scratch, scratch.find(top, Name({})).group);
        return {};
    } catch (const utils::Exception &error) {
        return error.what();
    }
}

std::string encode(Tree &tree, Tree::GroupId top) {
    std::size_t size = headerLength;
    for (Tree::GroupId id = top; id != Tree::none; id = tree.next(id, top)) {
        tree.sort(id);
        const std::size_t nameLength = id == top ? 0 : tree.name(id).size();
        size += GroupHeader::size + nameLength + tree.properties(id).bytes().size();
    }
    if (size > maxFileSize)
        throw utils::Exception("The content is too large for a register file (256 MiB).");
    std::string file;
    file.reserve(size);
    file.resize(headerLength);
    for (Tree::GroupId id = top; id != Tree::none; id = tree.next(id, top))
        appendGroup(file, tree, id, id == top ? std::string_view() : tree.name(id));
    writeHeader(file);
    return file;
}

void decode(Bytes file, Tree &tree, Tree::GroupId group) {
    if (file->empty())
        return Tree::Builder(tree, 0, group).moveIntoTree();
    checkHeader(*file);
    const std::string_view payload = std::string_view(*file).substr(headerLength);
    Decoder(std::move(file), payload, tree, group).decode();
}

} // namespace filesystem::registerFormat
