// A program that takes over its old settings itself.
#include <register/Directories.h>
#include <register/Property.h>

#include <QSettings>

#include <iostream>

using namespace utils::properties;

//! [once]
const Property<int> width("window/width", 800, Range(200, 10000));
const Property<bool> imported("imported", false);

/// Call this after `initialize`. The old file stays as it is.
void importOnce() {
    if (imported.value())
        return;
    const QSettings old("acme", "editor");
    bool isNumber = false;
    const int oldWidth = old.value("window/width").toInt(&isNumber);
    if (isNumber && width.limits()(oldWidth)) // `set` throws outside the limits
        width.set(oldWidth);
    imported.set(true);
}
//! [once]

int main() {
    const Directories directories = standardDirectories("acme", "editor");
    _Register::initialize(directories.global, directories.user);
    importOnce();
    std::cout << width.value() << "\n";
}
