// The bytes of the register file, and how its reader handles damaged and hostile files.
#include "filesystem/RegisterFormat.h"
#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"
#include "tests/Support.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstring>

#include <malloc.h>

using namespace filesystem;
using testing_support::thrownBy;

namespace {

std::string bytes(std::initializer_list<int> values) {
    return std::string(values.begin(), values.end());
}

/// Returns a file of version 1 with this payload and the correct length and checksum.
std::string fileOf(const std::string &payload) {
    std::string file = "\x8BREG\r\n\x1A\n" + bytes({1, 0, 0, 0, 0, 0, 0, 0});
    const std::uint64_t length = payload.size();
    file.append(reinterpret_cast<const char *>(&length), sizeof length);
    const std::uint64_t checksum = XXH3_64bits((file + payload).data(), file.size() + length);
    file.append(reinterpret_cast<const char *>(&checksum), sizeof checksum);
    return file + payload;
}

template <class Unsigned>
std::string integer(std::size_t value) {
    std::string all(sizeof(Unsigned), '\0');
    littleEndian::put(all.data(), static_cast<Unsigned>(value));
    return all;
}

std::string property(const std::string &name, const std::string &value = "") {
    return integer<std::uint16_t>(name.size()) + integer<std::uint32_t>(value.size()) + name +
           value;
}

std::string group(const std::string &name, int propertyCount, const std::string &properties,
                  int groupCount = 0, const std::string &groups = "") {
    return integer<std::uint16_t>(name.size()) +
           integer<std::uint32_t>(std::size_t(propertyCount)) +
           integer<std::uint32_t>(properties.size()) +
           integer<std::uint32_t>(std::size_t(groupCount)) + name + properties + groups;
}

/// A tree whose content is at "/top".
struct SampleTree {
    Tree tree;
    const Top top{"top"};
    Tree::GroupId group = Tree::none;

    SampleTree() {
        tree.addGroup(top, Name(""));
        group = tree.find(top, Name("")).group;
    }
    void write(const std::string &name, const std::string &value) {
        char *bytes = tree.place(top, Name(name), value.size());
        ASSERT_NE(bytes, nullptr) << name;
        value.copy(bytes, value.size());
    }
    std::string encode() { return registerFormat::encode(tree, group); }
    void decode(std::string file) {
        registerFormat::decode(std::make_shared<const std::string>(std::move(file)), tree, group);
    }
};

std::string errorOf(const std::string &file) {
    SampleTree sample;
    sample.write("kept", "x");
    const std::string before = sample.encode();
    const std::uint64_t changes = sample.tree.changes();
    const std::string error = thrownBy([&] { sample.decode(file); });
    EXPECT_TRUE(error == "nothing" ||
                (sample.encode() == before && sample.tree.changes() == changes))
        << error;
    return error;
}

std::string sample() {
    SampleTree sample;
    sample.write("b", "B\1");
    sample.write("a/n", "");
    return sample.encode();
}

std::string decodedAndEncoded(const std::string &file) {
    SampleTree sample;
    sample.write("gone/before", "x");
    const std::uint64_t changes = sample.tree.changes();
    sample.decode(file);
    EXPECT_GT(sample.tree.changes(), changes);
    return sample.encode();
}

/// Returns the bytes of the example in docs/file-format.md.
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
    EXPECT_EQ(file, fileOf(group("", 1, property("b", "B\1"), 1, group("a", 1, property("n")))));
    EXPECT_EQ(decodedAndEncoded(file), file);
    const std::string empty = fileOf(group("", 0, ""));
    EXPECT_EQ(decodedAndEncoded(""), empty);
    EXPECT_EQ(decodedAndEncoded(empty), empty);
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
    const std::string a = property("a");
    const auto deep = [](int levels, const std::string &property = "") { // below "top"
        std::string groups = group("d", property.empty() ? 0 : 1, property);
        for (int level = 1; level < levels; ++level)
            groups = group("d", 0, "", 1, groups);
        return fileOf(group("", 0, "", 1, groups));
    };
    EXPECT_EQ(errorOf(deep(511)) + errorOf(deep(510, a)), "nothingnothing");
    const auto longPath = [](std::size_t lastName) { // below "top/" and 15 groups of 256 bytes
        std::string groups = group(std::string(255, 'd'), 1, property(std::string(lastName, 'p')));
        for (int level = 1; level < 15; ++level)
            groups = group(std::string(255, 'd'), 0, "", 1, groups);
        return fileOf(group("", 0, "", 1, groups));
    };
    EXPECT_EQ(errorOf(longPath(252)), "nothing");
    const std::string structure = "The register file is damaged: ";
    const struct {
        std::string file, message;
    } rows[] = {
        {"[General]\nname=value\n", "This is not a register file."},
        {std::string(100, '\0'), "This is not a register file."},
        {file.substr(0, 20), "The register file is cut short: 20 bytes are less than its header."},
        {newer, "The register file has version 2; this library reads version 1."},
        {file.substr(0, 40), structure + "it should hold 45 bytes after its header and holds 8."},
        {damaged, structure + "its checksum does not match."},
        {unknownFlags, "The register file uses features that this library does not know."},
        {fileOf(group("x", 0, "")), structure + "its first group has a name (at byte 32)."},
        {fileOf(group("", 0, "") + "x"), structure + "bytes follow its last group (at byte 46)."},
        {fileOf(group("", 2, a)), structure + "the number of properties is wrong (at byte 46)."},
        {fileOf(group("", 2, a + a)), structure + "the names are not in order (at byte 53)."},
        {fileOf(group("", 2, property("b") + a)),
         structure + "the names are not in order (at byte 53)."},
        {fileOf(group("", 0, "", 2, group("b", 0, "") + group("a", 0, ""))),
         structure + "the names are not in order (at byte 61)."},
        {fileOf(group("", 2, property("0") + a, 1, group("a", 0, ""))),
         structure + "a group has the name of a property (at byte 60)."},
        {fileOf(group("", 1, a, 1)),
         structure + "an entry is longer than what holds it (at byte 53)."},
        {fileOf(group("", 1, a + "x")),
         structure + "an entry is longer than what holds it (at byte 53)."},
        {fileOf(group("", 1, bytes({1, 0, -1, -1, -1, -1, 'a'}))),
         structure + "an entry is longer than what holds it (at byte 46)."},
        {deep(512), structure + "it is too deep (at byte 7711)."},
        {deep(511, a), structure + "it is too deep (at byte 7711)."},
        {longPath(253), structure + "it is too deep (at byte 4081)."},
    };
    for (const auto &row : rows)
        EXPECT_EQ(errorOf(row.file), row.message);
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("a/b"),
          std::string("\xC0\xAF"), std::string("\xED\xA0\x80"), std::string("\xEF\xBF\xBD"),
          std::string("\xFF"), std::string(256, 'n')})
        for (const std::string &payload :
             {group("", 1, property(name)), group("", 0, "", 1, group(name, 0, ""))})
            EXPECT_EQ(errorOf(fileOf(payload)), structure + "a name is not allowed (at byte 46).");
}

// Groups that cost the most for each of their bytes: with short names and one property each.
TEST(RegisterFormat, aFileCostsAtMostSixteenTimesItsSize) {
    const int count = 65536;
    const auto name = [](int i) {
        return std::string{char('0' + (i >> 12)), char('0' + (i >> 6 & 63)), char('0' + (i & 63))};
    };
    std::string groups;
    for (int i = 0; i < count; ++i)
        groups += group(name(i), 1, property("p"));
    const std::string file = fileOf(group("", 0, "", count, groups));
    const auto used = [] { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; };
    const std::size_t before = used();
    SampleTree sample;
    sample.decode(file);
    int found = 0;
    for (int i = 0; i < count; ++i) // this enters the properties into the index
        found += sample.tree.find(sample.top, Name(name(i) + "/p")).isProperty();
    EXPECT_EQ(found, count);
    EXPECT_LE(used() - before, 16 * file.size());
}

TEST(RegisterFormat, manyPropertiesAreFoundAndSorted) {
    SampleTree written, read;
    for (int i = 0; i < 20000; ++i)
        written.write(std::to_string(i % 7) + "/" + std::to_string(i), std::to_string(i));
    // A removal, and an addition after it, keep the other names in order.
    for (const char *name : {"extra/m", "extra/z"})
        written.write(name, "");
    for (const char *name : {"2", "extra/z"})
        EXPECT_TRUE(written.tree.remove(written.top, Name(name)));
    written.write("extra/a", "");
    read.decode(written.encode());
    EXPECT_EQ(read.encode(), written.encode());
    for (int i = 0; i < 20000; ++i) {
        const std::string name = std::to_string(i % 7) + "/" + std::to_string(i);
        const Tree::Entry entry = read.tree.find(read.top, Name(name));
        ASSERT_EQ(entry.isProperty(), i % 7 != 2) << name;
        ASSERT_TRUE(!entry || read.tree.value(entry) == std::to_string(i)) << name;
    }
}

} // namespace
