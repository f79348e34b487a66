// What can be read in damaged register files.
#include "filesystem/Salvage.h"
#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"
#include "register/RegisterFile.h"
#include "tests/Support.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <map>
#include <new>

#include <malloc.h>

using namespace filesystem;
using testing_support::thrownBy;
using Content = std::map<std::string, std::string>; // the bytes of each property

namespace {

std::atomic<std::size_t> allocated{0}, mostAllocated{0};

}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    void *bytes = std::malloc(size);
    mostAllocated = std::max<std::size_t>(mostAllocated, allocated += ::malloc_usable_size(bytes));
    return bytes;
}
void *operator new(std::size_t size) {
    if (void *bytes = operator new(size, std::nothrow))
        return bytes;
    throw std::bad_alloc();
}
void operator delete(void *bytes) noexcept {
    allocated -= ::malloc_usable_size(bytes);
    std::free(bytes);
}
void operator delete(void *bytes, std::size_t) noexcept {
    operator delete(bytes);
}

namespace {

std::string integer(std::uint32_t value) {
    std::string bytes(sizeof value, '\0');
    littleEndian::put(bytes.data(), value);
    return bytes;
}

struct SampleTree {
    Tree tree;
    const Top top{"user"};
    Tree::GroupId group = Tree::none;

    SampleTree() {
        tree.addGroup(top, Name(""));
        group = tree.find(top, Name("")).group;
    }
    void write(const std::string &name, const std::string &value) {
        value.copy(tree.place(top, Name(name), value.size()), value.size());
    }
    Content content() {
        Content all;
        for (const std::string &name : tree.leafNames(group))
            if (const Tree::Entry entry = tree.find(top, Name(name)); entry.isProperty())
                all[name] = tree.value(entry);
        return all;
    }
    std::string encode() { return registerFormat::encode(tree, group); }
    /// Salvages a file. Returns its faults, each in a line.
    std::string salvage(const std::string &file) {
        std::string faults;
        for (const auto &fault :
             salvage::read(std::make_shared<const std::string>(file), tree, group))
            faults += std::to_string(fault.offset) + ": " + fault.what + "\n";
        SampleTree loaded; // what comes back can be saved and loaded
        registerFormat::decode(std::make_shared<const std::string>(encode()), loaded.tree,
                               loaded.group);
        EXPECT_EQ(loaded.content(), content());
        return faults;
    }
};

struct RichFile : SampleTree {
    const std::string bytes;
    const Content all;

    RichFile() : bytes(fill()), all(content()) {}
    std::string fill() {
        write("flag", "B\1");
        write("size", "I" + integer(640));
        write("list", "LI" + integer(4) + integer(1) + integer(0) + integer(0) + integer(256));
        write("a/none", "");
        for (const char *name : {"c0", "c1", "c2", "c3", "c4"})
            write("colors/" + std::string(name), "S" + integer(9) + "#12345:" + name);
        write("colors/dark/fg", "I" + integer(11));
        write("colors/light/fg", "I" + integer(7));
        write("zed/deep/er/x", std::string("N\0\0\0\0\0\0\xF0\x3F", 9));
        write("zed/w", std::string("B\0", 2));
        tree.addGroup(top, Name("empty"));
        return encode();
    }
    std::string with(std::size_t at, const std::string &replacement) const {
        return std::string(bytes).replace(at, replacement.size(), replacement);
    }
    /// Returns how many properties of a damaged file are in their place.
    std::size_t kept(const std::string &file) const {
        SampleTree found;
        EXPECT_EQ(found.salvage(file).empty(), file == bytes);
        const Content content = found.content();
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [&](const auto &property) {
                const auto at = content.find(property.first);
                return at != content.end() && at->second == property.second;
            }));
    }
};

// The floors are a little below what is kept now. No damage costs more than the loss of all bytes
// from there on.
TEST(Salvage, keepsWhatIsNotDamaged) {
    const RichFile file;
    const std::size_t size = file.bytes.size(), all = file.all.size();
    EXPECT_EQ(file.kept(file.bytes), all);
    EXPECT_EQ(file.kept(file.bytes + "junk"), all);
    std::size_t cutTotal = 0, flippedTotal = 0, zeroedTotal = 0;
    for (std::size_t at = 1; at < size; ++at) {
        const std::size_t cut = file.kept(file.bytes.substr(0, at));
        cutTotal += cut;
        for (int bit = 1; bit < 256; bit *= 2) {
            const auto flipped = static_cast<char>(file.bytes[at] ^ bit);
            const std::size_t kept = file.kept(file.with(at, std::string(1, flipped)));
            EXPECT_GE(kept, cut) << at << " ^ " << bit;
            flippedTotal += kept;
        }
        const std::string zeros(std::min<std::size_t>(24, size - at), '\0');
        zeroedTotal += file.kept(file.with(at, zeros));
    }
    const auto share = [&](std::size_t total) { return double(total) / double((size - 1) * all); };
    EXPECT_GE(share(cutTotal), 0.474);
    EXPECT_GE(share(flippedTotal) / 8, 0.918);
    EXPECT_GE(share(zeroedTotal), 0.675);
}

TEST(Salvage, saysWhatIsWrongAndWhere) {
    const RichFile file;
    const auto at = [&](const char *text) { return file.bytes.find(text); };
    const std::size_t c1 = at("c1") - 6, colors = at("colors") - 14, dark = at("dark") - 14;
    const struct {
        std::string file;
        std::size_t at;
        const char *what;
    } rows[] = {
        {file.with(3, "x"), 0, "The first eight bytes are not those of a register file."},
        {file.with(8, "\3"), 8, "The version is 3 and should be 1."},
        {file.with(12, "\1"), 12, "The flags are not zero."},
        {file.with(at("flag"), "flaw"), 24, "The checksum does not match. Any name or value may"},
        {file.bytes.substr(0, 20), 20, "The file ends within its header."},
        {file.bytes + "x", 16, "The file should hold 386 bytes after its header and holds 387."},
        {file.with(c1 + 2, "\x19"), c1, "The lengths or the name of a property are damaged; 22 "},
        {file.with(at("c1"), "c0"), c1, "Another property has the name of this one."},
        {file.with(at("c2"), "\xFF"), c1 + 22, "The name of a property is not allowed."},
        {file.with(at("c2"), "d"), c1 + 44, "The names of properties are not in order."},
        {file.with(colors + 2, "\4"), colors + 2, "The number of a group's properties is 4 and "},
        {file.with(colors + 8, "\1"), colors + 6, "The length of a group's properties is 65646 "},
        {file.with(colors + 12, "\1"), colors + 10, "The numbers of subgroups do not fit the gro"},
        {file.with(dark + 1, "x"), dark,
         "The lengths or the name of a group are damaged or cut short."},
        {file.with(dark + 1, "x"), at("light") - 14, "It is not known what the groups from here"},
    };
    for (const auto &row : rows) {
        const std::string faults = "\n" + SampleTree().salvage(row.file);
        const std::string expected = "\n" + std::to_string(row.at) + ": " + row.what;
        EXPECT_NE(faults.find(expected), std::string::npos) << expected << " is not in" << faults;
    }
}

TEST(Salvage, whatHasNoPlaceIsInLostAndFound) {
    SampleTree tree;
    for (const char *name : {"G/H/x", "G/K/y", "Q", "lost+found", "V/W/w", "W/v"})
        tree.write(name, "B\1");
    std::string file = tree.encode();
    const auto group = [&](char name, std::size_t from) { return file.find(name, from) - 14; };
    const std::size_t k = group('K', 32), v = group('V', 32), w = group('W', 32);
    const std::string last = std::to_string(group('W', w + 15));
    const std::size_t q = file.find('Q', 32) - 6;
    file.replace(q + 6, 1, "\xFF").replace(k + 14, 1, "H").replace(v, 15, 15, '\0');
    const Content expected = {{"G/H/x", "B\1"},
                              {"lost+found", "B\1"},
                              {"lost+found.2/@" + std::to_string(q), "B\1"},
                              {"lost+found.2/H@" + std::to_string(k) + "/y", "B\1"},
                              {"lost+found.2/W@" + std::to_string(w) + "/w", "B\1"},
                              {"lost+found.2/W@" + last + "/v", "B\1"}};
    SampleTree found;
    found.salvage(file);
    EXPECT_EQ(found.content(), expected);
}

TEST(Salvage, aRegisterFileIsSalvagedWithoutAChange) {
    using utils::properties::FileFault;
    using utils::properties::RegisterFile;
    const testing_support::TemporaryDirectory directory;
    const RichFile file;
    const std::string path = directory / "damaged", to = directory / "new";
    const std::string damaged = file.with(file.bytes.find("c1"), "c0");
    testing_support::writeFile(path, damaged);
    std::vector<FileFault> faults;
    RegisterFile found = RegisterFile::salvage(path, to, faults);
    EXPECT_EQ(testing_support::listDirectory(directory.path()).size(), 1U);
    found.save();
    EXPECT_EQ(RegisterFile(to).readBytes("zed/w"), file.all.at("zed/w"));
    EXPECT_NE(thrownBy([&] { RegisterFile::salvage(path, path, faults).save(); }), "nothing");
    EXPECT_EQ(testing_support::readFile(path), damaged);
    const auto refused = [&](const std::string &content) {
        testing_support::writeFile(path, content);
        return thrownBy([&] { RegisterFile::salvage(path, to, faults); });
    };
    const std::string none = path + ": This is not a register file.";
    EXPECT_EQ(refused("[General]\nname=value\nother=of thirty-two bytes\n"), none);
    EXPECT_EQ(refused(std::string(4096, '\0')), none);
    EXPECT_EQ(refused(file.with(8, "\2").replace(40, 1, "x")),
              path + ": The register file has version 2; this library reads version 1.");
    EXPECT_EQ(faults.size(), 2U);
    EXPECT_EQ(thrownBy([&] { RegisterFile::salvage(path + "x", to, faults); }),
              "Can't open " + path + "x");
}

/// Returns the time that it takes to salvage a file.
double salvageSeconds(const std::string &file) {
    const auto now = [] { return double(std::clock()) / CLOCKS_PER_SEC; };
    const auto bytes = std::make_shared<const std::string>(file);
    double least = 1e9;
    for (int run = 0; run < 2; ++run) {
        SampleTree found;
        const std::size_t before = mostAllocated = allocated.load();
        const double start = now();
        salvage::read(bytes, found.tree, found.group);
        least = std::min(least, now() - start);
        EXPECT_LT(mostAllocated - before, 30 * file.size() + 500000);
    }
    SampleTree().salvage(file);
    return std::max(least, 0.001);
}

// Groups and properties that begin everywhere, that are cut short everywhere, that claim to hold
// the rest of the file, or that lie in one another.
TEST(Salvage, timeAndMemoryAreInProportionToTheSize) {
    constexpr std::size_t size = std::size_t{1} << 17, times = 8;
    const std::string name("\1\0", 2), none(8, '\0');
    const std::string leaf = name + none + integer(0) + "a", property = name + integer(0) + "p";
    std::string wide;
    double plain = 0; // of the first pattern, which costs little
    for (int i = 0; i < 247; ++i)
        wide += "\xE2\x82\xAC";
    for (const std::string &unit :
         {std::string(1, '\0'), std::string(1, '\xFF'), std::string(1, '\2'), leaf, leaf + "\xFF",
          leaf + name + none + integer(0) + "\1", name + none + integer(1) + "d", property,
          property + "\xFF", name + integer(1) + integer(size) + integer(9) + "z" + property,
          std::string("\2\1\xC3\x80\0\0", 6), "\xE5\2" + none + integer(0) + wide + "x"}) {
        std::string file = RichFile().with(16, std::string(16, '\0')); // without length
        const auto grow = [&](std::size_t to) {
            while (file.size() < to)
                file += unit;
            return salvageSeconds(file);
        };
        const double small = grow(size), large = grow(times * size);
        plain = plain == 0 ? large : plain;
        EXPECT_LT(large, 3 * times * small) << testing::PrintToString(unit);
        EXPECT_LT(large, 60 * plain) << testing::PrintToString(unit);
    }
}

} // namespace
