#include "qt/AutoSave.h"
#include "qt/LiveProperty.h"
#include "qt/RegisterModel.h"
#include "register/RegisterFile.h"
#include "register/TestRegister.h"
#include "tests/Support.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSignalSpy>

#include <atomic>
#include <map>
#include <random>
#include <thread>

using namespace std::string_literals;
using namespace utils::properties;

namespace {

/// Lets the event loop run until a condition holds, for at most five seconds.
template <class Condition>
bool eventually(Condition condition) {
    QElapsedTimer time;
    for (time.start(); !condition(); QCoreApplication::processEvents(QEventLoop::AllEvents, 10))
        if (time.elapsed() > 5000)
            return false;
    return true;
}

/// All properties that a model shows, with their values as text, and all groups.
std::map<std::string, std::string> contentOf(const RegisterModel &model,
                                             const QModelIndex &at = {}) {
    std::map<std::string, std::string> content;
    for (int row = 0; row < model.rowCount(at); ++row) {
        const QModelIndex member = model.index(row, RegisterModel::NameColumn, at);
        const QModelIndex value = model.index(row, RegisterModel::ValueColumn, at);
        const bool isGroup = member.data(RegisterModel::IsGroupRole).toBool();
        content[member.data(RegisterModel::PathRole).toString().toStdString() +
                (isGroup ? "/" : "")] = value.data().toString().toStdString();
        content.merge(contentOf(model, member));
    }
    return content;
}

std::map<std::string, std::string> registerContent() {
    return contentOf(RegisterModel());
}

/// Writes, resets and removes groups at random until it is told to stop.
class RandomWriter {
public:
    explicit RandomWriter(unsigned seed) : _thread([this, seed] { run(seed); }) {}
    ~RandomWriter() {
        _stops = true;
        _thread.join();
    }

private:
    void run(unsigned seed) {
        std::mt19937 random(seed);
        const std::string names[] = {"a", "b", "a/x", "a/y", "a/y/z", "b/c/d", "e/f", "e/g/h"};
        _Register &reg = _Register::getInstance();
        while (!_stops) {
            const std::string &name = names[random() % std::size(names)];
            const RegisterScope scope = random() % 4 == 0 ? TempScope : UserScope;
            try {
                if (random() % 3 != 0)
                    reg._writeInteger(nullptr, name, static_cast<int>(random() % 5), scope);
                else
                    reg.removeGroup(nullptr, name, scope);
            } catch (const utils::Exception &) { // a group, or below a property
            }
        }
    }

    std::atomic<bool> _stops = false;
    std::thread _thread;
};

TEST(LiveProperty, followsEachWriterInItsOwnThread) {
    const TestRegister reg;
    LiveProperty<int> width(Property<int>("ui/width", 800, Range(100, 5000)));
    int heard = 0, last = 0;
    QObject context;
    width.onChange(&context, [&](int value) {
        ++heard;
        last = value;
        EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
    });
    std::thread([&] {
        for (int value = 100; value < 1100; ++value)
            width.property().set(value);
    }).join();
    EXPECT_EQ(width.value(), 800) << "before its event loop turns";
    EXPECT_TRUE(eventually([&] { return last == 1099; }));
    EXPECT_EQ(heard, 1) << "a thousand writes are one event";
    width.property().set(1099);
    QCoreApplication::processEvents();
    EXPECT_EQ(heard, 1) << "an equal value";
    width.set(200);
    EXPECT_EQ(heard, 2) << "at once";
    QCoreApplication::processEvents();
    EXPECT_EQ(heard, 2) << "and not again";
    EXPECT_THROW(width.set(1), utils::Exception);
    EXPECT_EQ(width.value(), 200);
    width.reset();
    EXPECT_EQ(last, 800);
#if REGISTER_HAS_BINDABLE
    QProperty<int> source(300);
    width.bindable().setBinding([&] { return source.value(); });
    EXPECT_EQ(width.property().value(), 300);
    source = 400;
    EXPECT_EQ(width.property().value(), 400);
    EXPECT_EQ(last, 400);
    source = 1; // outside the limits
    QCoreApplication::processEvents();
    EXPECT_EQ(width.value(), 400);
    EXPECT_EQ(width.property().value(), 400);
#endif
}

TEST(LiveProperty, isDestroyedUnderFire) {
    const TestRegister reg;
    const RandomWriter one(1), two(2);
    for (int round = 0; round < 2000; ++round) {
        LiveProperty<int> a{Property<int>("a")}, z{Property<int>("a/y/z")};
        if (round % 3 == 0)
            QCoreApplication::processEvents();
    }
}

TEST(RegisterModel, showsTheScopesAndWritesTheUsers) {
    const TestRegister reg;
    const Property<int> width("ui/width", 1);
    const Property<std::string> title("ui/title", "", TempScope);
    width.set(5);
    title.set("t");
    _Register::getInstance()._writeInteger(nullptr, "ui/width", 3, GlobalScope);
    RegisterModel model;
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    const QModelIndex value = model.indexOf("ui/width", RegisterModel::ValueColumn);
    EXPECT_EQ(value.data(), 5);
    EXPECT_EQ(value.data(RegisterModel::GlobalValueRole), 3);
    EXPECT_TRUE(value.data(RegisterModel::ShadowedRole).toBool());
    QSignalSpy failed(&model, &RegisterModel::writeFailed);
    EXPECT_FALSE(model.setData(value, "wide"));
    EXPECT_EQ(failed.count(), 1);
    EXPECT_TRUE(model.setData(value, "7"));
    EXPECT_EQ(width.value(), 7) << "and is still an integer";
    EXPECT_TRUE(model.write("ui/width", {}));
    EXPECT_EQ(value.data(), 3) << "the global value shows through";
    EXPECT_FALSE(value.data(RegisterModel::ModifiedRole).toBool());
    EXPECT_TRUE(model.write("new/list", std::vector<int>{1, 2}));
    EXPECT_FALSE(model.write("new/list/x", 1));
    EXPECT_EQ(failed.count(), 2);
    EXPECT_EQ(model.indexOf("new/list", RegisterModel::ValueColumn).data(), "[1, 2]");
}

TEST(RegisterModel, agreesWithTheRegisterUnderFire) {
    const TestRegister reg;
    RegisterModel model;
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    for (unsigned round = 0; round < 20; ++round) {
        {
            const RandomWriter one(round), two(round + 100);
            QElapsedTimer time;
            for (time.start(); time.elapsed() < 50;)
                QCoreApplication::processEvents();
            RegisterModel brief;
            QCoreApplication::processEvents();
        }
        ASSERT_TRUE(eventually([&] { return contentOf(model) == registerContent(); }));
    }
    const QPersistentModelIndex kept = [&] {
        _Register::getInstance().removeGroup(nullptr, "a", UserScope);
        Property<int>("a/y/z").set(1);
        eventually([&] { return model.indexOf("a/y/z").isValid(); });
        return QPersistentModelIndex(model.indexOf("a/y/z"));
    }();
    Property<int>("a/aa").set(1);
    Property<int>("a/y/a").set(1);
    eventually([&] { return model.indexOf("a/y/a").isValid(); });
    EXPECT_EQ(kept.data(RegisterModel::PathRole), "a/y/z") << "rows move, selections stay";
}

TEST(RegisterModel, aBurstDoesNotBlockTheEventLoop) {
    const TestRegister reg;
    RegisterModel model;
    for (int i = 0; i < 20000; ++i)
        Property<int>("g" + std::to_string(i % 50) + "/p" + std::to_string(i)).set(i);
    int turns = 0;
    QTimer ticks;
    QObject::connect(&ticks, &QTimer::timeout, [&] { ++turns; });
    ticks.start(0);
    EXPECT_TRUE(
        eventually([&] { return model.rowCount() == 52 && contentOf(model).size() == 20052; }));
    EXPECT_GT(turns, 1) << "the burst was taken in one turn";
}

TEST(AutoSave, savesAfterChangesAndTellsFailures) {
    const TestRegister reg;
    const std::string file = _Register::_UserRegisterPath + "/Brevolant.dat";
    AutoSave autoSave(std::chrono::milliseconds(20));
    QSignalSpy failed(&autoSave, &AutoSave::saveFailed);
    const auto saved = [&](const std::string &name) {
        return RegisterFile(file).propertyExists(name);
    };
    Property<int>("one").set(1);
    EXPECT_FALSE(saved("one"));
    EXPECT_TRUE(eventually([&] { return saved("one"); }));
    Property<int>("two").set(1);
    emit QCoreApplication::instance()->aboutToQuit({});
    EXPECT_TRUE(saved("two")) << "before the delay";

    autoSave.setWatchFile(true);
    LiveProperty<int> three{Property<int>("three")};
    RegisterFile other(file);
    other._writeInteger("three", 3);
    other.save();
    EXPECT_TRUE(eventually([&] { return three.value() == 3; })) << "another process";
    RegisterFile global(reg.globalDirectory() + "/Brevolant.dat");
    global._writeInteger("four", 4);
    global.save();
    LiveProperty<int> four{Property<int>("four")};
    EXPECT_TRUE(eventually([&] { return four.value() == 4; })) << "in a new directory";

    testing_support::writeFile(file, "no register file");
    three.set(4);
    EXPECT_TRUE(eventually([&] { return failed.count() > 0; }));
}

} // namespace

int main(int count, char **arguments) {
    const QCoreApplication application(count, arguments);
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
