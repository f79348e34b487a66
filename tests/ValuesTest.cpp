// The bytes of values, reads and writes, and every failure of an operation with its exact text.
#include "tests/Support.h"

#include <cmath>
#include <limits>

#include <sys/resource.h>

using namespace testing_support;
using namespace utils::properties;
using namespace std::string_literals;

namespace {

std::string readString(const _Register &reg, const std::string &name) {
    std::string value = "untouched";
    reg._readString(name, value);
    return value;
}

TEST(Values, eachHasItsBytesAndComesBack) {
    _Register &reg = startedRegister();
    reg._writeString(nullptr, "a/s", "hello", UserScope);
    EXPECT_EQ(rawBytes(reg, "/user/a/s"), "S\5\0\0\0hello"s);
    EXPECT_EQ(readString(reg, "a/s"), "hello");
    EXPECT_EQ(reg.readPropertyType("a/s", nullptr), StringType);
    for (const std::string &text : {""s, "\0a\0"s, "\xFF not UTF-8"s, std::string(100000, 'x')}) {
        reg._writeString(nullptr, "a/s", text, UserScope);
        EXPECT_EQ(readString(reg, "a/s"), text);
    }
    EXPECT_EQ(rawBytes(reg, "/user/a/s").size(), 100005U);

    reg._writeNumber(nullptr, "n", -2.0, TempScope);
    EXPECT_EQ(rawBytes(reg, "/temp/n"), "N\0\0\0\0\0\0\0\xC0"s);
    for (const double number : {1.0, -0.0, 1e-310, std::numeric_limits<double>::infinity()}) {
        reg._writeNumber(nullptr, "n", number, TempScope);
        double value = 7;
        reg._readNumber("n", value);
        EXPECT_EQ(value, number);
        EXPECT_EQ(std::signbit(value), std::signbit(number));
    }
    reg._writeInteger(nullptr, "i", -2, GlobalScope);
    EXPECT_EQ(rawBytes(reg, "/global/i"), "I\xFE\xFF\xFF\xFF");
    for (const int integer : {0, 1, std::numeric_limits<int>::min()}) {
        reg._writeInteger(nullptr, "i", integer, GlobalScope);
        int value = 7;
        reg._readInteger("i", value);
        EXPECT_EQ(value, integer);
    }
    bool value = false;
    reg._writeBoolean(nullptr, "b", true, UserScope);
    EXPECT_EQ(rawBytes(reg, "/user/b"), "B\1"s);
    setRawBytes(reg, "/user/b", "B\7"s);
    reg._readBoolean("b", value);
    EXPECT_TRUE(value) << "any byte but zero";
    reg._writeBoolean(nullptr, "b", false, UserScope);
    EXPECT_EQ(rawBytes(reg, "/user/b"), "B\0"s);
}

TEST(Values, aUserValueHidesTheGlobalOneAndATempOneComesLast) {
    _Register &reg = startedRegister();
    reg._writeString(nullptr, "theme", "temp:theme", TempScope);
    EXPECT_EQ(readString(reg, "theme"), "temp:theme");
    reg._writeString(nullptr, "theme", "global:theme", GlobalScope);
    EXPECT_EQ(readString(reg, "theme"), "global:theme");
    reg._writeString(nullptr, "theme", "user:theme", UserScope);
    EXPECT_EQ(readString(reg, "theme"), "user:theme");
    reg.delProperty("theme", UserScope);
    EXPECT_EQ(readString(reg, "theme"), "global:theme");
    reg.addGroup("theme", UserScope);
    EXPECT_EQ(thrownBy([&] { readString(reg, "theme"); }), "PropertyNotFound")
        << "a group hides it as well";
}

TEST(Values, aWriteChangesTheType) {
    _Register &reg = startedRegister();
    reg._writeString(nullptr, "p", "text", UserScope);
    reg._writeInteger(nullptr, "p", 5, UserScope);
    EXPECT_EQ(reg.readPropertyType("p", nullptr), IntegerType);
    EXPECT_EQ(thrownBy([&] { readString(reg, "p"); }), "PropertyBadType");
    reg.addProperty("empty", UserScope);
    EXPECT_EQ(reg.readPropertyType("empty", nullptr), Type(0));
    setRawBytes(reg, "/user/list", "LI\0\0\0\0"s);
    Type element = BooleanType;
    EXPECT_EQ(reg.readPropertyType("p", &element), IntegerType);
    EXPECT_EQ(element, BooleanType) << "only a list has one";
    EXPECT_EQ(reg.readPropertyType("list", &element), ListType);
    EXPECT_EQ(element, IntegerType);
    EXPECT_EQ(reg.readPropertyType("list", nullptr), ListType);
}

TEST(Lists, eachTypeHasItsBytesAndComesBack) {
    _Register &reg = startedRegister();
    std::vector<int> integers = {1, 2, 3};
    reg._writeIntegers(nullptr, "n", {7, -1}, UserScope);
    EXPECT_EQ(rawBytes(reg, "/user/n"), "LI\2\0\0\0\7\0\0\0\xFF\xFF\xFF\xFF"s);
    reg._readIntegers("n", integers);
    EXPECT_EQ(integers, (std::vector<int>{7, -1})) << "replaced, not appended";

    std::vector<bool> booleans;
    reg._writeBooleans(nullptr, "b", {true, false, true}, TempScope);
    EXPECT_EQ(rawBytes(reg, "/temp/b"), "LB\3\0\0\0\1\0\1"s);
    setRawBytes(reg, "/temp/b", "LB\3\0\0\0\7\0\xFF tail"s);
    reg._readBooleans("b", booleans);
    EXPECT_EQ(booleans, (std::vector<bool>{true, false, true})) << "any byte but zero";

    std::vector<double> numbers;
    reg._writeNumbers(nullptr, "d", {1.0}, GlobalScope);
    EXPECT_EQ(rawBytes(reg, "/global/d"), "LN\1\0\0\0\0\0\0\0\0\0\xF0\x3F"s);
    const std::vector<double> odd = {-0.0, 1e-310, std::numeric_limits<double>::infinity()};
    reg._writeNumbers(nullptr, "d", odd, GlobalScope);
    reg._readNumbers("d", numbers);
    EXPECT_EQ(numbers, odd);

    std::vector<std::string> strings = {"1", "2", "3"};
    reg._writeStrings(nullptr, "s", {"ab", ""}, UserScope);
    EXPECT_EQ(rawBytes(reg, "/user/s"), "LS\2\0\0\0\2\0\0\0ab\0\0\0\0"s);
    reg._readStrings("s", strings);
    EXPECT_EQ(strings, (std::vector<std::string>{"ab", ""}));

    Type element = BooleanType;
    reg._writeStrings(nullptr, "s", {}, UserScope);
    EXPECT_EQ(reg.readPropertyType("s", &element), ListType);
    EXPECT_EQ(element, StringType) << "an empty list keeps its type";
    reg._readStrings("s", strings);
    EXPECT_TRUE(strings.empty());
    setRawBytes(reg, "/user/n", "LI\xFF\xFF\xFF\xFF"s);
    reg._readIntegers("n", integers);
    EXPECT_TRUE(integers.empty()) << "a negative count";
}

TEST(Lists, aMillionElementsComeBack) {
    _Register &reg = startedRegister();
    std::vector<int> integers(1000000);
    std::vector<bool> booleans(integers.size());
    std::vector<std::string> strings(integers.size() / 10);
    for (std::size_t i = 0; i < integers.size(); ++i) {
        integers[i] = static_cast<int>(i * 2654435761U);
        booleans[i] = integers[i] % 3 == 0;
        strings[i / 10] = std::to_string(integers[i]);
    }
    reg._writeIntegers(nullptr, "i", integers, UserScope);
    reg._writeBooleans(nullptr, "b", booleans, UserScope);
    reg._writeStrings(nullptr, "s", strings, UserScope);
    std::vector<int> readIntegers;
    std::vector<bool> readBooleans;
    std::vector<std::string> readStrings;
    reg._readIntegers("i", readIntegers);
    reg._readBooleans("b", readBooleans);
    reg._readStrings("s", readStrings);
    EXPECT_TRUE(readIntegers == integers && readBooleans == booleans && readStrings == strings);
}

/// The eight reads, into variables that tell whether one that fails has touched them.
struct Reads {
    std::string string = "kept";
    double number = 1.5;
    int integer = 15;
    bool boolean = true;
    std::vector<std::string> strings = {"kept"};
    std::vector<double> numbers = {1.5};
    std::vector<int> integers = {15};
    std::vector<bool> booleans = {true};
    _Register &reg = startedRegister();
    const std::vector<std::function<void(const std::string &)>> all = {
        [this](auto &name) { reg._readString(name, string); },
        [this](auto &name) { reg._readNumber(name, number); },
        [this](auto &name) { reg._readInteger(name, integer); },
        [this](auto &name) { reg._readBoolean(name, boolean); },
        [this](auto &name) { reg._readStrings(name, strings); },
        [this](auto &name) { reg._readNumbers(name, numbers); },
        [this](auto &name) { reg._readIntegers(name, integers); },
        [this](auto &name) { reg._readBooleans(name, booleans); },
    };
    ~Reads() {
        EXPECT_TRUE(string == "kept" && number == 1.5 && integer == 15 && boolean);
        EXPECT_TRUE(strings == std::vector<std::string>{"kept"} &&
                    numbers == std::vector<double>{1.5});
        EXPECT_TRUE(integers == std::vector<int>{15} && booleans == std::vector<bool>{true});
    }
};

TEST(Failures, aDamagedValueIsRefusedBeforeAnythingIsAllocated) {
    Reads reads;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    const rlimit memory = {std::size_t{1} << 30, RLIM_INFINITY}; // far less than the counts promise
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &memory), 0);
#endif
    for (const std::string &bytes : {""s,
                                     "S"s,
                                     "S\1\0\0"s,
                                     "S\2\0\0\0x"s,
                                     "S\xFF\xFF\xFF\xFF"s,
                                     "S\xFF\xFF\xFF\x7F"s,
                                     "N"s,
                                     "N\0\0\0\0\0\0\0"s,
                                     "I\0\0\0"s,
                                     "B"s,
                                     "L"s,
                                     "x\0\0\0\0"s,
                                     "LS\1\0\0"s,
                                     "LS\1\0\0\0"s,
                                     "LS\xFF\xFF\xFF\x7F"s,
                                     "LS\xFF\xFF\xFF\x7F xyz"s,
                                     "LS\2\0\0\0\1\0\0\0x"s,
                                     "LS\1\0\0\0\xFF\xFF\xFF\x7Fx"s,
                                     "LS\1\0\0\0\xFF\xFF\xFF\xFFx"s,
                                     "LN"s,
                                     "LN\1\0\0\0\0"s,
                                     "LN\xFF\xFF\xFF\x7F xyz"s,
                                     "LI\1\0\0\0\0\0\0"s,
                                     "LI\xFF\xFF\xFF\x7F xyz"s,
                                     "LB\2\0\0\0\1"s,
                                     "LB\xFF\xFF\xFF\x7F xyz"s,
                                     "LL\0\0\0\0"s,
                                     "Lx\0\0\0\0"s}) {
        setRawBytes(reads.reg, "/user/p", bytes);
        for (const auto &read : reads.all)
            EXPECT_EQ(thrownBy([&] { read("p"); }), "PropertyBadType") << bytes;
    }
}

TEST(Failures, everyOneHasItsTypeAndTextAndReleasesTheLock) {
    Reads reads;
    _Register &reg = reads.reg;
    reg.addGroup("g", UserScope);
    reg.addProperty("p", UserScope);
    std::vector<std::string> told;
    int party = 0, value = 0;
    Recorder all(told, "told", &party);
    for (const char *key : {"a", "g", "p", ".."})
        reg.addCallback(key, &all);
    const auto expect = [](const std::function<void()> &call, const std::string &thrown) {
        EXPECT_EQ(thrownBy(call), thrown);
        EXPECT_TRUE(lockIsFree()) << thrown;
    };

    for (const auto &read : reads.all) {
        const bool isString = &read == &reads.all.front();
        expect([&] { read("none"); }, "PropertyNotFound");
        expect([&] { read("g"); }, isString ? "PropertyNotFound" : "PropertyBadType");
        expect([&] { read("p"); }, "PropertyBadType");
    }
    const std::vector<std::function<void(const char *, RegisterScope)>> writes = {
        [&](auto name, auto scope) { reg._writeString(nullptr, name, "x", scope); },
        [&](auto name, auto scope) { reg._writeNumber(nullptr, name, 1, scope); },
        [&](auto name, auto scope) { reg._writeInteger(nullptr, name, 1, scope); },
        [&](auto name, auto scope) { reg._writeBoolean(nullptr, name, true, scope); },
        [&](auto name, auto scope) { reg._writeStrings(nullptr, name, {}, scope); },
        [&](auto name, auto scope) { reg._writeNumbers(nullptr, name, {}, scope); },
        [&](auto name, auto scope) { reg._writeIntegers(nullptr, name, {}, scope); },
        [&](auto name, auto scope) { reg._writeBooleans(nullptr, name, {}, scope); },
    };
    for (const auto &write : writes) {
        const bool isString = &write == &writes.front();
        for (const std::string name : {"g", "p/q", "", ".."})
            expect([&] { write(name.c_str(), UserScope); },
                   isString ? "/user/" + name + " no such property" : name + " no such property.");
        for (const int scope : {3, -1})
            expect([&] { write("a", RegisterScope(scope)); }, "Bad scope value.");
    }
    const RegisterScope bad = RegisterScope(3);
    const std::pair<std::function<void()>, const char *> others[] = {
        {[&] { reg._nameToPath("a", bad); }, "Bad scope value."},
        {[&] { reg.addGroup("a", bad); }, "Bad scope value."},
        {[&] { reg.addProperty("a", bad); }, "Bad scope value."},
        {[&] { reg.delProperty("a", bad); }, "Bad scope value."},
        {[&] { reg.groupExists("a", bad); }, "Bad scope value."},
        {[&] { reg.propertyExists("a", bad); }, "Bad scope value."},
        {[&] { reg.propertyList("", bad); }, "Bad scope value."},
        {[&] { reg.openProperty("a", _Register::WriteMode, bad); }, "Bad scope value."},
        {[&] { reg.resetProperty(nullptr, "a", bad); }, "Bad scope value."},
        {[&] { reg.findValue("a", value, bad); }, "Bad scope value."},
        {[&] { reg.readPropertyType("none", nullptr); }, "PropertyNotFound"},
        {[&] { reg.readPropertyType("g", nullptr); }, "PropertyBadType"},
        {[&] { reg.propertyList("p", UserScope); }, "p does not exist or is not a group."},
        {[&] { reg.propertyList("g", TempScope); }, "g does not exist or is not a group."},
        {[&] { reg.openProperty("x/y", _Register::WriteMode, bad); }, "Group x does not exist !"},
        {[&] { reg.openProperty("p/y", _Register::ReadMode, UserScope); },
         "Group p does not exist !"},
        {[&] { reg.openProperty("g/y", _Register::ReadMode, UserScope); },
         "Cannot open property named g/y !"},
        {[&] { reg.openProperty("g/y", _Register::WriteMode, TempScope); },
         "Cannot open property named g/y !"},
        {[&] { reg.openProperty("g", _Register::WriteMode, UserScope); },
         "Cannot open property named g !"},
        {[&] { reg.openProperty("p", _Register::FileSystemMode(2), UserScope); },
         "Cannot open property named p !"},
    };
    for (const auto &[call, thrown] : others)
        expect(call, thrown);
    reg.notify(nullptr);
    EXPECT_EQ(told, std::vector<std::string>()) << "a failed write tells nobody, also not later";
    EXPECT_FALSE(reg.propertyExists("a"));
}

TEST(Failures, theOwnExceptionsAreCaughtByTheirOwnTypeAlone) {
    const _Register &reg = startedRegister();
    int value = 0;
    try {
        reg._readInteger("none", value);
        FAIL();
    } catch (const utils::Exception &) {
        FAIL() << "caught by its base";
    } catch (const std::exception &) {
        FAIL() << "caught by the base of its base";
    } catch (const PropertyNotFound &) {
    }
    EXPECT_STREQ(utils::Exception().what(), "");
    EXPECT_STREQ(utils::Exception(static_cast<const char *>(nullptr)).what(), "");
}

} // namespace
