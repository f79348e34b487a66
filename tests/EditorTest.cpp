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
#include <QSpinBox>
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
            std::vector<FileSource::Path>{{UserScope, _user}, {GlobalScope, _global}},
            QStringList{"--app", "x/y"});
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
    /// Edits the selected value by the keyboard, up to the Return.
    template <class Editor>
    Editor *type(const char *keys) {
        tree().setFocus();
        QTest::keyClick(&tree(), Qt::Key_F2);
        auto *editor = qobject_cast<Editor *>(QApplication::focusWidget());
        EXPECT_TRUE(editor);
        if (editor) {
            QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
            QTest::keyClicks(editor, keys);
        }
        return editor;
    }
    static void accept(QWidget *editor) {
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents(); // the delegate posts the end
    }
    bool showsText(const char *text) {
        for (const QLabel *label : _window->findChildren<QLabel *>())
            if (label->isVisible() && label->text().contains(text))
                return true;
        return false;
    }
    void createProperty(const char *name) {
        QTimer::singleShot(0, [name] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            auto *line = dialog->findChild<QLineEdit *>();
            line->clear();
            QTest::keyClicks(line, name);
            dialog->accept();
        });
        trigger("New Property");
    }
    QVariant shown(const char *path) {
        select(path);
        return tree().currentIndex().data();
    }
    void trigger(const char *text) {
        for (QAction *action : _window->findChildren<QAction *>())
            if (action->text().remove('&').startsWith(text)) {
                action->trigger();
                return QCoreApplication::processEvents(); // the tree follows
            }
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
    select("ui/theme", RegisterModel::NameColumn);
    screenshot("editor");
    accept(type<QLineEdit>("blue"));
    EXPECT_EQ(theme(), "blue") << "saved at once";
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
              "registerctl --app x/y set --literal ui/theme '\"blue\"'");

    createProperty("new/name");
    EXPECT_TRUE(RegisterFile(_user).propertyExists("new/name"));
    trigger("Undo");
    EXPECT_FALSE(RegisterFile(_user).groupExists("new"));
    createProperty("ui/theme");
    EXPECT_EQ(theme(), "blue");
    createProperty("backup/below");
    EXPECT_TRUE(showsText("cannot be")) << "a property is no group";
}

TEST_F(Editor, keepsWhatIsTypedAndWhatIsNot) {
    const std::string longText(100000, 'x');
    RegisterFile file(_user);
    file._writeString("long", longText);
    file.save();
    show();
    select("long");
    auto *whole = type<QLineEdit>("");
    QTest::keyClick(whole, Qt::Key_End);
    QTest::keyClicks(whole, "y");
    accept(whole);
    EXPECT_EQ(std::get<std::string>(RegisterFile(_user).readAny("long")).size(),
              longText.size() + 1);

    select("recent/files");
    auto *list = type<QLineEdit>("[\"c\"");
    accept(list);
    EXPECT_TRUE(list->isVisible() && showsText("lacks")) << "no value, and not lost";
    QTest::keyClicks(list, "]");
    accept(list);
    EXPECT_EQ(std::get<std::vector<std::string>>(RegisterFile(_user).readAny("recent/files")),
              std::vector<std::string>{"c"});
    file._writeStrings("recent/files", {"d"});
    file.save();
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown("recent/files") == "[\"d\"]"; }));
    trigger("Undo");
    EXPECT_EQ(shown("recent/files"), "[\"d\"]") << "not what was undone";

    select("ui/theme");
    auto *line = type<QLineEdit>("mine");
    file._writeString("ui/theme", "theirs");
    file.save();
    EXPECT_TRUE(QTest::qWaitFor([&] { return showsText("theirs"); }));
    accept(line);
    EXPECT_EQ(theme(), "mine");
    select("ui/width");
    auto *box = type<QSpinBox>("5");
    file._writeString("ui/width", "broad");
    file.save();
    EXPECT_TRUE(QTest::qWaitFor([&] { return showsText("broad"); }));
    accept(box);
    EXPECT_EQ(RegisterFile(_user).readAny("ui/width"), PropertyValue("broad"));
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
    EXPECT_TRUE(QTest::qWaitFor([&] { return showsText("not a register file"); }));
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
