// Any bytes as a register file: they are refused, or are what writing their tree gives. The first
// byte chooses what the others are: a whole file where it is even, else what stands behind a header
// that fits, so that the structure is reached.
#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"
#include "filesystem/RegisterFormat.h"

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    if (bytes.empty())
        return 0;
    const bool isPayload = bytes[0] % 2 != 0;
    const std::string file = isPayload ? behindHeader(bytes.substr(1)) : bytes.substr(1);
    try {
        Tree tree;
        registerFormat::decode(file, tree, Tree::root);
        if (registerFormat::encode(tree, Tree::root) != file && !file.empty())
            std::abort();
    } catch (const utils::Exception &error) {
        // Nothing but the structure may be wrong behind a header that fits.
        if (isPayload && std::string(error.what()).find(" (at byte ") == std::string::npos)
            std::abort();
    }
    return 0;
}
