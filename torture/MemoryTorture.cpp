// Makes each allocation of a call fail, including those of Qt: first alone, then together with all
// later ones. The call must throw `std::bad_alloc`. The tree, the marks, the lock and the memory
// must be unchanged.
#include "register/RegisterFile.h"
#include "tests/Operations.h"

#include <new>

#include <cerrno>

extern "C" {
void *__libc_malloc(std::size_t);
void *__libc_calloc(std::size_t, std::size_t);
void *__libc_realloc(void *, std::size_t);
void __libc_free(void *);
}

namespace {

/// The allocations of this thread while it is armed. The functions below replace those of the C
/// library in all libraries of the process.
struct Allocations {
    long untilFailure = 0; ///< counts down to the allocation that fails
    bool fromThenOn = false;
    long failed = 0;
    long live = 0; ///< allocated minus freed since arming
};
thread_local Allocations allocations;
thread_local bool armed = false;

bool fails() {
    if (!armed || (allocations.untilFailure > 0 && --allocations.untilFailure > 0) ||
        (allocations.failed > 0 && !allocations.fromThenOn))
        return false;
    ++allocations.failed;
    errno = ENOMEM;
    return true;
}

void *counted(void *memory) {
    if (armed && memory)
        ++allocations.live;
    return memory;
}

} // namespace

#pragma GCC visibility push(default) // otherwise clang hides them from the other libraries
extern "C" {
void *malloc(std::size_t size) {
    return fails() ? nullptr : counted(__libc_malloc(size));
}
void *calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : counted(__libc_calloc(count, size));
}
void *realloc(void *memory, std::size_t size) {
    if (fails())
        return nullptr;
    void *moved = __libc_realloc(memory, size);
    return memory ? moved : counted(moved);
}
void free(void *memory) {
    if (armed && memory)
        --allocations.live;
    __libc_free(memory);
}
}
#pragma GCC visibility pop

using namespace testing_support;
using namespace utils::properties;

namespace {

/// Runs the call and makes its `number`-th allocation fail. Returns true when the call throws
/// `std::bad_alloc`.
bool runsOutOfMemory(const std::function<void()> &call, long number, bool fromThenOn) {
    allocations = {number, fromThenOn, 0, 0};
    bool thrown = false;
    armed = true;
    try {
        call();
    } catch (const std::bad_alloc &) {
        thrown = true;
    }
    armed = false; // only after the exception, which was counted, is freed
    return thrown;
}

std::string wholeTree(const _Register &reg) {
    filesystem::RAMFileSystem memory;
    filesystem::FileHandle *handle = nullptr;
    memory.open("/tree", &handle, _Register::WriteMode);
    reg.serialize(*handle);
    std::string bytes(handle->bytes());
    memory.close(handle);
    return bytes;
}

class Memory : public testing::Test {
protected:
    ~Memory() override { reg.removeCallback(&counter); }

    /// Makes the n-th allocation of the call fail, for every n, until the call succeeds.
    void failEach(const char *what, const std::function<void()> &call) {
        int kept = 0;
        for (const bool fromThenOn : {false, true})
            for (long number = 1; number < 10000; ++number) {
                const std::string before = wholeTree(reg);
                counter.calls = 0;
                const bool thrown = runsOutOfMemory(call, number, fromThenOn);
                if (allocations.failed == 0) {
                    EXPECT_FALSE(thrown) << what;
                    tried += number - 1;
                    break;
                }
                // A call may keep space that it has reserved in the tree. The next call uses it.
                kept = allocations.live == 0 ? 0 : kept + 1;
                ASSERT_LT(kept, 10) << what << ": leaks at " << number;
                number -= kept > 0;
                EXPECT_TRUE(thrown) << what << ": no exception at " << number;
                EXPECT_TRUE(wholeTree(reg) == before) << what << ": the tree changed at " << number;
                ASSERT_TRUE(lockIsFree()) << what << " at " << number;
                reg.notify(nullptr);
                EXPECT_EQ(counter.calls, 0) << what << ": a mark remains at " << number;
            }
    }

    /// Allocates nothing, because a write keeps its value when a callback throws.
    struct Counter : _Register::Callback {
        void propertyChanged(const std::string &) override { ++calls; }
        void *owner() override { return this; }
        int calls = 0;
    };

    _Register &reg = startedRegister();
    Counter counter;
    long tried = 0;
};

TEST_F(Memory, everyOperationThatFailsHasChangedNothing) {
    const Operations operations;
    reg.addCallback("the", &counter);
    const auto failOn = [this](const Operation &operation, const std::string &name) {
        failEach(operation.label.c_str(), [&] { operation.run(reg, name, UserScope); });
    };
    for (std::size_t type = 0; type < operations.writes.size(); ++type)
        for (const std::string of : {"the/new/property/", "others/that/nobody/listens/to/"}) {
            const std::string name = of + operations.writes[type].label;
            failOn(operations.writes[type], name);
            failOn(operations.writes[type], name); // the property exists now
            failOn(operations.reads[type], name);
            failOn(operations.finds[type], name);
        }
    for (const auto *part : {&operations.ofScope, &operations.ofAll})
        for (const Operation &operation : *part) {
            const std::string name = "the/property/of/the/operation/" + operation.label;
            if (operation.label != "addGroup" && operation.label != "addProperty")
                reg.addProperty(name, UserScope);
            if (operation.label != "save" && operation.label != "sync") // the next tests check them
                failOn(operation, name);
        }
    failEach("addCallback", [&] { reg.addCallback("a key that is long enough", &counter); });
    failEach("Subscription",
             [&] { const Subscription heard("another long key, of a group", [](auto &) {}); });
    failEach("PropertyHandle", [&] { PropertyHandle("the", _Register::WriteMode, TempScope); });
    const Property<QStringList> list("the/list/of/texts");
    const QStringList texts = {QString(50, 'q'), "short"};
    failEach("Property<QStringList>", [&] { list.set(texts); });
    EXPECT_EQ(list.value(), texts);
    EXPECT_GT(tried, 200);
}

TEST_F(Memory, aSaveKeepsTheOldFileAndALoadTheTree) {
    const std::string file = userDirectory() + "/Brevolant.dat";
    for (int i = 0; i < 10; ++i)
        reg._writeString(nullptr, "old/" + std::to_string(i), std::string(50, 'o'), UserScope);
    reg.save();
    const std::string old = readFile(file);
    failEach("load", [&] { reg.load(); });
    reg._writeString(nullptr, "new", std::string(50, 'n'), UserScope);
    for (const bool fromThenOn : {false, true})
        for (long number = 1;; ++number) {
            writeFile(file, old);
            EXPECT_FALSE(runsOutOfMemory([&] { reg.save(); }, number, fromThenOn)) << number;
            if (allocations.failed == 0)
                break;
            const bool isOld = readFile(file) == old;
            EXPECT_EQ(isOld, !reg.saveError().empty()) << number << reg.saveError();
            EXPECT_TRUE(lockIsFree());
            ASSERT_LT(number, 1000);
        }
    EXPECT_EQ(reg.saveError(), "");
    EXPECT_NE(readFile(file), old);
    EXPECT_EQ(listDirectory(userDirectory()).size(), 2U) << "the file and the previous generation";
}

TEST_F(Memory, theNextSyncTakesWhatOneThatFailedDidNot) {
    const std::string file = userDirectory() + "/Brevolant.dat";
    reg.addCallback("the", &counter);
    for (const bool fromThenOn : {false, true}) {
        long failed = 1;
        for (int number = 1; failed > 0; ++number) {
            RegisterFile other(file);
            other._writeInteger("the/theirs", number);
            other._writeInteger("theirs/" + std::to_string(number), number);
            other.save();
            reg._writeInteger(nullptr, "ours", number, UserScope);
            counter.calls = 0;
            runsOutOfMemory([&] { reg.sync(nullptr); }, number, fromThenOn);
            failed = allocations.failed;
            EXPECT_TRUE(lockIsFree());
            EXPECT_TRUE(reg.sync(nullptr).conflicts.empty());
            EXPECT_EQ(reg.saveError(), "") << number;
            EXPECT_EQ(Property<int>("the/theirs").value(), number);
            EXPECT_GE(counter.calls, 1) << "what a failed one took is told";
            EXPECT_EQ(Property<int>("theirs/" + std::to_string(number)).value(), number);
            ASSERT_EQ(RegisterFile(file).readAny("ours"), PropertyValue(number));
            tried += failed > 0;
        }
    }
    EXPECT_GT(tried, 100);
}

} // namespace
