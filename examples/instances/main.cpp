// An application that runs several times at once. All instances change the same settings and hear
// what the others have changed.
#include <register/Property.h>

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

using namespace utils::properties;

namespace {

//! [sync]
/// An application calls this by a timer, and before it shows its settings to be edited.
void mergeSettings() {
    _Register &reg = _Register::getInstance();
    const SyncResult result = reg.sync(nullptr); // notifies of what others have changed
    for (const std::string &name : result.conflicts)
        std::cout << name << " was changed elsewhere too; this instance's value stays\n";
    if (!reg.saveError().empty())
        std::cerr << "The settings were not merged. " << reg.saveError() << "\n";
}
//! [sync]

} // namespace

int main(int count, char **arguments) {
    if (count != 3) {
        std::cerr << "usage: instances HOME NAME\n";
        return 2;
    }
    const std::string instance = arguments[2];
    _Register::setSaveMode(MergeIntoFile); // the save at exit merges too
    _Register::initialize("", arguments[1]);
    int sender = 0; // what this instance changes itself does not notify it
    const Property<int> own("windows/" + instance, 0);
    const Property<std::string> theme("theme", "light");
    const Subscription windows(
        "windows",
        [&](const std::string &name) {
            std::cout << instance << ": " << name << " is " << Property<int>(name).value() << "\n";
        },
        &sender);
    const Subscription themes(
        "theme", [&](auto &) { std::cout << instance << ": theme is " << theme.value() << "\n"; },
        &sender);
    for (int i = 1; i <= 3; ++i) {
        own.set(i, &sender);
        theme.set("of " + instance, &sender);
        mergeSettings();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}
