#include "tests/Support.h"

#include "register/RegisterFile.h"
#include "tools/registerctl/Dump.h"
#include "tools/registerctl/Failure.h"
#include "tools/registerctl/Literal.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace registerctl;
using namespace std::string_literals;
using testing_support::readFile;
using testing_support::TemporaryDirectory;
using utils::properties::NoValue;

namespace {

std::string saved(RegisterFile &&file) {
    file.save();
    return readFile(file.path());
}

std::string dumpOf(const RegisterFile &file) {
    std::ostringstream out;
    writeDump(out, contentOf(file, ""));
    return out.str();
}

/// What `readDump` throws for the lines after the header.
std::string errorOf(const std::string &lines, const std::string &prefix = "") {
    RegisterFile file = scratchFile();
    try {
        readDump(dumpHeader + "\n"s + lines, file, prefix);
    } catch (const Failure &failure) {
        return failure.what();
    }
    return {};
}

std::string literalFor(const std::string &text) {
    RegisterFile file = scratchFile();
    writeLiteral(file, "x", text);
    return contentOf(file, "x").at("x");
}

/// Builds contents of any names and bytes, many of which are nearly values.
class RandomContent {
public:
    explicit RandomContent(unsigned seed) : _random(seed) {}

    void fill(RegisterFile &file) {
        for (unsigned i = 0; i < 60; ++i) {
            const std::string name = path();
            try {
                if (pick(8) == 0)
                    file.addGroup(name);
                else if (pick(3) == 0)
                    file.writeBytes(name, bytes());
                else
                    file.writeAny(name, value());
            } catch (const utils::Exception &) { // below a property, or a group
            }
        }
    }

private:
    unsigned pick(unsigned count) { return static_cast<unsigned>(_random() % count); }

    std::string path() {
        static const std::string levels[] = {
            "ui",   "a-b", "a b", "=",   "#x", "\"", "\\", "\n", "\x01", "ä", "\xF0\x9F\x99\x82",
            "none", " ",   "-",   "\0x"s};
        std::string path = levels[pick(std::size(levels))];
        for (unsigned depth = pick(3); depth > 0; --depth)
            path += "/" + levels[pick(std::size(levels))];
        return path;
    }

    std::string bytes() {
        static const std::string starts[] = {
            "",  "S\2\0\0\0"s, "LS\1\0\0\0"s, "LI\xFF\xFF\xFF\xFF", "B\2",
            "I", "Nabcdefgh",  "LX",          "LB\1\0\0\0\5"s};
        std::string bytes = starts[pick(std::size(starts))];
        for (unsigned length = pick(12); length > 0; --length)
            bytes += static_cast<char>(pick(256));
        return bytes;
    }

    double number() {
        const std::uint64_t bits = _random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        const double some[] = {0.0, -0.0, 1, 1e15, 1e22, 0.1, -INFINITY, std::nan("")};
        return pick(2) == 0 ? number : some[pick(std::size(some))];
    }

    PropertyValue value() {
        const auto text = [this] { return bytes(); };
        switch (pick(8)) {
        case 0:
            return NoValue();
        case 1:
            return number();
        case 2:
            return static_cast<int>(_random());
        case 3:
            return pick(2) == 0;
        case 4:
            return std::vector<std::string>(pick(3), text());
        case 5:
            return std::vector<double>(pick(3), number());
        case 6:
            return pick(2) == 0 ? PropertyValue(std::vector<int>(pick(3), -1))
                                : PropertyValue(std::vector<bool>(pick(3), true));
        default:
            return text();
        }
    }

    std::mt19937_64 _random;
};

TEST(Dump, givesTheSameFileForEveryRegister) {
    const TemporaryDirectory directory;
    for (unsigned seed = 0; seed < 300; ++seed) {
        RegisterFile file(directory / ("file" + std::to_string(seed)));
        RandomContent(seed).fill(file);
        const std::string dump = dumpOf(file);
        RegisterFile loaded(directory / ("loaded" + std::to_string(seed)));
        readDump(dump, loaded, "");
        EXPECT_EQ(dumpOf(loaded), dump);
        ASSERT_EQ(saved(std::move(loaded)), saved(std::move(file))) << dump;
    }
}

TEST(Dump, valuesHaveTheirShortestLiterals) {
    const double odd = std::nan("5");
    const std::pair<PropertyValue, const char *> values[] = {
        {"a \"b\"\n\xC3\xA4"s, "\"a \\\"b\\\"\\n\xC3\xA4\""},
        {"\xFF"s, "b64\"/w==\""},
        {800, "800"},
        {std::numeric_limits<int>::min(), "-2147483648"},
        {100.0, "100.0"},
        {0.1, "0.1"},
        {-0.0, "-0.0"},
        {5e-324, "5e-324"},
        {-std::numeric_limits<double>::infinity(), "-inf"},
        {std::nan(""), "nan"},
        {odd, "nan:0x7ff8000000000005"},
        {true, "true"},
        {std::vector<int>{1, -2}, "[1, -2]"},
        {std::vector<double>{1, 0.5}, "[1.0, 0.5]"},
        {std::vector<std::string>{"a", "\xFF"}, "[\"a\", b64\"/w==\"]"},
        {std::vector<bool>{}, "bools []"},
        {NoValue(), "none"},
    };
    for (const auto &[value, literal] : values) {
        EXPECT_EQ(toLiteral(value), literal);
        EXPECT_EQ(literalFor(literal), literal);
    }
    EXPECT_EQ(literalFor("[1,2 ,  3]"), "[1, 2, 3]");
    EXPECT_EQ(literalFor("raw\"SQEAAAA=\""), "1") << "bytes that are a value";
}

TEST(Dump, aWrongLineIsNamed) {
    EXPECT_EQ(errorOf("a = 1\n\n# a comment\r\nb/ \n"), "");
    const std::pair<const char *, const char *> lines[] = {
        {"x = 2147483648", "\"2147483648\" is not an integer from -2147483648 to 2147483647"},
        {"x = 1e999", "\"1e999\" is not a number of 64 bits"},
        {"x = yes", "\"yes\" is not a number"},
        {"x = nan:0x1", "\"nan:0x1\" is not a number"},
        {"x = [1, 2.0]", "the elements of a list must have one type"},
        {"x = [none]", "\"none\" cannot be in a list"},
        {"x = []", "an empty list needs its type: strings [], numbers [], ints [] or bools []"},
        {"x = [1", "a list lacks its \"]\" or a comma"},
        {"x = \"a", "\"a is not a JSON string"},
        {"x = \"\\ud800\"", "\"\\ud800\" is not a JSON string"},
        {"x = b64\"/w=\"", "\"/w=\" is not base64"},
        {"x = 1 2", "\"2\" follows the value"},
        {"x =", "a value is missing"},
        {"x", "\" = \" and a value must follow the name x"},
        {"a b = 1", "\" = \" and a value must follow the name a"},
        {"\xC3\xA4 = 1", "the name \"\xC3\xA4\" must be quoted"},
        {"a/../b = 1", "a/../b cannot be the name of a property here"},
        {"/ok//x = 1", "ok/x is given twice"},
        {"ok/x/y = 1", "ok/x/y cannot be the name of a property here"},
        {"ok = 1", "ok cannot be the name of a property here"},
    };
    for (const auto &[line, error] : lines)
        EXPECT_EQ(errorOf("ok/x = 1\n" + std::string(line) + "\n"), "line 3: "s + error);
    EXPECT_EQ(errorOf("ui/x = 1\nuix = 1", "ui"), "line 3: uix is not below ui");
    RegisterFile file = scratchFile();
    EXPECT_THROW(readDump("ui/x = 1\n", file, ""), Failure);
}

} // namespace
