// A tour of the register: `tour INSTALLATION HOME`. docs/guide.md shows its parts.
#include <register/Group.h>
#include <register/Property.h>
#include <register/QtTypes.h>
#include <register/Records.h>
#include <register/RegisterFile.h>

#include <exception/Exception.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

using namespace utils::properties;

//! [storage]
struct Ratio {
    int width, height;
};

template <>
struct utils::properties::Storage<Ratio> {
    using Stored = std::vector<int>;
    static std::optional<Ratio> load(const Stored &stored) {
        if (stored.size() != 2 || stored[0] <= 0 || stored[1] <= 0)
            return std::nullopt;
        return Ratio{stored[0], stored[1]};
    }
    static Stored store(const Ratio &ratio) { return {ratio.width, ratio.height}; }
};
//! [storage]

namespace {

//! [start]
bool startRegister(const std::string &installation, const std::string &home) {
    _Register::setSaveErrorHandler([](const std::string &error) {
        std::cerr << "The settings were not saved. " << error << "\n"; // also at exit
    });
    try {
        _Register::initialize(installation, home);
        return true;
    } catch (const std::exception &error) { // RegisterFileError or std::bad_alloc
        std::cerr << "The settings cannot be read. " << error.what() << "\n";
        return false; // the file is unchanged and is not overwritten
    }
}
//! [start]

//! [recover]
void startInAnyCase(const std::string &installation, const std::string &home) {
    const Recovery recovery = _Register::initializeOrRecover(installation, home);
    for (const auto &error : {recovery.globalError, recovery.userError})
        if (error)
            std::cerr << error->what() << "\n";
    if (!recovery.damagedFile.empty())
        std::cerr << "The damaged file is now " << recovery.damagedFile << ".\n";
    if (recovery.userError)
        std::cerr << (recovery.previousRestored ? "Your settings before the last change"
                                                : "The default settings")
                  << " are used.\n";
}
//! [recover]

//! [properties]
const Property<QString> theme("ui/theme", QStringLiteral("light"));
const Property<std::vector<double>> zoomLevels("ui/zoom-levels", {0.5, 1, 2});
const Property<bool> firstStart("session/first-start", true, TempScope);

void properties() {
    std::cout << theme.value().toStdString() << "\n"; // user, global, temp or default
    theme.set(QStringLiteral("dark"));                // into the user scope
    if (theme.origin() == UserScope)
        theme.reset(); // the installation's theme, or the default, is used again
    zoomLevels.set({0.25, 1, 4});
    firstStart.set(false); // gone when the process ends
}
//! [properties]

//! [types]
const Property<int> fontSize("ui/font-size", 12, Range(6, 72));
const Property<QString> style("ui/style", "flat", OneOf("flat", "round"));
const Property<std::chrono::seconds> delay("ui/delay", std::chrono::seconds(2));   // "2s"
const Property<Qt::ToolButtonStyle> buttons("ui/buttons", Qt::ToolButtonIconOnly); // by its name
const Property<QDateTime> lastBackup("backup/last");
const Property<Ratio> screen("ui/screen", {16, 9});

void types() {
    screen.set({4, 3});
    lastBackup.set(QDateTime::currentDateTime()); // "2026-11-23T10:34:06.250+01:00"
    delay.set(2 * delay.value());
    try {
        fontSize.set(5000);
    } catch (const utils::Exception &error) { // and nothing is changed
        std::cout << error.what() << "\n"; // The value 5000 for ui/font-size is not from 6 to 72.
    }
}
//! [types]

//! [subscriptions]
class Editor {
public:
    void choose(const QString &name) { theme.set(name, this); } // not notified of its own change

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
    reg.markAsChanged(nullptr, "cache/thumbnail"); // a handle does not notify

    const PropertyHandle thumbnail("cache/thumbnail", FileSystem::ReadMode, TempScope);
    reg.delProperty("cache", TempScope);
    std::cout << reg.readBytes(thumbnail.get(), 9) << "\n"; // a snapshot outlives the property
}
//! [handles]

//! [group]
void groupObjects() {
    const Group ui("ui");
    const Property<int> width = ui.property<int>("width", 800, Range(200, 10000));
    const Subscription heard =
        ui.subscribe([](const std::string &name) { std::cout << name << " has changed\n"; });
    width.set(1000);
    for (const std::string &name : ui.names()) // in all scopes
        std::cout << "ui has " << name << "\n";
    ui.reset(); // the user's settings in the group are removed; each of them notifies
}
//! [group]

//! [records]
struct Recent {
    QString path;
    int line = 1;
};
const Records<Recent> recent("recent", {{"path", &Recent::path}, {"line", &Recent::line}});

void opened(const QString &path) {
    const RegisterLock lock; // so that no other thread writes the list in between
    std::vector<Recent> list = recent.value();
    const auto isSame = [&](const Recent &file) { return file.path == path; };
    list.erase(std::remove_if(list.begin(), list.end(), isSame), list.end());
    list.insert(list.begin(), {path, 1});
    list.resize(std::min<std::size_t>(list.size(), 10));
    recent.set(list); // "recent/0/path" and so on, written and shortened as one step
}
//! [records]

//! [documents]
void documents(const std::string &directory) {
    RegisterFile project(directory + "/project.dat"); // new if it does not exist
    project._writeStrings("sources", {"main.cpp", "window.cpp"});
    project._writeInteger("build/jobs", 4);
    const SyncResult result = project.save(); // throws RegisterFileError
    for (const std::string &name : result.taken)
        std::cout << name << " was changed by another process\n";
}
//! [documents]

} // namespace

int main(int count, char **arguments) {
    if (count != 3) {
        std::cerr << "usage: tour INSTALLATION HOME\n";
        return 2;
    }
    if (!startRegister(arguments[1], arguments[2]))
        startInAnyCase(arguments[1], arguments[2]);
    properties();
    types();
    subscriptions();
    groups();
    handles();
    groupObjects();
    opened(QStringLiteral("notes.txt"));
    documents(arguments[2]);

    // The exit saves too, but the exit code cannot report its failure.
    _Register &reg = _Register::getInstance();
    reg.save();
    if (!reg.saveError().empty()) {
        std::cerr << "The settings are not saved. " << reg.saveError() << "\n";
        return 1;
    }
}
