// Runs a fuzz target on the files named as arguments, for compilers without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int main(int count, char **files) {
    for (int i = 1; i < count; ++i) {
        std::ostringstream content;
        content << std::ifstream(files[i], std::ios::binary).rdbuf();
        const std::string bytes = content.str();
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    }
    std::printf("%d files\n", count - 1);
    return count > 1 ? 0 : 1;
}
