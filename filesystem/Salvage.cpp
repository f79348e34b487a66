#include "filesystem/Salvage.h"

#include "exception/Exception.h"
#include "filesystem/SalvageTree.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace filesystem::salvage {

using littleEndian::get;
using littleEndian::put;
using namespace registerFormat;

namespace {

/// The header of a damaged file, and what it tells of the payload.
class Header {
public:
    explicit Header(std::string_view file) : _file(file) {}

    std::uint32_t fileVersion() const { return get<std::uint32_t>(&_file[versionAt]); }
    std::uint32_t flags() const { return get<std::uint32_t>(&_file[flagsAt]); }
    std::uint64_t length() const { return get<std::uint64_t>(&_file[payloadLengthAt]); }
    std::uint64_t present() const { return _file.size() - headerLength; }
    bool hasMagic() const { return _file.substr(0, magic.size()) == magic; }
    bool isZero() const { return _file.find_first_not_of('\0') >= headerLength; }
    bool isOwn() const; ///< as it stands, the checksum is that of the header and the payload
    /// The header that the file should have, where the checksum is that of its payload.
    std::optional<std::string> mended() const;
    void report(Faults &faults) const;

private:
    const std::string_view _file;
};

bool Header::isOwn() const {
    return checksum(_file.substr(0, checksumAt), _file.substr(headerLength)) ==
           get<std::uint64_t>(&_file[checksumAt]);
}

std::optional<std::string> Header::mended() const {
    std::string front(_file.substr(0, headerLength));
    magic.copy(front.data(), magic.size());
    put(&front[versionAt], version);
    put(&front[flagsAt], std::uint32_t{0});
    const auto stored = get<std::uint64_t>(&_file[checksumAt]);
    for (const std::uint64_t length : {std::min(length(), present()), present()}) {
        put(&front[payloadLengthAt], length);
        if (checksum(std::string_view(front).substr(0, checksumAt),
                     _file.substr(headerLength, length)) == stored)
            return front;
    }
    return std::nullopt;
}

void Header::report(Faults &faults) const {
    if (!hasMagic())
        faults.add(0, "The first eight bytes are not those of a register file.");
    if (fileVersion() != version)
        faults.add(versionAt, "The version is " + std::to_string(fileVersion()) +
                                  " and should be " + std::to_string(version) + ".");
    if (flags() != 0)
        faults.add(flagsAt, "The flags are not zero.");
    if (length() != present())
        faults.add(payloadLengthAt, "The file should hold " + std::to_string(length()) +
                                        " bytes after its header and holds " +
                                        std::to_string(present()) + ".");
}

/// True when there is nothing to salvage, because a newer library has written the file.
bool isNewer(const Header &header) {
    return header.hasMagic() && ((header.isOwn() && header.flags() != 0) ||
                                 (header.fileVersion() > version && !header.mended()));
}

/// Returns where the payload ends, if the checksum does not tell.
std::size_t endOf(std::string_view file, const Header &header) {
    const std::uint64_t length = header.length();
    if (length < GroupHeader::size || length >= header.present() ||
        differInOneBit(length, header.present()))
        return file.size();
    Faults ignored;
    const auto end = static_cast<std::size_t>(headerLength + length);
    return Scan(file, file.size(), false, ignored).isBoundary(end) ? file.size() : end;
}

/// True when the groups show that this is a register file, although it does not begin like one. A
/// front of zeros is what a loss of power leaves.
bool areConvincing(const std::vector<FoundGroup> &groups, const Header &header) {
    const auto hasProperties = [](const FoundGroup &group) { return group.head < group.end; };
    const FoundGroup &root = groups.front();
    return header.isZero() ? std::any_of(groups.begin() + 1, groups.end(), hasProperties)
                           : !root.isBroken && (hasProperties(root) || root.groups > 0);
}

/// Reads a file whose structure is damaged, or whose checksum does not match.
void search(const Bytes &file, const Header &header, std::size_t end, Tree &tree,
            Tree::GroupId group, Faults &faults) {
    const bool isCut = header.length() > header.present();
    std::vector<FoundGroup> groups = Scan(*file, end, isCut, faults).run();
    if (!header.hasMagic() && (groups.empty() || !areConvincing(groups, header)))
        throw utils::Exception("This is not a register file.");
    SalvageTree found(file, std::move(groups), faults);
    found.place(isCut);
    found.moveInto(tree, group);
}

/// Loads a file with its header mended. False when more than the header is damaged.
bool loadMended(const std::string &mended, std::string_view payload, Tree &tree,
                Tree::GroupId group) {
    try {
        decode(std::make_shared<const std::string>(mended + std::string(payload)), tree, group);
        return true;
    } catch (const utils::Exception &) {
        return false;
    }
}

} // namespace

std::vector<Fault> read(const Bytes &file, Tree &tree, Tree::GroupId group) {
    const std::string_view bytes = *file;
    Faults faults;
    try {
        decode(file, tree, group);
        return {};
    } catch (const utils::Exception &) {
        const bool isShort = bytes.size() < headerLength;
        if (isShort ? bytes != magic.substr(0, bytes.size()) && bytes.substr(0, 8) != magic
                    : isNewer(Header(bytes)))
            throw;
    }
    if (bytes.size() < headerLength) {
        decode(std::make_shared<const std::string>(), tree, group);
        faults.add(bytes.size(), "The file ends within its header.");
        return faults.take();
    }
    const Header header(bytes);
    header.report(faults);
    std::size_t end = endOf(bytes, header);
    if (const std::optional<std::string> mended = header.mended()) {
        end = headerLength + get<std::uint64_t>(&(*mended)[payloadLengthAt]);
        if (loadMended(*mended, bytes.substr(headerLength, end - headerLength), tree, group))
            return faults.take();
    } else {
        faults.add(checksumAt, "The checksum does not match. Any name or value may be wrong; it "
                               "cannot be told which.");
    }
    search(file, header, end, tree, group, faults);
    return faults.take();
}

} // namespace filesystem::salvage
