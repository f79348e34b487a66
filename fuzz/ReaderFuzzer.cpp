// Reads the input as a register file. The reader must refuse the bytes, or writing the tree that it
// has read must give the same bytes. When the first byte is even, the others are a whole file. When
// it is odd, they follow a valid header, so that the reader gets to the structure.
#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"
#include "filesystem/RegisterFormat.h"
#include "filesystem/Salvage.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstdint>
#include <cstdlib>

using namespace filesystem;

namespace {

std::string behindHeader(const std::string &payload) {
    constexpr std::size_t headerLength = 32, lengthAt = 16, checksumAt = 24;
    Tree empty;
    std::string file = registerFormat::encode(empty, Tree::root).substr(0, checksumAt) + payload;
    littleEndian::put(&file[lengthAt], std::uint64_t{payload.size()});
    const std::uint64_t checksum = XXH3_64bits(file.data(), file.size());
    file.insert(checksumAt, headerLength - checksumAt, '\0');
    littleEndian::put(&file[checksumAt], checksum);
    return file;
}

/// What is salvaged from any bytes must be a tree that can be saved and loaded. There must be
/// faults exactly when the bytes cannot be loaded.
void salvageFrom(const std::string &file, bool isGood) {
    try {
        Tree found, loaded;
        const auto bytes = std::make_shared<const std::string>(file);
        if (salvage::read(bytes, found, Tree::root).empty() != isGood)
            std::abort();
        const auto saved =
            std::make_shared<const std::string>(registerFormat::encode(found, Tree::root));
        registerFormat::decode(saved, loaded, Tree::root);
    } catch (const utils::Exception &error) {
        const std::string what = error.what();
        if (what.rfind("This is not", 0) != 0 &&
            what.rfind("The register file has version", 0) != 0 &&
            what.rfind("The register file uses", 0) != 0)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    if (bytes.empty())
        return 0;
    const bool isPayload = bytes[0] % 2 != 0;
    const std::string file = isPayload ? behindHeader(bytes.substr(1)) : bytes.substr(1);
    bool isGood = false;
    try {
        Tree tree;
        registerFormat::decode(std::make_shared<const std::string>(file), tree, Tree::root);
        if (registerFormat::encode(tree, Tree::root) != file && !file.empty())
            std::abort();
        isGood = true;
    } catch (const utils::Exception &error) {
        // Behind a valid header, only the structure can be wrong.
        if (isPayload && std::string(error.what()).find(" (at byte ") == std::string::npos)
            std::abort();
    }
    salvageFrom(file, isGood);
    return 0;
}
