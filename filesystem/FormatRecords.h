#pragma once

#include "filesystem/ByteReader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The parts of a register file, as they lie in its bytes. docs/file-format.md describes them.
namespace filesystem::registerFormat {

// As in PNG: the first byte is not ASCII, and a copy in text mode would change the line ends.
constexpr std::string_view magic("\x8BREG\r\n\x1A\n", 8);
constexpr std::uint32_t version = 1;

// Offsets in the header.
constexpr std::size_t versionAt = 8;
constexpr std::size_t flagsAt = 12;
constexpr std::size_t payloadLengthAt = 16;
constexpr std::size_t checksumAt = 24;
constexpr std::size_t headerLength = 32;

/// The checksum that a file should have: that of all other bytes.
std::uint64_t checksumOf(std::string_view file);
/// Writes the header of a file, whose payload lies behind it.
void writeHeader(std::string &file);

/// The fields in front of a group's name.
struct GroupHeader {
    std::uint16_t nameLength = 0;
    std::uint32_t properties = 0;
    std::uint32_t propertiesLength = 0; ///< in bytes
    std::uint32_t groups = 0;

    static constexpr std::size_t size = 14;
    // Offsets in the header of a group.
    static constexpr std::size_t propertiesAt = 2;
    static constexpr std::size_t propertiesLengthAt = 6;
    static constexpr std::size_t groupsAt = 10;
};

struct GroupRecord {
    GroupHeader header;
    std::string_view name, properties;
};

struct PropertyRecord {
    std::string_view name, value;
};

inline bool takeGroupHeader(ByteReader &reader, GroupHeader &header) {
    return reader.take(header.nameLength) && reader.take(header.properties) &&
           reader.take(header.propertiesLength) && reader.take(header.groups);
}

inline bool takeGroup(ByteReader &reader, GroupRecord &group) {
    const GroupHeader &header = group.header;
    return takeGroupHeader(reader, group.header) && reader.take(header.nameLength, group.name) &&
           reader.take(header.propertiesLength, group.properties);
}

inline bool takeProperty(ByteReader &reader, PropertyRecord &property) {
    std::uint16_t nameLength = 0;
    std::uint32_t valueLength = 0;
    return reader.take(nameLength) && reader.take(valueLength) &&
           reader.take(nameLength, property.name) && reader.take(valueLength, property.value);
}

} // namespace filesystem::registerFormat
