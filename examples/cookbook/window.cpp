// The recipes of docs/cookbook.md for windows.
#include <qt/AutoSave.h>
#include <qt/LiveProperty.h>
#include <qt/RegisterModel.h>
#include <register/Directories.h>
#include <register/QtTypes.h>

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QTreeView>

using namespace utils::properties;

//! [geometry]
const Property<QByteArray> savedGeometry("window/geometry");

class Window : public QMainWindow {
public:
    Window() { restoreGeometry(savedGeometry.value()); }

protected:
    void closeEvent(QCloseEvent *) override { savedGeometry.set(saveGeometry()); }
};
//! [geometry]

//! [react]
/// Follows the setting, whichever thread or process changes it.
class TitleLabel : public QLabel {
public:
    TitleLabel() {
        setText(_title.value());
        _title.onChange(this, [this](const QString &title) { setText(title); });
    }

private:
    LiveProperty<QString> _title{Property<QString>("window/title", "Untitled")};
};
//! [react]

//! [autosave]
/// Saves two seconds after the last change, at the exit and when the session ends. Takes what other
/// processes have changed as soon as they have saved it.
void saveAutomatically(QApplication &application) {
    auto *autoSave = new AutoSave(std::chrono::seconds(2), AutoSave::Sync, &application);
    autoSave->setWatchFile(true);
    QObject::connect(autoSave, &AutoSave::saveFailed, [](const QString &error) {
        QMessageBox::warning(nullptr, "Settings", error);
    });
}
//! [autosave]

//! [model]
void showAllSettings(QTreeView &view) {
    view.setModel(new RegisterModel(&view)); // follows all changes, and writes what is edited
}
//! [model]

int main(int count, char **arguments) {
    QApplication application(count, arguments);
    const Directories directories = standardDirectories("acme", "window");
    _Register::initialize(directories.global, directories.user);
    saveAutomatically(application);
    Window window;
    window.setCentralWidget(new TitleLabel);
    window.show();
    Property<QString>("window/title").set("Letter");
    QTreeView view;
    showAllSettings(view);
    QApplication::processEvents();
    const bool isShown = static_cast<QLabel *>(window.centralWidget())->text() == "Letter";
    return isShown && view.model()->rowCount() > 0 ? 0 : 1;
}
