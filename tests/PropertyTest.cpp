// The layer that most applications use: declared properties, subscriptions, scoped handles.
#include "register/Property.h"
#include "tests/Support.h"

#include <cmath>
#include <stdexcept>
#include <thread>

using namespace testing_support;
using namespace utils::properties;

namespace {

/// A type of an application: at most 100, stored as an integer.
struct Percent {
    int value = 0;
};

} // namespace

template <>
struct utils::properties::Storage<Percent> {
    using Stored = int;
    static std::optional<Percent> load(int stored) {
        return stored <= 100 ? std::optional(Percent{stored}) : std::nullopt;
    }
    static int store(const Percent &percent) {
        return percent.value <= 100 ? percent.value : throw utils::Exception("it is above 100.");
    }
};

namespace {

using Told = std::vector<std::string>;

/// Writes two values through a property of this type and follows them through the scopes.
template <class Value>
void checkType(Value first, Value second, Value fallback) {
    _Register &reg = startedRegister();
    const Property<Value> user("p", fallback), global("p", fallback, GlobalScope),
        temp("p", fallback, TempScope);
    EXPECT_EQ(user.value(), fallback);
    EXPECT_FALSE(user.isSet() || user.origin());
    temp.set(first);
    EXPECT_EQ(user.value(), first);
    EXPECT_EQ(user.origin(), TempScope);
    global.set(second);
    EXPECT_EQ(user.value(), second);
    EXPECT_TRUE(!user.isSet() && global.isSet() && temp.isSet());
    temp.reset();
    user.set(first);
    EXPECT_TRUE(user.isSet() && !temp.isSet()) << "each checks its own scope only";
    EXPECT_EQ(temp.value(), first);
    EXPECT_EQ(temp.origin(), UserScope);
    user.reset();
    EXPECT_EQ(user.value(), second);
    reg.addProperty("p", UserScope);
    EXPECT_EQ(user.value(), second) << "a property without a value counts as missing";
    EXPECT_FALSE(user.isSet());
    global.reset();
    EXPECT_EQ(user.value(), fallback);
}

TEST(Property, everyTypeGoesThroughTheScopes) {
    checkType<int>(1, -2, 3);
    checkType<double>(0.5, 1e300, 3);
    checkType<bool>(true, false, true);
    checkType<std::string>("one", std::string("\0\xFF", 2), "");
    checkType<QString>("\uFEFFmark", QString(), "default");
    checkType<std::vector<int>>({1, 2}, {}, {3});
    checkType<std::vector<double>>({1}, {2, 3}, {});
    checkType<std::vector<bool>>({true}, {false, true}, {});
    checkType<std::vector<std::string>>({"a", ""}, {}, {"default"});
    checkType<QStringList>({"a", "\u00e9"}, {}, {"default"});
}

TEST(Property, anotherTypeCountsAsMissingAndAFailingWriteIsNotSwallowed) {
    _Register &reg = startedRegister();
    const Property<int> width("ui/width", 800);
    reg._writeInteger(nullptr, "ui/width", 640, GlobalScope);
    reg._writeString(nullptr, "ui/width", "wide", UserScope);
    EXPECT_EQ(width.value(), 640);
    EXPECT_EQ(width.origin(), GlobalScope);
    width.reset();
    EXPECT_FALSE(reg.propertyExists("ui/width", UserScope)) << "reset removes a value of any type";

    const Property<int> group("ui");
    reg._writeInteger(nullptr, "ui/width", 1, UserScope);
    EXPECT_EQ(thrownBy([&] { group.set(1); }), "ui no such property.");
    group.reset();
    EXPECT_TRUE(reg.propertyExists("ui/width", UserScope)) << "a group is not reset";
    const QString loneSurrogate(QChar(0xD800));
    const std::string refused = "The value for text cannot be stored: it is not valid UTF-16.";
    EXPECT_EQ(thrownBy([&] { Property<QString>("text").set(loneSurrogate); }), refused);
    EXPECT_EQ(thrownBy([&] { Property<QStringList>("text").set({"a", loneSurrogate}); }), refused);
    EXPECT_FALSE(reg.propertyExists("text"));
}

TEST(Property, aValueThatItsTypeRefusesCountsAsMissing) {
    _Register &reg = startedRegister();
    const Property<Percent> zoom("zoom", {50});
    reg._writeInteger(nullptr, "zoom", 101, UserScope);
    EXPECT_EQ(zoom.value().value, 50);
    reg._writeInteger(nullptr, "zoom", 7, TempScope);
    EXPECT_EQ(zoom.value().value, 7) << "of the first scope with a good value";
    EXPECT_EQ(zoom.origin(), TempScope);
    reg._writeInteger(nullptr, "zoom", 101, GlobalScope);
    EXPECT_EQ(zoom.origin(), TempScope);
    EXPECT_FALSE(zoom.isSet());
    EXPECT_FALSE(findStored<Percent>(reg, "zoom", GlobalScope));
    EXPECT_EQ(thrownBy([&] { zoom.set({101}); }),
              "The value for zoom cannot be stored: it is above 100.");
    zoom.set({100});
    EXPECT_EQ(zoom.origin(), UserScope);
}

TEST(Property, aValueOutsideItsLimitsCountsAsMissingAndIsNotSet) {
    _Register &reg = startedRegister();
    const Property<int> size("ui/size", 12, Range(6, 72));
    for (const int good : {6, 72}) {
        size.set(good);
        EXPECT_EQ(size.value(), good);
    }
    reg._writeInteger(nullptr, "ui/size", 73, UserScope);
    reg._writeInteger(nullptr, "ui/size", 5, GlobalScope);
    EXPECT_EQ(size.value(), 12);
    reg._writeInteger(nullptr, "ui/size", 7, TempScope);
    EXPECT_TRUE(size.value() == 7 && size.origin() == TempScope && !size.isSet());
    EXPECT_EQ(thrownBy([&] { size.set(73); }), "The value 73 for ui/size is not from 6 to 72.");
    EXPECT_EQ(size.value(), 7);

    const Property<double> ratio("ratio", 0.1, Range(0, 1.5), TempScope);
    reg._writeNumber(nullptr, "ratio", NAN, UserScope);
    EXPECT_EQ(ratio.value(), 0.1);
    EXPECT_EQ(thrownBy([&] { ratio.set(NAN); }), "The value nan for ratio is not from 0 to 1.5.");
    ratio.set(1);
    EXPECT_EQ(ratio.origin(), TempScope);

    const Property<QString> style("style", "flat", OneOf("flat", "round"));
    reg._writeString(nullptr, "style", "rounded", UserScope);
    EXPECT_EQ(style.value(), "flat");
    EXPECT_EQ(thrownBy([&] { style.set("Flat"); }),
              "The value \"Flat\" for style is not one of \"flat\", \"round\".");
    using Integers = std::vector<int>;
    const auto isEven = [](const Integers &list) { return list.size() % 2 == 0; };
    EXPECT_EQ(thrownBy([&] {
                  Property<Integers>("pairs", {}, {isEven, "in pairs"}).set({1, 2, 3});
              }),
              "The value [1, 2, 3] for pairs is not in pairs.");
    EXPECT_EQ(thrownBy([] { Property<bool>("on", false, OneOf(true)); }),
              "The value false for on is not one of true.");
    EXPECT_EQ(thrownBy([] { Property<double>("ratio", 0, Range(0.2, 0.1)); }),
              "No value is from 0.2 to 0.1.");
    EXPECT_EQ(thrownBy([] { Property<double>("ratio", 0, Range(0, NAN)); }),
              "No value is from 0 to nan.");
}

TEST(Property, nothingStartsTheRegisterBeforeItKnowsItsDirectories) {
    const std::string refused = "The register has not been initialized.";
    const Property<int> width("ui/width");
    EXPECT_EQ(thrownBy([&] { width.value(); }), refused);
    EXPECT_EQ(thrownBy([&] { width.set(1); }), refused);
    EXPECT_EQ(thrownBy([] { const Subscription none("ui", [](auto &) {}); }), refused);
    EXPECT_EQ(thrownBy([] { PropertyHandle("p", _Register::WriteMode, UserScope); }), refused);
    startedRegister();
    EXPECT_EQ(thrownBy([] { const Subscription none("ui", nullptr); }),
              "A subscription needs a function.");
    static_assert(!std::is_constructible_v<Property<int>, const char *, RegisterScope>);
    static_assert(!std::is_constructible_v<Property<bool>, const char *, const char *>);
}

TEST(Subscription, mayEndOrBeginInsideItsOwnCall) {
    _Register &reg = startedRegister();
    Told told;
    std::vector<Subscription> begun;
    Subscription own, other("k", [&](auto &) { told.push_back("other"); });
    own = Subscription("k", [&, label = std::string("a label that lies on the heap")](auto &) {
        begun.emplace_back("k", [&](auto &) { told.push_back("begun"); });
        other = Subscription();
        own = Subscription();
        told.push_back(label); // the captures of the function still exist
    });
    reg.markAsChanged(nullptr, "k");
    reg.markAsChanged(nullptr, "k");
    EXPECT_EQ(told, (Told{"other", "a label that lies on the heap", "begun"}));
    begun.emplace_back("k", [](auto &) { throw std::runtime_error("on purpose"); });
    EXPECT_EQ(thrownBy([] { Property<int>("k").set(1); }), "std: on purpose");
    EXPECT_EQ(Property<int>("k").value(), 1);
}

TEST(Subscription, hearsAllNamesOrAnySpelling) {
    startedRegister();
    std::vector<std::string> told;
    const auto tell = [&told](const std::string &label) {
        return [&told, label](const std::string &name) { told.push_back(label + ":" + name); };
    };
    const Subscription all(allNames, tell("all")), ui(AnySpelling{"/ui/"}, tell("ui"));
    const Subscription any(AnySpelling{""}, tell("any")), deaf("", tell("deaf")), x("x", tell("x"));
    const Subscription own(allNames, tell("own"), &told), ownAny(AnySpelling{}, tell("own"), &told);
    for (const std::string name : {"//ui//width", "x", "uix"}) {
        Property<int>(name).set(1, &told);
        Property<int>(name, 0, TempScope).reset();
    }
    EXPECT_EQ(told, (std::vector<std::string>{"all://ui//width", "ui:ui/width", "any:ui/width",
                                              "x:x", "all:x", "any:x", "all:uix", "any:uix"}));
}

TEST(Threads, aFirstUseInsideACallbackBesideAnotherDoesNotBlock) {
    _Register &reg = startedRegister();
    std::atomic<int> ready{0};
    Told told;
    Recorder first(told, "first", nullptr, [&](auto &) {
        ++ready;
        while (ready < 2)
            std::this_thread::yield();
        std::this_thread::sleep_for(
            std::chrono::milliseconds(50)); // the other one waits for the lock
        Property<int>("n").value();
    });
    reg.addCallback("k", &first);
    std::thread other([&] {
        while (ready < 1)
            std::this_thread::yield();
        ++ready;
        Property<int>("n").value();
    });
    reg.markAsChanged(&reg, "k");
    other.join();
}

TEST(Handles, openAPropertysBytesAndReplaceThemAtTheEnd) {
    _Register &reg = startedRegister();
    reg._writeInteger(nullptr, "g/p", 258, UserScope);
    Told told;
    const Subscription ofGroup("g", [&](auto &name) { told.push_back(name); });
    filesystem::FileHandle &reader = reg.openProperty("g/p", _Register::ReadMode, UserScope);
    {
        PropertyHandle writer("g/p", _Register::WriteMode, UserScope);
        PropertyHandle fresh("g/q", _Register::WriteMode, UserScope);
        EXPECT_TRUE(reg.propertyExists("g/q", UserScope)) << "opening for writing creates it";
        reg.writeByte(writer.get(), 'B');
        PropertyHandle moved(std::move(writer));
        reg.writeByte(moved.get(), 1);
        fresh = std::move(moved);
        EXPECT_EQ(reg.readPropertyType("g/p", nullptr), IntegerType) << "still open";
    }
    EXPECT_EQ(reg.readPropertyType("g/p", nullptr), BooleanType);
    reg.delProperty("g", UserScope);
    EXPECT_EQ(reg.readByte(&reader), 'I') << "a snapshot from before the change";
    EXPECT_EQ(reg.readInt(&reader), 258);
    reg.closeProperty(reader);
    EXPECT_EQ(told, Told());
    reg.markAsChanged(nullptr, "g/p");
    EXPECT_EQ(told, Told{"g/p"});
    try {
        const PropertyHandle half("p", _Register::WriteMode, UserScope);
        reg.writeByte(half.get(), 'B');
        throw std::runtime_error("before the value is whole");
    } catch (const std::runtime_error &) {
    }
    EXPECT_EQ(reg.readPropertyType("p", nullptr), Type(0));

    reg._writeInteger(nullptr, "p", 1, UserScope);
    filesystem::FileHandle &late = reg.openProperty("p", _Register::WriteMode, UserScope);
    reg.writeByte(&late, 'x');
    reg._writeInteger(nullptr, "p", 2, UserScope);
    reg.delProperty("p", UserScope);
    reg._writeInteger(nullptr, "p", 3, UserScope);
    reg.closeProperty(late);
    EXPECT_EQ(Property<int>("p").value(), 3) << "it is not the property that was opened";
    filesystem::FileHandle &loaded = reg.openProperty("p", _Register::WriteMode, UserScope);
    filesystem::FileHandle &kept = reg.openProperty("other", _Register::WriteMode, TempScope);
    reg.delProperty("oth", TempScope);
    reg.addGroup("oth", TempScope);
    reg.delProperty("oth", TempScope);
    reg.load();
    reg.writeByte(&kept, 'B');
    reg.closeProperty(loaded);
    reg.closeProperty(kept);
    EXPECT_FALSE(reg.propertyExists("p")) << "a load has replaced it";
    EXPECT_EQ(rawBytes(reg, "/temp/other"), "B")
        << "only the start of its name is that of a removed group";
}

} // namespace
