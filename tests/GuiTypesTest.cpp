// The types of Qt Gui that properties can have.
#include "register/GuiTypes.h"
#include "tests/StorageChecks.h"

using namespace testing_support;
using namespace utils::properties;

namespace {

TEST(GuiTypes, colors) {
    expectForms<QColor>({{QColor(1, 2, 0xAB, 0x80), "#800102AB"}, {Qt::transparent, "#00000000"}});
    EXPECT_EQ(Storage<QColor>::load("#800102ab"), QColor(1, 2, 0xAB, 0x80));
    expectMissing<QColor>({"", "red", "#102", "#0102AB", "#800102A", "#800102AG", "#800102AB ",
                           "#0011222233334444", "#123456789"});
    EXPECT_EQ(refusalOf(QColor()), "it is not a valid color.");
}

TEST(GuiTypes, fonts) {
    QFont font("Sans", 12, QFont::Bold, true);
    font.setStyleName("Condensed");
    expectForms<QFont>({{font, font.toString().toStdString()}});
    QFont small("Sans");
    small.setPixelSize(9);
    expectForms<QFont>({{small, small.toString().toStdString()}});
    EXPECT_TRUE(Storage<QFont>::load("Sans,12,-1,5,75,1,0,0,0,0,Condensed")) << "of Qt 5";
    expectMissing<QFont>({"", "Sans", "Sans,12", "Sans,twelve,-1,5,400,0,0,0,0,0",
                          ",12,-1,5,400,0,0,0,0,0", "Sans,12,-1,5,400,0,0,0,0",
                          font.toString().toStdString() + ",more,and,more"});
    font.setFamily("Sans, Bold");
    EXPECT_EQ(refusalOf(font), "its family has no name or a comma in its name.");
}

TEST(GuiTypes, keySequences) {
    expectForms<QKeySequence>(
        {{QKeySequence("Ctrl+K, Shift+F12"), "Ctrl+K, Shift+F12"}, {QKeySequence(), ""}});
    expectMissing<QKeySequence>({"Ctrl+Nowhere", "Ctrl+S ", "ctrl+S", "A, B, C, D, E"});
}

} // namespace
