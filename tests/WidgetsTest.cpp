#include "tests/Support.h"

#include "qt/AutoSave.h"
#include "register/QtTypes.h"
#include "register/RegisterFile.h"
#include "register/TestRegister.h"
#include "widgets/SettingsBinder.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QKeySequenceEdit>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QWheelEvent>

#include <thread>

using namespace utils::properties;

namespace {

/// A dialog with two settings, whose size an installation has set to 20.
class Dialog : public testing::Test {
protected:
    Dialog() {
        _Register::getInstance()._writeInteger(nullptr, "size", 20, GlobalScope);
        _binder.bind(_size, &_box);
        _binder.bind(_name, &_line);
        _binder.setButtonBox(&_buttons);
    }
    void click(QDialogButtonBox::StandardButton button) { _buttons.button(button)->click(); }
    bool isEnabled(QDialogButtonBox::StandardButton button) {
        return _buttons.button(button)->isEnabled();
    }

    const TestRegister _register;
    const Property<int> _size{"size", 12, Range(6, 72)};
    const Property<std::string> _name{"name", "none"};
    QSpinBox _box;
    QLineEdit _line;
    QDialogButtonBox _buttons{QDialogButtonBox::Ok | QDialogButtonBox::Apply |
                              QDialogButtonBox::Reset | QDialogButtonBox::RestoreDefaults};
    SettingsBinder _binder;
    QSignalSpy _conflicts{&_binder, &SettingsBinder::conflict};
};

TEST_F(Dialog, WritesOnlyWhatIsTouched) {
    EXPECT_EQ(_box.value(), 20);
    EXPECT_EQ(_box.maximum(), 72) << "the limits of the property";
    EXPECT_FALSE(isEnabled(QDialogButtonBox::Apply));
    QTest::keyClicks(&_line, "x");
    EXPECT_TRUE(isEnabled(QDialogButtonBox::Apply));
    EXPECT_FALSE(_name.isSet());
    click(QDialogButtonBox::Apply);
    EXPECT_EQ(_name.value(), "nonex");
    EXPECT_FALSE(_size.isSet()) << "untouched";
    EXPECT_FALSE(_binder.hasChanged());
    _box.setValue(30);
    click(QDialogButtonBox::Reset);
    EXPECT_EQ(_box.value(), 20);
    EXPECT_FALSE(_binder.hasChanged());
    _box.setValue(30);
    _box.setValue(20);
    EXPECT_FALSE(_binder.hasChanged()) << "edited back";
    _binder.setImmediate(true);
    _box.setValue(31);
    EXPECT_EQ(_size.value(), 31);
}

TEST_F(Dialog, RestoresWhatLiesBelow) {
    Property<int>("size").set(1000); // outside the limits
    EXPECT_FALSE(_binder.isDefault());
    _size.set(40);
    _name.set("me");
    QApplication::processEvents();
    EXPECT_EQ(_box.value(), 40);
    click(QDialogButtonBox::RestoreDefaults);
    EXPECT_EQ(_box.value(), 20) << "the installation's";
    EXPECT_EQ(_line.text(), "none");
    EXPECT_EQ(_size.value(), 40) << "before Apply";
    EXPECT_TRUE(_binder.isDefault());
    QTest::keyClicks(&_line, "!");
    _size.set(41);
    QApplication::processEvents();
    EXPECT_EQ(_conflicts.count(), 1) << "Ok will remove another's value";
    EXPECT_EQ(_box.value(), 20);
    click(QDialogButtonBox::Ok);
    EXPECT_FALSE(_size.isSet()) << "removed, not written";
    EXPECT_EQ(_name.value(), "none!");
    EXPECT_FALSE(_binder.isDefault());
}

TEST_F(Dialog, FollowsOthersAndKeepsEdits) {
    QTest::keyClicks(&_line, "x");
    std::thread([&] {
        _size.set(50);
        _name.set("other");
    }).join();
    QApplication::processEvents();
    EXPECT_EQ(_box.value(), 50) << "an untouched widget moves";
    EXPECT_EQ(_line.text(), "nonex") << "an edit stays";
    ASSERT_EQ(_conflicts.count(), 1);
    EXPECT_EQ(_conflicts[0][0], "name");
    click(QDialogButtonBox::Apply);
    EXPECT_EQ(_name.value(), "nonex");
    EXPECT_EQ(_size.value(), 50);
}

TEST_F(Dialog, RefusesAndGoesOn) {
    QSignalSpy refused(&_binder, &SettingsBinder::refused);
    _box.setRange(0, 1000);
    _box.setValue(500);
    QTest::keyClicks(&_line, "x");
    click(QDialogButtonBox::Apply);
    ASSERT_EQ(refused.count(), 1);
    EXPECT_EQ(refused[0][0], "size");
    EXPECT_EQ(_box.value(), 500) << "nothing is lost";
    EXPECT_EQ(_name.value(), "nonex") << "the others are written";
    QSignalSpy accepted(&_binder, &SettingsBinder::accepted);
    click(QDialogButtonBox::Ok);
    EXPECT_EQ(accepted.count(), 0) << "the dialog must stay";
    _box.setValue(50);
    click(QDialogButtonBox::Ok);
    EXPECT_EQ(accepted.count(), 1);
}

TEST_F(Dialog, TheWheelNeedsTheFocus) {
    QWheelEvent turn({1, 1}, {1, 1}, {}, {0, 120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                     false);
    QApplication::sendEvent(&_box, &turn);
    EXPECT_EQ(_box.value(), 20);
}

TEST(SettingsBinder, bindsEachKindOfWidget) {
    const TestRegister reg;
    SettingsBinder binder;
    binder.setImmediate(true);
    QCheckBox check;
    binder.bind(Property<bool>("bool"), &check);
    check.click();
    EXPECT_TRUE(Property<bool>("bool").value());

    QRadioButton one, two;
    QButtonGroup group;
    group.addButton(&one, 1);
    group.addButton(&two, 2);
    binder.bind(Property<int>("radio", 1), &group);
    EXPECT_TRUE(one.isChecked());
    two.click();
    EXPECT_EQ(Property<int>("radio").value(), 2);

    QDoubleSpinBox number;
    binder.bind(Property<double>("number", 1.5, Range(1, 2)), &number);
    number.setValue(5);
    EXPECT_EQ(Property<double>("number").value(), 2);

    auto slider = std::make_unique<QSlider>();
    binder.bind(Property<int>("slider", 5), slider.get());
    slider->setValue(7);
    EXPECT_EQ(Property<int>("slider").value(), 7);
    slider.reset();
    Property<int>("slider").set(8);
    QApplication::processEvents();

    QComboBox combo;
    binder.bind(Property<QString>("combo", "b", OneOf("a", "b")), &combo);
    EXPECT_EQ(combo.currentText(), "b");
    combo.insertItem(0, "first", "a");
    combo.setCurrentIndex(combo.findData("a"));
    EXPECT_EQ(Property<QString>("combo").value(), "a") << "the data, not the index";

    QComboBox plain;
    plain.addItems({"red", "green"});
    plain.setEditable(true);
    binder.bind(Property<QString>("plain", "green"), &plain);
    EXPECT_EQ(plain.currentText(), "green") << "the text of an item without data";
    plain.setCurrentIndex(0);
    EXPECT_EQ(Property<QString>("plain").value(), "red");
    plain.setEditText("blue");
    EXPECT_EQ(Property<QString>("plain").value(), "blue");

    QSpinBox unlimited;
    binder.bind(Property<int>("unlimited", -500), &unlimited);
    EXPECT_EQ(unlimited.value(), -500);

    QDateEdit date;
    binder.bind(Property<QDate>("date", QDate(2026, 1, 1)), &date);
    date.setDate(QDate(2026, 11, 23));
    EXPECT_EQ(Property<QDate>("date").value(), QDate(2026, 11, 23));

    QPlainTextEdit text;
    binder.bind(Property<QString>("text"), &text);
    text.setPlainText("a\nb");
    EXPECT_EQ(Property<QString>("text").value(), "a\nb");

    QListWidget list;
    binder.bind(Property<QStringList>("list", {"a", "b"}), &list);
    delete list.takeItem(0);
    EXPECT_EQ(Property<QStringList>("list").value(), QStringList("b"));
    list.item(0)->setText("c");
    EXPECT_EQ(Property<QStringList>("list").value(), QStringList("c"));

    QListView view;
    binder.bind(Property<QStringList>("list"), &view);
    ASSERT_TRUE(view.model());
    view.model()->insertRow(1);
    view.model()->setData(view.model()->index(1, 0), "d");
    EXPECT_EQ(Property<QStringList>("list").value(), QStringList({"c", "d"}));
    EXPECT_TRUE(QTest::qWaitFor([&] { return list.count() == 2; }));
    EXPECT_EQ(list.item(1)->text(), "d");
}

// A slot of AutoSave is connected by the names of the signal and of itself.
TEST(AutoSave, savesWhenTheSessionEnds) {
    const TestRegister reg;
    const AutoSave autoSave(std::chrono::hours(1));
    Property<int>("one").set(1);
    char unused = 0; // a session manager has no public constructor
    emit qApp->commitDataRequest(reinterpret_cast<QSessionManager &>(unused));
    EXPECT_TRUE(
        RegisterFile(_Register::_UserRegisterPath + "/Brevolant.dat").propertyExists("one"));
}

} // namespace
