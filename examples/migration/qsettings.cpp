//! [before]
#include <QSettings>

int loadWidth() {
    const QSettings settings("acme", "editor");
    return settings.value("window/width", 800).toInt();
}

void storeWidth(int width) {
    QSettings settings("acme", "editor");
    settings.setValue("window/width", width);
}
//! [before]
