// The bytes of values, reads and writes, and every failure of an operation with its exact text.
#include "tests/Operations.h"

#include <limits>

#include <sys/resource.h>

using namespace testing_support;
using namespace utils::properties;
using namespace std::string_literals;

namespace {

/// Checks that a value is stored as these bytes and read back from them. A shorter part of the
/// bytes must not be a value.
template <class Value>
void checkBytes(const Value &value, const std::string &bytes) {
    _Register &reg = startedRegister();
    const Property<Value> property("p", Value(), TempScope);
    property.set(value);
    EXPECT_EQ(rawBytes(reg, "/temp/p"), bytes);
    EXPECT_EQ(property.value(), value);
    EXPECT_EQ(reg.readAny("p"), PropertyValue(value));
    EXPECT_EQ(reg.readPropertyType("p", nullptr), Type(bytes[0]));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        setRawBytes(reg, "/temp/p", bytes.substr(0, length));
        EXPECT_FALSE(property.isSet()) << bytes << " cut at " << length;
        if (length == 0)
            EXPECT_EQ(reg.readAny("p"), PropertyValue(NoValue()));
        else
            EXPECT_EQ(thrownBy([&] { reg.readAny("p"); }), "PropertyBadType");
    }
}

TEST(Values, eachTypeHasItsBytesAndComesBack) {
    checkBytes("ab\0\xFF"s, "S\4\0\0\0ab\0\xFF"s);
    checkBytes(-2.0, "N\0\0\0\0\0\0\0\xC0"s);
    checkBytes(-2, "I\xFE\xFF\xFF\xFF"s);
    checkBytes(true, "B\1"s);
    checkBytes(std::vector<std::string>{"ab", ""}, "LS\2\0\0\0\2\0\0\0ab\0\0\0\0"s);
    checkBytes(std::vector<double>{1, std::numeric_limits<double>::infinity()},
               "LN\2\0\0\0\0\0\0\0\0\0\xF0\x3F\0\0\0\0\0\0\xF0\x7F"s);
    checkBytes(std::vector<int>{7, -1}, "LI\2\0\0\0\7\0\0\0\xFF\xFF\xFF\xFF"s);
    checkBytes(std::vector<bool>{true, false, true}, "LB\3\0\0\0\1\0\1"s);
    checkBytes(std::vector<std::string>(), "LS\0\0\0\0"s);
}

TEST(Values, otherBytesAreReadLeniently) {
    _Register &reg = startedRegister();
    std::vector<bool> booleans = {true};
    setRawBytes(reg, "/temp/p", "LB\3\0\0\0\7\0\xFF and more"s);
    reg._readBooleans("p", booleans);
    EXPECT_EQ(booleans, (std::vector<bool>{true, false, true})) << "any byte except zero is true";
    for (const std::string &bytes : {"LI\xFF\xFF\xFF\xFF"s, "LI\0\0\0\0"s}) {
        std::vector<int> integers = {1, 2};
        setRawBytes(reg, "/temp/p", bytes);
        reg._readIntegers("p", integers);
        EXPECT_TRUE(integers.empty()) << "a count of zero or less gives an empty list";
    }
}

TEST(Values, aWriteChangesTheTypeAndAGroupHidesWhatIsBelow) {
    _Register &reg = startedRegister();
    std::string text;
    EXPECT_EQ(reg.readAny("p"), PropertyValue());
    reg._writeString(nullptr, "p", "text", UserScope);
    reg._writeInteger(nullptr, "p", 5, UserScope);
    EXPECT_EQ(thrownBy([&] { reg._readString("p", text); }), "PropertyBadType");
    reg.addProperty("empty", UserScope);
    EXPECT_EQ(reg.readPropertyType("empty", nullptr), Type(0));
    reg._writeIntegers(nullptr, "list", {}, UserScope);
    Type element = BooleanType;
    setRawBytes(reg, "/user/p", "Ixyz");
    EXPECT_EQ(reg.readPropertyType("p", &element), IntegerType);
    EXPECT_EQ(element, BooleanType) << "only a list has an element type";
    EXPECT_EQ(reg.readPropertyType("list", &element), ListType);
    EXPECT_EQ(element, IntegerType);

    reg._writeString(nullptr, "theme", "global", GlobalScope);
    reg.addGroup("theme", UserScope);
    EXPECT_EQ(thrownBy([&] { reg._readString("theme", text); }), "PropertyNotFound");
    EXPECT_EQ(reg.findValue("theme", text), GlobalScope) << "findValue ignores the group";
    EXPECT_EQ(reg.readAny("theme"), PropertyValue("global"s)) << "so does readAny";
    EXPECT_EQ(reg.readAny("theme", UserScope), PropertyValue());
}

TEST(Failures, aDamagedValueIsRefusedBeforeAnythingIsAllocated) {
    _Register &reg = startedRegister();
    const Operations operations;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    const rlimit memory = {std::size_t{1} << 30, RLIM_INFINITY}; // far less than the counts require
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &memory), 0);
#endif
    for (const std::string &kind : {"S"s, "LS"s, "LS\1\0\0\0"s, "LN"s, "LI"s, "LB"s, "x"s, "Lx"s})
        for (const std::string &count : {""s, "\2\0\0\0x"s, "\xFF\xFF\xFF\x7F xyz"s}) {
            setRawBytes(reg, "/user/p", kind + count);
            for (const Operation &read : operations.reads)
                EXPECT_EQ(thrownBy([&] { read.run(reg, "p", UserScope); }), "PropertyBadType")
                    << read.label << " of " << kind << count;
        }
}

// A handler for std::exception does not catch them.
static_assert(!std::is_convertible_v<PropertyNotFound *, std::exception *> &&
              !std::is_convertible_v<PropertyBadType *, std::exception *>);

TEST(Failures, everyOneHasItsTypeAndTextAndReleasesTheLock) {
    _Register &reg = startedRegister();
    const Operations operations;
    reg.addGroup("g", UserScope);
    reg.addProperty("p", UserScope);
    std::vector<std::string> told;
    int party = 0, value = 0;
    Recorder all(told, "told", &party);
    for (const char *key : {"a", "g", "p", ".."})
        reg.addCallback(key, &all);
    const auto expect = [](const std::string &what, const std::function<void()> &call,
                           const std::string &thrown) {
        EXPECT_EQ(thrownBy(call), thrown) << what;
        EXPECT_TRUE(lockIsFree()) << what;
    };
    for (const Operation &read : operations.reads) {
        const bool isString = &read == &operations.reads.front();
        const auto of = [&](const char *name) {
            return [&, name] { read.run(reg, name, UserScope); };
        };
        expect(read.label, of("none"), "PropertyNotFound");
        expect(read.label, of("g"), isString ? "PropertyNotFound" : "PropertyBadType");
        expect(read.label, of("p"), "PropertyBadType");
    }
    for (const Operation &write : operations.writes) {
        const bool isString = &write == &operations.writes.front();
        for (const std::string name : {"g", "p/q", "", ".."})
            expect(
                write.label, [&] { write.run(reg, name, UserScope); },
                isString ? "/user/" + name + " no such property" : name + " no such property.");
    }
    for (const auto *part : {&operations.writes, &operations.finds, &operations.ofScope})
        for (const Operation &operation : *part)
            for (const int scope : {3, -1})
                expect(
                    operation.label, [&] { operation.run(reg, "a", RegisterScope(scope)); },
                    "Bad scope value.");
    const auto open = [&reg](const char *name, int mode, RegisterScope scope) {
        return [=, &reg] { reg.openProperty(name, _Register::FileSystemMode(mode), scope); };
    };
    const std::pair<std::function<void()>, const char *> others[] = {
        {[&] { reg._nameToPath("a", RegisterScope(3)); }, "Bad scope value."},
        {[&] { reg.readPropertyType("none", nullptr); }, "PropertyNotFound"},
        {[&] { reg.readPropertyType("g", nullptr); }, "PropertyBadType"},
        {[&] { reg.propertyList("p", UserScope); }, "p does not exist or is not a group."},
        {[&] { reg.propertyList("g", TempScope); }, "g does not exist or is not a group."},
        {open("x/y", _Register::WriteMode, RegisterScope(3)), "Group x does not exist !"},
        {open("p/y", _Register::ReadMode, UserScope), "Group p does not exist !"},
        {open("g/y", _Register::ReadMode, UserScope), "Cannot open property named g/y !"},
        {open("g/y", _Register::WriteMode, TempScope), "Cannot open property named g/y !"},
        {open("g", _Register::WriteMode, UserScope), "Cannot open property named g !"},
        {open("p", 2, UserScope), "Cannot open property named p !"},
    };
    for (const auto &[call, thrown] : others)
        expect(thrown, call, thrown);
    reg.notify(nullptr);
    EXPECT_EQ(told, std::vector<std::string>()) << "a failed write does not notify, not even later";
    EXPECT_FALSE(reg.propertyExists("a") || reg.findValue("a", value));
}

} // namespace
