#include "tests/Support.h"
#include "tools/register-editor/MainWindow.h"

#include <qt/RegisterModel.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>
#include <QTimer>
#include <QTreeView>

using namespace utils::properties;
using registerEditor::FileSource;
using registerEditor::MainWindow;
using testing_support::readFile;
using testing_support::TemporaryDirectory;
using testing_support::writeFile;

namespace {

/// An editor of a user file and a global file that a user has changed.
class Editor : public testing::Test {
protected:
    Editor() {
        RegisterFile global(_global);
        global._writeString("ui/theme", "light");
        global._writeInteger("ui/width", 800);
        global.save();
        RegisterFile user(_user);
        user._writeString("ui/theme", "dark");
        user._writeStrings("recent/files", {"a.txt", "b.txt"});
        user._writeBoolean("backup", true);
        user.save();
    }

    void show() {
        _window = std::make_unique<MainWindow>(
            std::vector<FileSource::Path>{{UserScope, _user}, {GlobalScope, _global}}, "--app x/y");
        _window->show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(_window.get()));
    }
    QTreeView &tree() { return *_window->findChild<QTreeView *>(); }
    void select(const char *path, RegisterModel::Column column = RegisterModel::ValueColumn) {
        tree().expandAll();
        const QModelIndexList found =
            tree().model()->match(tree().model()->index(0, 0), RegisterModel::PathRole,
                                  QString(path), 1, Qt::MatchExactly | Qt::MatchRecursive);
        tree().setCurrentIndex(found.isEmpty() ? QModelIndex()
                                               : found.front().siblingAtColumn(column));
    }
    QVariant shown(const char *path) {
        select(path);
        return tree().currentIndex().data();
    }
    void trigger(const char *text) {
        for (QAction *action : _window->findChildren<QAction *>())
            if (action->text().remove('&').startsWith(text))
                return action->trigger();
        FAIL() << text;
    }
    std::string theme() {
        std::string theme = "(nothing)";
        const PropertyValue value = RegisterFile(_user).readAny("ui/theme");
        return std::holds_alternative<std::string>(value) ? std::get<std::string>(value) : theme;
    }
    void screenshot(const char *name) {
        if (const char *folder = std::getenv("REGISTER_SCREENSHOTS"))
            _window->grab().save(QString("%1/%2.png").arg(folder, name));
    }

    TemporaryDirectory _directory;
    const std::string _user = _directory / "user/Brevolant.dat";
    const std::string _global = _directory / "global/Brevolant.dat";
    std::unique_ptr<MainWindow> _window;
};

TEST_F(Editor, editsUndoesAndResets) {
    show();
    EXPECT_EQ(shown("ui/width"), "800");
    select("ui/theme");
    screenshot("editor");
    tree().edit(tree().currentIndex());
    auto *line = qobject_cast<QLineEdit *>(QApplication::focusWidget());
    ASSERT_TRUE(line);
    line->selectAll();
    QTest::keyClicks(line, "blue");
    QTest::keyClick(line, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return theme() == "blue"; })) << "saved at once";
    trigger("Undo");
    EXPECT_EQ(theme(), "dark");
    trigger("Redo");
    EXPECT_EQ(theme(), "blue");
    select("ui", RegisterModel::NameColumn);
    trigger("Reset");
    EXPECT_EQ(theme(), "(nothing)");
    EXPECT_EQ(shown("ui/theme"), "light");
    trigger("Undo");
    EXPECT_EQ(theme(), "blue");
    trigger("Copy the Command");
    EXPECT_EQ(QApplication::clipboard()->text(),
              "registerctl --app x/y set --literal 'ui/theme' '\"blue\"'");

    QTimer::singleShot(0, [] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        auto *name = dialog->findChild<QLineEdit *>();
        name->clear();
        QTest::keyClicks(name, "new/name");
        dialog->accept();
    });
    trigger("New Property");
    EXPECT_TRUE(RegisterFile(_user).propertyExists("new/name"));
}

TEST_F(Editor, searchesAndFollowsTheFile) {
    show();
    auto *search = _window->findChild<QLineEdit *>();
    QTest::keyClicks(search, "b.TXT");
    EXPECT_TRUE(QTest::qWaitFor([&] { return tree().model()->rowCount() == 1; }));
    EXPECT_EQ(shown("recent/files"), "[\"a.txt\", \"b.txt\"]");
    search->clear();
    EXPECT_TRUE(QTest::qWaitFor([&] { return tree().model()->rowCount() == 3; }));
    RegisterFile other(_user);
    other._writeString("ui/theme", "green");
    other.delProperty("backup");
    other.save();
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown("ui/theme") == "green"; }));
    EXPECT_EQ(tree().model()->rowCount(), 2);
    writeFile(_user, "damage");
    EXPECT_TRUE(QTest::qWaitFor([&] {
        for (const QLabel *label : _window->findChildren<QLabel *>())
            if (label->isVisible() && label->text().contains("not a register file"))
                return true;
        return false;
    }));
    EXPECT_EQ(shown("ui/theme"), "green") << "what was read stays";
}

TEST_F(Editor, showsDamageAndSalvages) {
    std::string damaged = readFile(_user);
    damaged.back() ^= 1;
    writeFile(_user, damaged);
    show();
    auto *pages = _window->findChild<QStackedWidget *>();
    EXPECT_EQ(pages->currentIndex(), 1);
    EXPECT_TRUE(_window->findChild<QPlainTextEdit *>()->toPlainText().contains("ui/theme"));
    screenshot("editor-damage");
    EXPECT_EQ(readFile(_user), damaged);
    for (QPushButton *button : _window->findChildren<QPushButton *>())
        if (button->text().remove('&') == "Use What Can Still Be Read")
            button->click();
    EXPECT_EQ(pages->currentIndex(), 0);
    EXPECT_EQ(readFile(_user + ".damaged"), damaged);
    EXPECT_EQ(shown("ui/width"), "800");
}

} // namespace

int main(int count, char **arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (testing::GTEST_FLAG(list_tests)) // needs no display
        return RUN_ALL_TESTS();
    const QApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
