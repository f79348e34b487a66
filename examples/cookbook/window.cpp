// The recipes of docs/cookbook.md for windows.
#include <register/Directories.h>
#include <register/Property.h>
#include <register/QtTypes.h>

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

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
const Property<QString> title("window/title", "Untitled");

/// A subscription runs on the thread that writes. The label changes in its own.
class TitleLabel : public QLabel {
public:
    TitleLabel() { show(title.value()); }

private:
    void show(const QString &text) { setText(text); }

    Subscription _changes{"window/title", [this](const std::string &) {
                              QMetaObject::invokeMethod(
                                  this, [this] { show(title.value()); }, Qt::QueuedConnection);
                          }};
};
//! [react]

int main(int count, char **arguments) {
    const QApplication application(count, arguments);
    const Directories directories = standardDirectories("acme", "window");
    _Register::initialize(directories.global, directories.user);
    Window window;
    window.setCentralWidget(new TitleLabel);
    window.show();
    title.set("Letter");
    QApplication::processEvents();
    return static_cast<QLabel *>(window.centralWidget())->text() == "Letter" ? 0 : 1;
}
