// The recipes of docs/cookbook.md that need no window.
#include <register/Directories.h>
#include <register/Group.h>
#include <register/Property.h>

#include <QCoreApplication>
#include <QTimer>

#include <iostream>
#include <thread>

using namespace utils::properties;

//! [intervals]
/// Saves every minute, so that a crash loses no more than that. A save that changes nothing in the
/// mode MergeIntoFile writes nothing.
void saveAtIntervals(QObject *application) {
    auto *timer = new QTimer(application);
    QObject::connect(timer, &QTimer::timeout, [] { _Register::getInstance().save(); });
    timer->start(60 * 1000);
}
//! [intervals]

//! [reset]
void resetToDefaults() {
    const Property<int> fontSize("editor/font-size", 11);
    fontSize.reset();        // one setting
    Group("editor").reset(); // all settings of a group
    Group("").reset();       // all settings of the user
}
//! [reset]

//! [threads]
const Property<int> downloads("statistics/downloads", 0);

void countDownload() {       // on any thread
    const RegisterLock lock; // so that the read and the write are one step
    downloads.set(downloads.value() + 1);
}

void chooseProxy(const std::string &host, int port) {
    _Register &reg = _Register::getInstance();
    reg.changeInOneStep(nullptr, [&] { // nobody sees the host without its port
        reg._writeString(nullptr, "proxy/host", host, UserScope);
        reg._writeInteger(nullptr, "proxy/port", port, UserScope);
    });
}
//! [threads]

//! [plugin]
/// A plug-in has a group of its own. Its subscription ends before its code is unloaded.
class Plugin {
public:
    explicit Plugin(const std::string &name)
        : _settings("plugins/" + name), _level(_settings.property<int>("level", 3, Range(0, 9))),
          _changes(_settings.subscribe([this](const std::string &) { apply(); })) {}

private:
    void apply() { std::cout << _settings.name() << " has level " << _level.value() << "\n"; }

    const Group _settings;
    const Property<int> _level;
    const Subscription _changes; // the last member, so it ends first
};
//! [plugin]

int main(int count, char **arguments) {
    QCoreApplication application(count, arguments);
    const Directories directories = standardDirectories("acme", "cookbook");
    _Register::initialize(directories.global, directories.user);
    saveAtIntervals(&application);
    const Plugin plugin("spelling");
    Property<int>("plugins/spelling/level").set(5);
    std::thread first([] { countDownload(); }), second([] { countDownload(); });
    first.join();
    second.join();
    chooseProxy("proxy.example", 3128);
    std::cout << downloads.value() << " downloads\n";
    resetToDefaults();
    std::cout << downloads.value() << " downloads\n";
}
