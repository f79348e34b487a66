// A tour of the register: `tour INSTALLATION HOME`. The README shows its parts.
#include <register/Property.h>

#include <exception/Exception.h>

#include <iostream>
#include <string>
#include <vector>

using namespace utils::properties;

namespace {

/// Without a readable settings file the program should not go on with empty settings.
//! [start]
bool startRegister(const std::string &installation, const std::string &home) {
    try {
        _Register::initialize(installation, home);
        return true;
    } catch (const utils::Exception &error) {
        std::cerr << "The settings cannot be read. " << error.what() << "\n";
        return false; // the file is as it was; nothing will be written over it
    }
}
//! [start]

//! [properties]
const Property<QString> theme("ui/theme", QStringLiteral("light"));
const Property<std::vector<double>> zoomLevels("ui/zoom-levels", {0.5, 1, 2});
const Property<bool> firstStart("session/first-start", true, TempScope);

void properties() {
    std::cout << theme.value().toStdString() << "\n"; // user, global, temp or default
    theme.set(QStringLiteral("dark"));                // into the user scope
    if (theme.origin() == UserScope)
        theme.reset(); // the installation's theme, or the default, shows through
    zoomLevels.set({0.25, 1, 4});
    firstStart.set(false); // gone when the process ends
}
//! [properties]

//! [subscriptions]
class Editor {
public:
    void choose(const QString &name) { theme.set(name, this); } // does not hear of this itself

private:
    void reload(const std::string &name) { std::cout << name << " has changed\n"; }

    Subscription _ui{"ui", [this](const std::string &name) { reload(name); }, this};
}; // the subscription ends with the editor
//! [subscriptions]

void subscriptions() {
    Editor editor;
    editor.choose(QStringLiteral("solarized"));
    theme.set(QStringLiteral("dark")); // prints "ui/theme has changed"
}

//! [groups]
void groups() {
    _Register &reg = _Register::getInstance();
    reg._writeStrings(nullptr, "recent/files", {"a.txt", "b.txt"}, UserScope);
    for (const filesystem::DirEntry &entry : reg.propertyList("recent", UserScope))
        std::cout << entry.name.toStdString() << (entry.isDirectory ? "/\n" : "\n");

    std::vector<std::string> files;
    try {
        reg._readStrings("recent/files", files);
    } catch (const PropertyNotFound &) { // in no scope
    } catch (const PropertyBadType &) {  // something else than a list of strings
    }
    reg.delProperty("recent", UserScope); // the group with all that is in it
}
//! [groups]

//! [handles]
void handles() {
    using filesystem::FileSystem;
    _Register &reg = _Register::getInstance();
    reg.addGroup("cache", TempScope);
    {
        const PropertyHandle thumbnail("cache/thumbnail", FileSystem::WriteMode, TempScope);
        reg.write(thumbnail.get(), "any bytes", 9);
    } // closed: the bytes are the property's content now
    reg.markAsChanged(nullptr, "cache/thumbnail"); // a handle tells nobody by itself

    const PropertyHandle thumbnail("cache/thumbnail", FileSystem::ReadMode, TempScope);
    reg.delProperty("cache", TempScope);
    std::cout << reg.readBytes(thumbnail.get(), 9) << "\n"; // a snapshot outlives the property
}
//! [handles]

} // namespace

int main(int count, char **arguments) {
    if (count != 3) {
        std::cerr << "usage: tour INSTALLATION HOME\n";
        return 2;
    }
    if (!startRegister(arguments[1], arguments[2]))
        return 1;
    properties();
    subscriptions();
    groups();
    handles();

    // The exit would save too, but could tell nobody that it failed.
    _Register &reg = _Register::getInstance();
    reg.save();
    if (!reg.saveError().empty()) {
        std::cerr << "The settings are not saved. " << reg.saveError() << "\n";
        return 1;
    }
}
