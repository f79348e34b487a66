// Any bytes as the payload of a register file whose header fits it, so that the structure is
// reached.
#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"
#include "filesystem/RegisterFormat.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstdint>
#include <cstdlib>

using namespace filesystem;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr std::size_t headerLength = 32, lengthAt = 16, checksumAt = 24;
    Tree tree;
    std::string file = registerFormat::encode(tree, Tree::root).substr(0, checksumAt);
    littleEndian::put(&file[lengthAt], std::uint64_t{size});
    file.append(reinterpret_cast<const char *>(data), size);
    const std::uint64_t checksum = XXH3_64bits(file.data(), file.size());
    file.insert(checksumAt, headerLength - checksumAt, '\0');
    littleEndian::put(&file[checksumAt], checksum);
    try {
        registerFormat::decode(file, tree, Tree::root);
        if (registerFormat::encode(tree, Tree::root) != file)
            std::abort();
    } catch (const utils::Exception &error) {
        // Nothing but the structure may be wrong.
        if (std::string(error.what()).find(" (at byte ") == std::string::npos)
            std::abort();
    }
    return 0;
}
