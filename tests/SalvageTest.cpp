// What can be read in damaged register files.
#include "filesystem/Salvage.h"
#include "exception/Exception.h"
#include "filesystem/LittleEndian.h"
#include "register/RegisterFile.h"
#include "tests/Support.h"

#include <chrono>
#include <map>

using namespace filesystem;
using testing_support::thrownBy;
using Content = std::map<std::string, std::string>; // the bytes of each property

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
};

struct Salvaged {
    Content content;
    std::string faults; ///< a line for each
};

/// Salvages a file. What comes back must be a tree that can be saved and loaded.
Salvaged salvaged(const std::string &file) {
    SampleTree found, loaded;
    Salvaged result;
    for (const auto &fault :
         salvage::read(std::make_shared<const std::string>(file), found.tree, found.group))
        result.faults += std::to_string(fault.offset) + ": " + fault.what + "\n";
    result.content = found.content();
    registerFormat::decode(std::make_shared<const std::string>(found.encode()), loaded.tree,
                           loaded.group);
    EXPECT_EQ(loaded.content(), result.content);
    return result;
}

struct RichFile {
    std::string bytes;
    Content content;
    std::map<std::string, std::size_t> ends; ///< of the properties, in the file

    RichFile() {
        SampleTree tree;
        tree.write("flag", "B\1");
        tree.write("size", "I" + integer(640));
        tree.write("list", "LI" + integer(4) + integer(1) + integer(0) + integer(0) + integer(256));
        tree.write("a/none", "");
        for (const char *name : {"c0", "c1", "c2", "c3", "c4"})
            tree.write("colors/" + std::string(name), "S" + integer(9) + "#12345:" + name);
        tree.write("colors/dark/fg", "I" + integer(11));
        tree.write("colors/light/fg", "I" + integer(7));
        tree.write("zed/deep/er/x", std::string("N\0\0\0\0\0\0\xF0\x3F", 9));
        tree.write("zed/w", std::string("B\0", 2));
        tree.tree.addGroup(tree.top, Name("empty"));
        bytes = tree.encode();
        content = tree.content();
        for (const auto &[name, value] : content) {
            const std::string record(leafOf(name));
            const std::size_t at =
                bytes.find(integer(static_cast<std::uint32_t>(value.size())) + record + value);
            ends[name] = at + 4 + record.size() + value.size();
        }
    }
    std::string with(std::size_t at, const std::string &replacement) const {
        return std::string(bytes).replace(at, replacement.size(), replacement);
    }
    /// Salvages a file that is damaged from a byte on. Returns how many properties are in their
    /// place. Those before that byte must be there, or in "lost+found".
    std::size_t keptOf(const std::string &file, std::size_t from) const {
        const Salvaged found = salvaged(file);
        EXPECT_NE(found.faults, "") << from;
        std::size_t kept = 0;
        for (const auto &[name, value] : content) {
            const auto at = found.content.find(name);
            const bool isInPlace = at != found.content.end() && at->second == value;
            kept += isInPlace;
            EXPECT_TRUE(isInPlace || ends.at(name) > from || isLost(found, name)) << name << from;
        }
        return kept;
    }
    bool isLost(const Salvaged &found, const std::string &name) const {
        return std::any_of(found.content.begin(), found.content.end(), [&](const auto &property) {
            return property.first.substr(0, 11) == "lost+found/" &&
                   leafOf(property.first) == leafOf(name) && property.second == content.at(name);
        });
    }
};

TEST(Salvage, anIntactFileIsCompleteWithoutFaults) {
    const RichFile file;
    EXPECT_EQ(salvaged(file.bytes).faults + salvaged("").faults, "");
    EXPECT_EQ(salvaged(file.bytes).content, file.content);
}

// The floors are a little below what is kept now.
TEST(Salvage, keepsWhatIsNotDamaged) {
    const RichFile file;
    const std::size_t size = file.bytes.size(), all = file.content.size();
    std::size_t kept = 0;
    for (std::size_t bit = 0; bit < 8 * size; ++bit) {
        std::string flipped = file.bytes;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        kept += file.keptOf(flipped, bit / 8);
    }
    EXPECT_GE(double(kept) / double(8 * size * all), 0.955);
    for (std::size_t length = 1; length < size; ++length) {
        std::size_t whole = 0;
        for (const auto &end : file.ends)
            whole += end.second <= length;
        EXPECT_EQ(file.keptOf(file.bytes.substr(0, length), length), whole) << length;
    }
    kept = 0;
    for (std::size_t at = 0; at + 24 <= size; ++at)
        kept += file.keptOf(file.with(at, std::string(24, '\0')), at);
    EXPECT_GE(double(kept) / double((size - 24) * all), 0.675);
    EXPECT_EQ(file.keptOf(file.bytes + "junk", size), all);
}

TEST(Salvage, saysWhatIsWrongAndWhere) {
    const RichFile file;
    const std::string any = "24: The checksum does not match. Any name or value may be wrong; it "
                            "cannot be told which.\n";
    const auto at = [&](const char *text) { return file.bytes.find(text); };
    const auto line = [](std::size_t offset, const std::string &what) {
        return std::to_string(offset) + ": " + what + "\n";
    };
    const std::size_t c1 = at("c1") - 6, colors = at("colors") - 14, size = file.bytes.size();
    const struct {
        std::string file, faults;
    } rows[] = {
        {file.with(3, "x"), line(0, "The first eight bytes are not those of a register file.")},
        {file.with(8, "\3"), line(8, "The version is 3 and should be 1.")},
        {file.with(12, "\1"), line(12, "The flags are not zero.")},
        {file.with(30, "xx"), any},
        {file.with(at("flag"), "flaw"), any},
        {file.bytes.substr(0, 20), line(20, "The file ends within its header.")},
        {file.bytes + "x",
         line(16, "The file should hold " + std::to_string(size - 32) +
                      " bytes after its header and holds " + std::to_string(size - 31) + ".")},
        {file.with(c1, "\6"),
         any + line(c1, "The length of a property's name is 6 and should be 2.")},
        {file.with(c1 + 4, "\1"),
         any + line(c1 + 2, "The length of a value is 65550 and should be 14.")},
        {file.with(c1 + 2, "\x19"), // reaches into the next one
         any + line(c1, "The lengths or the name of a property are damaged; 22 bytes of its group "
                        "are lost.")},
        {file.with(colors, "\7"),
         any + line(colors, "The length of a group's name is 7 and should be 6.")},
        {file.with(colors + 2, "\4"),
         any + line(colors + 2, "The number of a group's properties is 4 and should be 5.")},
        {file.with(colors + 8, "\1"),
         any + line(colors + 6, "The length of a group's properties is "
                                "65646 and should be 110.")},
        {file.with(colors + 11, "\1"),
         any + line(colors + 10, "The number of a group's subgroups is 258 and should be 2.")},
        {file.with(at("c1"), "c0"), any + line(c1, "Another property has the name of this one.")},
        {file.with(at("c2"), "\xFFx"),
         any + line(c1 + 22, "The name of a property is not allowed.") +
             line(c1 + 44, "The names of properties are not in order.")},
        {file.with(at("dark") - 14, std::string(20, '\0')),
         any +
             line(at("dark") - 14, "The lengths or the name of a group are damaged or cut short. "
                                   "What can be read again begins at byte " +
                                       std::to_string(at("light") - 14) + ".") +
             line(at("light") - 14, "It is not known what the groups from here on lie in.")},
    };
    for (const auto &row : rows)
        EXPECT_EQ(salvaged(row.file).faults, row.faults);
}

TEST(Salvage, whatHasNoPlaceIsInLostAndFound) {
    SampleTree tree;
    for (const char *name : {"a/b/x", "lost+found", "y/z/w", "z/v"})
        tree.write(name, "B\1");
    std::string file = tree.encode();
    const std::size_t y = file.find("y", file.find("lost+found") + 20);
    const Salvaged named = salvaged(std::string(file).replace(y, 1, "\xFF"));
    const std::string byByte = "lost+found.2/" + std::to_string(y - 14) + "/z/w";
    EXPECT_EQ(named.content.count(byByte), 1U) << named.faults;
    const std::size_t z = file.find("z", y + 1);
    const Salvaged hole = salvaged(file.replace(y - 14, 15, 15, '\0'));
    const std::string place = "lost+found.2/" + std::to_string(z - 14);
    const Content expected = {{"a/b/x", "B\1"}, {"lost+found", "B\1"}, {place + "/z/w", "B\1"}};
    for (const auto &[name, value] : expected)
        EXPECT_EQ(hole.content.count(name), 1U) << name << hole.faults;
    EXPECT_EQ(hole.content.size(), 4U); // the second "z" of that place is beside it
}

// Without its number of subgroups, "a" may hold "c", or the root does.
TEST(Salvage, aPlaceThatCouldBeAnotherIsNotClaimed) {
    SampleTree tree;
    for (const char *name : {"a/c/x", "d/y"})
        tree.write(name, "B\1");
    std::string file = tree.encode();
    file[56] = 0; // the subgroups of "a"
    const Salvaged found = salvaged(file);
    EXPECT_NE(found.faults.find("32: The numbers of subgroups do not fit"), std::string::npos);
    EXPECT_EQ(found.content.count("lost+found/46/d/y"), 1U) << found.faults;
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
    EXPECT_EQ(faults.size(), 2U);
    EXPECT_EQ(found.path(), to);
    EXPECT_EQ(found.readBytes("zed/w"), file.content.at("zed/w"));
    EXPECT_EQ(testing_support::listDirectory(directory.path()).size(), 1U);
    found.save();
    int size = 0;
    RegisterFile(to)._readInteger("size", size);
    EXPECT_EQ(size, 640);
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

// Each pattern is made for one of the searches: groups and properties that begin everywhere, that
// are cut short everywhere, or that claim to hold the rest of the file.
TEST(Salvage, noFileTakesLong) {
    constexpr std::size_t size = std::size_t{1} << 20;
    const std::string leaf = std::string("\1\0", 2) + std::string(12, '\0') + "a";
    const std::string property = std::string("\1\0\0\0\0\0", 6) + "p";
    const std::string claim =
        std::string("\1\0", 2) + integer(1000) + integer(size / 2) + integer(0) + "z";
    for (const std::string &unit :
         {std::string(1, '\0'), std::string(1, '\2'), leaf, leaf + leaf + "x", property,
          claim + property, std::string("\1\0", 2) + integer(15) + "q" + claim,
          std::string("\2\1\0\0\0\0", 6), std::string("\2\1\xC3\x80\0\0", 6)}) {
        std::string file = RichFile().with(16, std::string(16, '\0')); // without length
        while (file.size() < size)
            file += unit;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_NE(salvaged(file).faults, "");
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }
}

} // namespace
