// Which callbacks are notified, in which order, and what a callback may do.
#include "register/Callbacks.h"
#include "tests/Support.h"

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>

using namespace testing_support;
using namespace utils::properties;

namespace {

using Told = std::vector<std::string>;

TEST(Notification, everyWriteIsToldToAllButItsSender) {
    _Register &reg = startedRegister();
    Told told;
    int alice = 0, bob = 0;
    Recorder first(told, "alice", &alice), second(told, "bob", &bob), nobody(told, "nobody");
    for (Recorder *recorder : {&second, &first, &nobody, &second})
        reg.addCallback("g", recorder);
    reg.addCallback("g", nullptr);
    reg._writeInteger(&alice, "g/p", 1, UserScope);
    reg._writeInteger(&bob, "g/p", 1, GlobalScope);
    reg._writeString(nullptr, "g/p", "", TempScope);
    EXPECT_EQ(told,
              (Told{"bob:g/p", "nobody:g/p", "alice:g/p", "nobody:g/p", "bob:g/p", "alice:g/p"}));
    told.clear();
    reg.addProperty("g/q", UserScope);
    reg.delProperty("g/p", UserScope);
    reg.save();
    EXPECT_EQ(told, Told()) << "these operations do not notify";
    reg.removeCallback(&second);
    reg.removeCallback(&second);
    reg._writeNumber(&nobody, "g/p", 1, UserScope);
    reg.resetProperty(&alice, "g/p", UserScope);
    reg.resetProperty(&alice, "g/p", UserScope); // the property no longer exists
    EXPECT_EQ(told, (Told{"alice:g/p", "nobody:g/p", "nobody:g/p"}));
}

TEST(Notification, whatACallbackThrowsReachesTheWriterAndIsToldAgain) {
    _Register &reg = startedRegister();
    Told told;
    bool armed = true;
    Recorder thrower(told, "thrower", nullptr, [&](auto &) {
        if (armed)
            throw std::runtime_error("from a callback");
    });
    Recorder later(told, "later"), other(told, "other");
    reg.addCallback("a/x", &thrower);
    reg.addCallback("a/x", &later);
    reg.addCallback("b", &other);
    EXPECT_EQ(thrownBy([&] { reg._writeInteger(&told, "a/x", 5, UserScope); }),
              "std: from a callback");
    EXPECT_EQ(told, Told{"thrower:a/x"});
    EXPECT_TRUE(lockIsFree());
    int value = 0;
    reg._readInteger("a/x", value);
    EXPECT_EQ(value, 5) << "the value is stored although the callback throws";
    EXPECT_EQ(thrownBy([&] { reg._writeInteger(&told, "b", 1, UserScope); }),
              "std: from a callback")
        << "the name is still marked";
    armed = false;
    told.clear();
    reg._writeInteger(&told, "c", 1, UserScope);
    EXPECT_EQ(told, (Told{"thrower:a/x", "later:a/x", "other:b"}))
        << "although no callback is registered for c";
    Recorder writer(told, "writer", nullptr, [&](auto &) {
        armed = true;
        reg._writeInteger(&told, "a/x", 6, UserScope);
    });
    reg.addCallback("w", &writer);
    EXPECT_EQ(thrownBy([&] { reg.markAsChanged(&told, "w"); }), "std: from a callback");
    reg.removeCallback(&writer);
    Recorder again(told, "again");
    reg.addCallback("w", &again);
    armed = false;
    told.clear();
    reg.notify(&told);
    EXPECT_EQ(told, (Told{"thrower:a/x", "later:a/x", "again:w"}))
        << "the outer and the inner name are still marked";
    told.clear();
    reg.notify(&told);
    EXPECT_EQ(told, Told());
}

TEST(Notification, aCallbackThatItsOwnerRemovesIsNotCalled) {
    _Register &reg = startedRegister();
    struct Leaving : _Register::Callback {
        void propertyChanged(const std::string &) override { ADD_FAILURE(); }
        void *owner() override {
            _Register::getInstance().removeCallback(this);
            return this;
        }
    } leaving;
    reg.addCallback("k", &leaving);
    reg.markAsChanged(nullptr, "k");
}

TEST(Notification, callbacksMayComeAndGoDuringAWalk) {
    _Register &reg = startedRegister();
    Told told;
    Recorder removed(told, "removed"), sameKey(told, "sameKey"), nextKey(told, "nextKey");
    Recorder last(told, "last");
    std::unique_ptr<Recorder> busy;
    busy = std::make_unique<Recorder>(told, "busy", nullptr, [&](auto &) {
        reg.removeCallback(&removed);
        reg.addCallback("g/p", &sameKey);
        reg.addCallback("g", &nextKey);
        reg.removeCallback(&last);
        reg.addCallback("g", &last);
        reg.removeCallback(busy.get());
    });
    reg.addCallback("g/p", busy.get());
    reg.addCallback("g/p", &removed);
    reg.addCallback("g", &removed);
    reg.addCallback("g", &last);
    reg.markAsChanged(&told, "g/p");
    EXPECT_EQ(told, (Told{"busy:g/p", "nextKey:g/p", "last:g/p"}));
    busy.reset();
    told.clear();
    reg.markAsChanged(&told, "g/p");
    EXPECT_EQ(told, (Told{"sameKey:g/p", "nextKey:g/p", "last:g/p"}));
}

TEST(Notification, aWalkInsideAnotherLeavesTheOuterOneItsPlace) {
    _Register &reg = startedRegister();
    Told told;
    Recorder strangers[] = {{told, "z1"}, {told, "z2"}, {told, "z3"}};
    Recorder removed(told, "removed"), inner(told, "inner"), last(told, "last");
    Recorder busy(told, "busy", nullptr, [&](auto &) {
        reg.removeCallback(&busy);
        reg.removeCallback(&removed);
        reg._writeInteger(&told, "other", 1, TempScope); // notifies at once
        for (Recorder &stranger : strangers) // they would get memory that is freed too early
            reg.addCallback("z", &stranger);
    });
    for (Recorder *recorder : {&busy, &removed, &last})
        reg.addCallback("k", recorder);
    reg.addCallback("other", &inner);
    reg.markAsChanged(&told, "k");
    EXPECT_EQ(told, (Told{"busy:k", "inner:other", "last:k"}));
}

TEST(Notification, callbacksAreFoundUnderAnyKeys) {
    Told told;
    std::vector<std::unique_ptr<Recorder>> recorders;
    for (int i = 0; i < 500; ++i)
        recorders.push_back(std::make_unique<Recorder>(told, std::to_string(i)));
    std::mt19937 random(1);
    const std::string parts[] = {"/", "/", "a", "b", std::string(100, 'c')};
    const auto anyKey = [&] {
        std::string key;
        for (auto count = random() % 9; count > 0; --count)
            key += parts[random() % 5];
        return key;
    };
    Callbacks callbacks;
    std::vector<std::pair<std::string, std::size_t>> model; // in the order of registration
    for (int step = 0; step < 4000; ++step) {
        const std::size_t who = random() % recorders.size();
        const std::string key = anyKey();
        const std::string name = model.empty() ? key : model[random() % model.size()].first + key;
        if (random() % 10 < (step / 1000 % 2 == 0 ? 1 : 8)) { // mostly adds, then mostly removes
            callbacks.remove(recorders[who].get());
            const auto isGone = [who](auto &entry) { return entry.second == who; };
            model.erase(std::remove_if(model.begin(), model.end(), isGone), model.end());
        } else {
            callbacks.add(key, recorders[who].get());
            if (std::find(model.begin(), model.end(), std::pair(key, who)) == model.end())
                model.emplace_back(key, who);
        }
        // The longest key first; the empty key stands for all names.
        std::map<std::size_t, Told, std::greater<>> expected;
        for (const auto &[known, listener] : model)
            if (known.empty() || name == known || (known == "/" && name[0] == '/') ||
                name.substr(0, known.size() + 1) == known + "/")
                expected[known.size()].push_back(std::to_string(listener) + ":" + name);
        told.clear();
        EXPECT_EQ(callbacks.hears(name), !expected.empty()) << name;
        callbacks.notify(&told, name);
        Told inOrder;
        for (const auto &[length, ofKey] : expected)
            inOrder.insert(inOrder.end(), ofKey.begin(), ofKey.end());
        ASSERT_EQ(told, inOrder);
    }
}

} // namespace
