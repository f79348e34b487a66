// The bytes of the register file, and what its reader makes of damaged and hostile ones.
#include "filesystem/RegisterFormat.h"
#include "exception/Exception.h"
#include "tests/Support.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstring>

using namespace filesystem;
using namespace filesystem::tree;
using testing_support::thrownBy;

namespace {

std::string bytes(std::initializer_list<int> values) {
    return std::string(values.begin(), values.end());
}

/// A file of version 1 around a payload, with the right length and checksum.
std::string fileOf(const std::string &payload) {
    std::string file = "\x8BREG\r\n\x1A\n" + bytes({1, 0, 0, 0, 0, 0, 0, 0});
    const std::uint64_t length = payload.size();
    file.append(reinterpret_cast<const char *>(&length), sizeof length);
    const std::uint64_t checksum = XXH3_64bits((file + payload).data(), file.size() + length);
    file.append(reinterpret_cast<const char *>(&checksum), sizeof checksum);
    return file + payload;
}

std::string entry(int kind, const std::string &name, const std::string &body) {
    std::string all = bytes({kind, int(name.size() & 0xFF), int(name.size() >> 8)}) + name;
    const auto length = static_cast<std::uint32_t>(body.size());
    all.append(reinterpret_cast<const char *>(&length), sizeof length);
    return all + body;
}

std::string errorOf(const std::string &file) {
    return thrownBy([&] { registerFormat::decode(file, 1); });
}

std::string sample() {
    Directory root;
    add(root, "b", std::make_shared<File>("", "B\1"), Parents::MustExist);
    add(root, "a/n", std::make_shared<File>("", ""), Parents::Create);
    return registerFormat::encode(root);
}

/// The bytes of the example in docs/file-format.md.
std::string documentedSample() {
    const std::string page = testing_support::readFile(REGISTER_SOURCE "/docs/file-format.md");
    const std::size_t start = page.find("```hex\n") + 7;
    std::istringstream digits(page.substr(start, page.find("```", start) - start));
    std::string all;
    for (std::string byte; digits >> byte;)
        all += static_cast<char>(std::stoi(byte, nullptr, 16));
    return all;
}

TEST(RegisterFormat, theBytesAreThoseOfTheDocument) {
    const std::string file = sample();
    EXPECT_EQ(file, documentedSample());
    EXPECT_EQ(file, fileOf(entry(2, "a", entry(1, "n", "")) + entry(1, "b", "B\1")));
    EXPECT_EQ(registerFormat::encode(registerFormat::decode(file, 1)), file);
    EXPECT_EQ(registerFormat::decode("", 1).children.size(), 0U);
    EXPECT_EQ(registerFormat::encode(Directory()), fileOf(""));
}

TEST(RegisterFormat, everyTruncationAndEveryFlippedBitIsRefused) {
    const std::string file = sample();
    for (std::size_t length = 1; length < file.size(); ++length)
        EXPECT_NE(errorOf(file.substr(0, length)), "nothing") << length;
    for (std::size_t bit = 0; bit < 8 * file.size(); ++bit) {
        std::string flipped = file;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        EXPECT_NE(errorOf(flipped), "nothing") << "bit " << bit;
    }
    EXPECT_NE(errorOf(file + '\0'), "nothing");
}

TEST(RegisterFormat, theMessageSaysWhatIsWrong) {
    const std::string file = sample();
    std::string newer = file;
    newer[8] = 2;
    std::string unknownFlags = fileOf("");
    unknownFlags[12] = 1;
    const std::uint64_t checksum = XXH3_64bits(unknownFlags.data(), 24);
    std::memcpy(&unknownFlags[24], &checksum, sizeof checksum);
    std::string damaged = file;
    damaged.back() = 'z';
    const std::string a = entry(1, "a", "");
    std::string deep;
    for (int level = 0; level < 512; ++level)
        deep = entry(2, "d", deep);
    const std::string structure = "The register file is damaged: ";
    const struct {
        std::string file, message;
    } rows[] = {
        {"[General]\nname=value\n", "This is not a register file."},
        {std::string(100, '\0'), "This is not a register file."},
        {file.substr(0, 20), "The register file is cut short: 20 bytes are less than its header."},
        {newer, "The register file has version 2; this library reads version 1."},
        {file.substr(0, 40), structure + "it should hold 26 bytes after its header and holds 8."},
        {damaged, structure + "its checksum does not match."},
        {unknownFlags, "The register file uses features that this library does not know."},
        {fileOf(a + a), structure + "the names are not in order (at byte 40)."},
        {fileOf(entry(1, "b", "") + a), structure + "the names are not in order (at byte 40)."},
        {fileOf(entry(3, "a", "")),
         structure + "an entry is neither a file nor a directory (at byte 32)."},
        {fileOf(entry(2, "a", a + "x")),
         structure + "an entry is longer than what holds it (at byte 48)."},
        {fileOf(bytes({1, 1, 0, 'a', -1, -1, -1, -1})),
         structure + "an entry is longer than what holds it (at byte 32)."},
        {fileOf(deep), structure + "it is too deep (at byte 4120)."},
    };
    for (const auto &row : rows)
        EXPECT_EQ(errorOf(row.file), row.message);
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("a/b"),
          std::string("\xC0\xAF"), std::string("\xED\xA0\x80"), std::string("\xEF\xBF\xBD"),
          std::string("\xFF"), std::string(256, 'n')})
        EXPECT_EQ(errorOf(fileOf(entry(1, name, ""))),
                  structure + "a name is not allowed (at byte 32).");
}

TEST(RegisterFormat, manyChildrenAreFoundAndSorted) {
    Directory root;
    for (int i = 0; i < 20000; ++i)
        ASSERT_TRUE(add(root, std::to_string(i), std::make_shared<File>("", std::to_string(i)),
                        Parents::MustExist));
    Directory copy = registerFormat::decode(registerFormat::encode(root), 1);
    ASSERT_EQ(copy.children.size(), 20000U);
    for (int i = 0; i < 20000; ++i)
        ASSERT_EQ(findFile(copy, std::to_string(i))->bytes, std::to_string(i));
}

} // namespace
