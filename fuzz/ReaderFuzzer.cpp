// Any bytes as a register file: they are refused, or are what writing their tree gives.
#include "exception/Exception.h"
#include "filesystem/RegisterFormat.h"

#include <cstdint>
#include <cstdlib>

using namespace filesystem;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string file(reinterpret_cast<const char *>(data), size);
    try {
        Tree tree;
        registerFormat::decode(file, tree, Tree::root);
        if (registerFormat::encode(tree, Tree::root) != file && !file.empty())
            std::abort();
    } catch (const utils::Exception &) {
    }
    return 0;
}
