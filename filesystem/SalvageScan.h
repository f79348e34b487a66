#pragma once

#include "filesystem/FormatRecords.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Finds what can be read in a damaged register file.
namespace filesystem::salvage {

/// What is wrong in a file, and at which byte.
struct Fault {
    std::uint64_t offset;
    std::string what;
};

/// The faults of a file. A hostile file can have millions, so only the first ones are listed.
class Faults {
public:
    static constexpr std::size_t maxListed = 1000;

    void add(std::size_t offset, std::string what);
    /// Returns the faults by their bytes. The last one counts those that are not listed.
    std::vector<Fault> take();

private:
    std::vector<Fault> _listed;
    std::size_t _more = 0;
};

/// A group that was found. Its properties are those in `[head, headEnd)`, the mended one if there
/// is one, and those in `[tail, end)`.
struct FoundGroup {
    std::uint32_t at = 0;         ///< of its header
    std::uint32_t groups = 0;     ///< how many subgroups follow it, unless it `isBroken`
    std::uint32_t properties = 0; ///< how many there are, if it `isWhole`
    std::uint16_t nameLength = 0; ///< 0 for the root, and where the name is not known
    std::uint16_t mendedName = 0; ///< the length of the mended property's name; 0 for none
    bool isWhole = false;         ///< its properties fill the bytes of their group exactly
    bool isBroken = false;        ///< groups may be missing behind it
    std::uint32_t head = 0, headEnd = 0, tail = 0, end = 0;

    std::string_view name(std::string_view file) const {
        const std::size_t from = at + registerFormat::GroupHeader::size;
        return nameLength == 0 || from > file.size() ? std::string_view()
                                                     : file.substr(from, nameLength);
    }
};

/// True when one flipped bit makes one number of the other, or when they are equal.
constexpr bool differInOneBit(std::uint64_t a, std::uint64_t b) {
    return ((a ^ b) & ((a ^ b) - 1)) == 0;
}

/// Calls `visit` with each property of a found group and the byte where it begins.
template <class Visit>
void forEachProperty(std::string_view file, const FoundGroup &group, Visit visit) {
    const auto each = [&](std::size_t from, std::size_t to) {
        ByteReader reader(file.substr(from, to - from));
        for (registerFormat::PropertyRecord property; !reader.atEnd();) {
            const auto at = static_cast<std::size_t>(reader.position() - file.data());
            if (!takeProperty(reader, property))
                return;
            visit(at, property);
        }
    };
    constexpr std::size_t header = 6;
    each(group.head, group.headEnd);
    if (const std::size_t at = group.headEnd, length = group.mendedName; length > 0)
        visit(at, registerFormat::PropertyRecord{
                      file.substr(at + header, length),
                      file.substr(at + header + length, group.tail - at - header - length)});
    each(group.tail, group.end);
}

/// Reads the groups in a file, in their order, from the root on.
///
/// A group is taken as it stands when the next one begins where it ends. Otherwise the reading goes
/// on at the next byte from which groups follow one another. Lengths that differ in one bit from
/// what fits between two such bytes are mended.
///
/// Takes time in proportion to the size of the file, with a factor for the longest name, whatever
/// the bytes are.
class Scan {
public:
    /// `end` is where the payload ends, at most the end of the file. `isCut` says that it was
    /// longer: then what ends there is not mended.
    Scan(std::string_view file, std::size_t end, bool isCut, Faults &faults);

    std::vector<FoundGroup> run();
    /// True when a group could begin here, or the payload ends here.
    bool isBoundary(std::size_t at) const;

private:
    /// Groups that follow one another without a gap.
    struct Chain {
        std::uint32_t at, end;
        bool isCredible;
    };

    bool read(std::size_t at, registerFormat::GroupRecord &group) const;
    bool isLikelyGroup(std::size_t at, registerFormat::GroupRecord &group) const;
    bool isLikelyProperty(std::size_t at, std::size_t end,
                          registerFormat::PropertyRecord &property) const;
    bool startsWell(const FoundGroup &group, std::size_t properties) const;
    bool isExact(const registerFormat::GroupRecord &group);
    std::size_t readGroup(std::size_t at);
    std::size_t readBroken(std::size_t at);
    bool readMended(std::size_t at, std::size_t next);
    bool mendLengths(FoundGroup &group, const registerFormat::GroupHeader &header);
    std::size_t addIncomplete(std::size_t at, std::size_t end);

    void readProperties(FoundGroup &group, std::size_t count);
    bool fillExactly(FoundGroup &group, std::size_t count);
    std::size_t readHead(FoundGroup &group) const;
    std::size_t findTail(std::size_t from, std::size_t end) const;
    bool mendProperty(FoundGroup &group, std::size_t at);

    void findChains(std::size_t from);
    std::size_t nextChain(std::size_t from);

    bool isCutAt(std::size_t at) const { return _isCut && at == _file.size(); }

    const std::string_view _file; ///< up to the end of the payload
    const bool _isCut;
    Faults &_faults;
    std::vector<FoundGroup> _groups;
    std::vector<Chain> _chains; ///< by their first bytes, once searched for
    bool _chainsAreFound = false;
    std::size_t _spare; ///< how many bytes may still be read in vain
};

} // namespace filesystem::salvage
