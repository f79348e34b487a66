#include "MainWindow.h"
#include "Preferences.h"

#include <qt/AutoSave.h>
#include <register/Directories.h>

#include <QApplication>
#include <QMessageBox>

using namespace utils::properties;

int main(int count, char **arguments) {
    QApplication application(count, arguments);
    _Register::setSaveMode(MergeIntoFile); // a second window, or registerctl, may write too
    const Directories directories = standardDirectories("acme", "preferences-window");
    try {
        _Register::initialize(directories.global, directories.user);
    } catch (const std::exception &error) {
        QMessageBox::critical(nullptr, "The settings cannot be read", error.what());
        return 1;
    }
    AutoSave autoSave(std::chrono::milliseconds(500), AutoSave::Sync);
    autoSave.setWatchFile(true);
    QObject::connect(&autoSave, &AutoSave::saveFailed, [](const QString &error) {
        QMessageBox::warning(nullptr, "The settings were not saved", error);
    });

    MainWindow window;
    window.show();
    const QStringList options = QApplication::arguments().mid(1);
    if (options.value(0) == "--screenshot") {
        Preferences preferences(&window);
        preferences.show();
        QApplication::processEvents();
        return preferences.grab().save(options.value(1)) ? 0 : 1;
    }
    return QApplication::exec();
}
