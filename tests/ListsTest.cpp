// Lists: their bytes, what is refused, what a refusal leaves and costs.
#include "tests/Support.h"

#include <climits>
#include <limits>

#include <sys/resource.h>

using namespace testing_support;
using namespace utils::properties;
using namespace std::string_literals;

namespace {

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

TEST(Lists, aDamagedListIsRefusedBeforeAnythingIsAllocated) {
    _Register &reg = startedRegister();
    std::vector<std::string> strings = {"kept"};
    std::vector<double> numbers = {1.5};
    std::vector<int> integers = {15};
    std::vector<bool> booleans = {true};
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    const rlimit memory = {std::size_t{1} << 30, RLIM_INFINITY}; // far less than the counts promise
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &memory), 0);
#endif
    for (const char element : {'S', 'N', 'I', 'B', 'L', 'x'})
        for (const std::string &rest :
             {""s, "\1\0\0"s, "\1\0\0\0"s, "\xFF\xFF\xFF\x7F"s, "\xFF\xFF\xFF\x7F xyz"s,
              "\2\0\0\0\1\0\0\0"s, "\1\0\0\0\xFF\xFF\xFF\x7Fx"s, "\1\0\0\0\xFF\xFF\xFF\xFFx"s}) {
            if (element != 'S' && rest.size() == 9)
                continue; // whole for some element types
            if ((element == 'B' || element == 'I') && rest.size() == 8)
                continue;
            const std::string bytes = "L"s + element + rest;
            setRawBytes(reg, "/user/p", bytes);
            EXPECT_EQ(thrownBy([&] { reg._readStrings("p", strings); }), "PropertyBadType")
                << bytes;
            EXPECT_EQ(thrownBy([&] { reg._readNumbers("p", numbers); }), "PropertyBadType")
                << bytes;
            EXPECT_EQ(thrownBy([&] { reg._readIntegers("p", integers); }), "PropertyBadType")
                << bytes;
            EXPECT_EQ(thrownBy([&] { reg._readBooleans("p", booleans); }), "PropertyBadType")
                << bytes;
        }
    EXPECT_EQ(strings, std::vector<std::string>{"kept"});
    EXPECT_EQ(numbers, std::vector<double>{1.5});
    EXPECT_EQ(integers, std::vector<int>{15});
    EXPECT_EQ(booleans, std::vector<bool>{true});
}

} // namespace
