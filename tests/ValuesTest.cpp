// The bytes of values, reads and writes, and every failure of an operation with its exact text.
#include "tests/Support.h"

#include <cmath>
#include <limits>

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

TEST(Values, aDamagedValueIsRefusedAndTheVariableKept) {
    _Register &reg = startedRegister();
    std::string text = "kept";
    double number = 1.5;
    int integer = 15;
    bool boolean = true;
    for (const std::string &bytes :
         {""s, "S"s, "S\1\0\0"s, "S\2\0\0\0x"s, "S\xFF\xFF\xFF\xFF"s, "S\xFF\xFF\xFF\x7F"s, "N"s,
          "N\0\0\0\0\0\0\0"s, "I\0\0\0"s, "B"s, "L"s, "x\0\0\0\0"s}) {
        setRawBytes(reg, "/user/p", bytes);
        EXPECT_EQ(thrownBy([&] { reg._readString("p", text); }), "PropertyBadType") << bytes;
        EXPECT_EQ(thrownBy([&] { reg._readNumber("p", number); }), "PropertyBadType") << bytes;
        EXPECT_EQ(thrownBy([&] { reg._readInteger("p", integer); }), "PropertyBadType") << bytes;
        EXPECT_EQ(thrownBy([&] { reg._readBoolean("p", boolean); }), "PropertyBadType") << bytes;
    }
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(number, 1.5);
    EXPECT_EQ(integer, 15);
    EXPECT_TRUE(boolean);
}

TEST(Failures, everyOneHasItsTypeAndTextAndReleasesTheLock) {
    _Register &reg = startedRegister();
    reg.addGroup("g", UserScope);
    reg._writeInteger(nullptr, "p", 1, UserScope);
    const RegisterScope bad = RegisterScope(3), negative = RegisterScope(-1);
    std::string s;
    double n = 0;
    int i = 0;
    bool b = false;
    std::vector<std::string> strings;
    std::vector<double> numbers;
    std::vector<int> integers;
    std::vector<bool> booleans;
    reg._writeNumbers(nullptr, "list", {1}, UserScope);
    const struct {
        std::function<void()> call;
        std::string thrown;
    } rows[] = {
        {[&] { reg._nameToPath("a", bad); }, "Bad scope value."},
        {[&] { reg._nameToPath("a", negative); }, "Bad scope value."},
        {[&] { reg.addGroup("a", bad); }, "Bad scope value."},
        {[&] { reg.addProperty("a", bad); }, "Bad scope value."},
        {[&] { reg.delProperty("a", bad); }, "Bad scope value."},
        {[&] { reg.groupExists("a", bad); }, "Bad scope value."},
        {[&] { reg.propertyExists("a", negative); }, "Bad scope value."},
        {[&] { reg._writeString(nullptr, "a", "x", bad); }, "Bad scope value."},
        {[&] { reg._writeNumber(nullptr, "a", 1, bad); }, "Bad scope value."},
        {[&] { reg._writeInteger(nullptr, "a", 1, bad); }, "Bad scope value."},
        {[&] { reg._writeBoolean(nullptr, "a", true, negative); }, "Bad scope value."},
        {[&] { reg._writeStrings(nullptr, "a", {}, bad); }, "Bad scope value."},
        {[&] { reg._writeNumbers(nullptr, "a", {}, bad); }, "Bad scope value."},
        {[&] { reg._writeIntegers(nullptr, "a", {}, bad); }, "Bad scope value."},
        {[&] { reg._writeBooleans(nullptr, "a", {}, bad); }, "Bad scope value."},
        {[&] { reg.propertyList("", bad); }, "Bad scope value."},
        {[&] { reg.openProperty("a", _Register::WriteMode, bad); }, "Bad scope value."},
        {[&] { reg.resetProperty(nullptr, "a", bad); }, "Bad scope value."},
        {[&] { reg.findValue("a", i, bad); }, "Bad scope value."},
        {[&] { reg._readString("none", s); }, "PropertyNotFound"},
        {[&] { reg._readStrings("none", strings); }, "PropertyNotFound"},
        {[&] { reg._readNumbers("none", numbers); }, "PropertyNotFound"},
        {[&] { reg._readIntegers("none", integers); }, "PropertyNotFound"},
        {[&] { reg._readBooleans("none", booleans); }, "PropertyNotFound"},
        {[&] { reg._readStrings("g", strings); }, "PropertyBadType"},
        {[&] { reg._readNumbers("g", numbers); }, "PropertyBadType"},
        {[&] { reg._readIntegers("g", integers); }, "PropertyBadType"},
        {[&] { reg._readBooleans("g", booleans); }, "PropertyBadType"},
        {[&] { reg._readIntegers("p", integers); }, "PropertyBadType"},
        {[&] { reg._readIntegers("list", integers); }, "PropertyBadType"},
        {[&] { reg._readNumber("list", n); }, "PropertyBadType"},
        {[&] { reg._writeStrings(nullptr, "g", {}, UserScope); }, "g no such property."},
        {[&] { reg._writeNumbers(nullptr, "g", {}, UserScope); }, "g no such property."},
        {[&] { reg._writeIntegers(nullptr, "p/q", {}, UserScope); }, "p/q no such property."},
        {[&] { reg._writeBooleans(nullptr, "..", {}, UserScope); }, ".. no such property."},
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
        {[&] { reg._readNumber("none", n); }, "PropertyNotFound"},
        {[&] { reg._readInteger("none", i); }, "PropertyNotFound"},
        {[&] { reg._readBoolean("none", b); }, "PropertyNotFound"},
        {[&] { reg.readPropertyType("none", nullptr); }, "PropertyNotFound"},
        {[&] { reg._readString("g", s); }, "PropertyNotFound"},
        {[&] { reg._readNumber("g", n); }, "PropertyBadType"},
        {[&] { reg._readInteger("g", i); }, "PropertyBadType"},
        {[&] { reg._readBoolean("g", b); }, "PropertyBadType"},
        {[&] { reg.readPropertyType("g", nullptr); }, "PropertyBadType"},
        {[&] { reg._readString("p", s); }, "PropertyBadType"},
        {[&] { reg._readNumber("p", n); }, "PropertyBadType"},
        {[&] { reg._readBoolean("p", b); }, "PropertyBadType"},
        {[&] { reg._writeString(nullptr, "g", "x", UserScope); }, "/user/g no such property"},
        {[&] { reg._writeString(nullptr, "p/q", "x", UserScope); }, "/user/p/q no such property"},
        {[&] { reg._writeNumber(nullptr, "g", 1, UserScope); }, "g no such property."},
        {[&] { reg._writeInteger(nullptr, "p/q", 1, UserScope); }, "p/q no such property."},
        {[&] { reg._writeBoolean(nullptr, "", true, TempScope); }, " no such property."},
    };
    std::vector<std::string> told;
    int party = 0;
    Recorder all(told, "told", &party);
    for (const char *key : {"a", "g", "p", "p/q"})
        reg.addCallback(key, &all);
    for (const auto &row : rows) {
        EXPECT_EQ(thrownBy(row.call), row.thrown);
        EXPECT_TRUE(lockIsFree()) << row.thrown;
    }
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
