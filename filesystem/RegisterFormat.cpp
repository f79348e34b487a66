#include "filesystem/RegisterFormat.h"

#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstdint>
#include <memory>

namespace filesystem::registerFormat {

namespace {

using littleEndian::get;
using littleEndian::put;
using tree::Directory;
using tree::File;
using tree::Node;

// As in PNG: a first byte that is no ASCII, and line ends that a copy in text mode would change.
constexpr std::string_view magic("\x8BREG\r\n\x1A\n", 8);
constexpr std::uint32_t version = 1;

// Offsets in the header.
constexpr std::size_t versionAt = 8;
constexpr std::size_t flagsAt = 12;
constexpr std::size_t payloadLengthAt = 16;
constexpr std::size_t checksumAt = 24;
constexpr std::size_t headerLength = 32;

constexpr char fileKind = 1;
constexpr char directoryKind = 2;
constexpr std::size_t nameLengthWidth = 2;
constexpr std::size_t bodyLengthWidth = 4;

std::uint64_t checksum(std::string_view file) {
    XXH3_state_t state;
    XXH3_64bits_reset(&state);
    XXH3_64bits_update(&state, file.data(), checksumAt);
    XXH3_64bits_update(&state, file.data() + headerLength, file.size() - headerLength);
    return XXH3_64bits_digest(&state);
}

void appendEntries(std::string &out, const Directory &directory);

void appendEntry(std::string &out, const Node &node) {
    out += node.isDirectory ? directoryKind : fileKind;
    char length[bodyLengthWidth] = {};
    put(length, static_cast<std::uint16_t>(node.name.size()));
    out.append(length, nameLengthWidth);
    out += node.name;
    const std::size_t lengthAt = out.size();
    out.append(bodyLengthWidth, '\0');
    if (node.isDirectory)
        appendEntries(out, static_cast<const Directory &>(node));
    else
        out += static_cast<const File &>(node).bytes;
    if (out.size() > maxFileSize)
        throw utils::Exception("The content is too large for a register file (256 MiB).");
    put(&out[lengthAt], static_cast<std::uint32_t>(out.size() - lengthAt - bodyLengthWidth));
}

void appendEntries(std::string &out, const Directory &directory) {
    for (const Node *node : directory.sorted())
        appendEntry(out, *node);
}

/// Takes items off the front of the payload. Each `take` is false when the rest cannot hold it.
class Reader {
public:
    explicit Reader(std::string_view rest) : _rest(rest) {}
    bool atEnd() const { return _rest.empty(); }
    const char *position() const { return _rest.data(); }

    bool take(std::string_view &bytes, std::size_t length) {
        if (length > _rest.size())
            return false;
        bytes = _rest.substr(0, length);
        _rest.remove_prefix(length);
        return true;
    }
    template <class Unsigned>
    bool take(Unsigned &value) {
        std::string_view bytes;
        if (!take(bytes, sizeof value))
            return false;
        value = get<Unsigned>(bytes.data());
        return true;
    }

private:
    std::string_view _rest;
};

struct Entry {
    char kind = 0;
    std::string_view name;
    std::string_view body;
};

bool takeEntry(Reader &reader, Entry &entry) {
    std::uint8_t kind = 0;
    std::uint16_t nameLength = 0;
    std::uint32_t bodyLength = 0;
    if (!reader.take(kind) || !reader.take(nameLength) || !reader.take(entry.name, nameLength) ||
        !reader.take(bodyLength) || !reader.take(entry.body, bodyLength))
        return false;
    entry.kind = static_cast<char>(kind);
    return true;
}

/// Tests the structure of a payload without building anything.
class Checker {
public:
    explicit Checker(const char *fileStart) : _fileStart(fileStart) {}

    /// `level` is that of the entries in `body`; it bounds the recursion.
    void check(std::string_view body, int level) const {
        Reader reader(body);
        std::string_view previous;
        while (!reader.atEnd()) {
            const char *at = reader.position();
            Entry entry;
            if (!takeEntry(reader, entry))
                fail("an entry is longer than what holds it", at);
            if (entry.kind != fileKind && entry.kind != directoryKind)
                fail("an entry is neither a file nor a directory", at);
            if (!tree::isValidName(entry.name))
                fail("a name is not allowed", at);
            if (entry.name <= previous)
                fail("the names are not in order", at);
            if (level > tree::maxLevels)
                fail("it is too deep", at);
            if (entry.kind == directoryKind)
                check(entry.body, level + 1);
            previous = entry.name;
        }
    }

private:
    [[noreturn]] void fail(const char *what, const char *at) const {
        throw utils::Exception(std::string("The register file is damaged: ") + what + " (at byte " +
                               std::to_string(at - _fileStart) + ").");
    }

    const char *_fileStart;
};

/// Builds what `Checker` has passed.
void build(std::string_view body, Directory &directory) {
    Reader reader(body);
    Entry entry;
    while (!reader.atEnd() && takeEntry(reader, entry)) {
        if (entry.kind == directoryKind) {
            auto child = std::make_shared<Directory>(entry.name);
            build(entry.body, *child);
            directory.insert(std::move(child));
        } else {
            directory.insert(std::make_shared<File>(entry.name, std::string(entry.body)));
        }
    }
}

/// The payload, once the header, the length and the checksum have been tested.
std::string_view openPayload(std::string_view file) {
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
    if (checksum(file) != get<std::uint64_t>(&file[checksumAt]))
        throw utils::Exception("The register file is damaged: its checksum does not match.");
    if (get<std::uint32_t>(&file[flagsAt]) != 0)
        throw utils::Exception("The register file uses features that this library does not know.");
    return file.substr(headerLength);
}

} // namespace

std::string encode(const Directory &directory) {
    std::string file(headerLength, '\0');
    appendEntries(file, directory);
    file.replace(0, magic.size(), magic);
    put(&file[versionAt], version);
    put(&file[payloadLengthAt], static_cast<std::uint64_t>(file.size() - headerLength));
    put(&file[checksumAt], checksum(file));
    return file;
}

Directory decode(std::string_view file, int level) {
    Directory directory;
    if (file.empty())
        return directory;
    const std::string_view payload = openPayload(file);
    Checker(file.data()).check(payload, level + 1);
    build(payload, directory);
    return directory;
}

} // namespace filesystem::registerFormat
