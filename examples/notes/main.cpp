#include <register/Directories.h>
#include <register/Property.h>

#include <chrono>
#include <iostream>
#include <thread>

using namespace utils::properties;

//! [settings]
// Each setting is declared once: its name, its default and, where there are some, its limits.
const Property<std::string> font("editor/font", "Sans");
const Property<int> fontSize("editor/font-size", 11, Range(6, 72));
const Property<bool> showToolbar("window/toolbar", true);
//! [settings]

void show() {
    std::cout << font.value() << " " << fontSize.value()
              << (showToolbar.value() ? ", with a toolbar\n" : ", without a toolbar\n");
}

//! [follow]
/// Shows the settings whenever another process changes them, until the toolbar is hidden.
void follow() {
    const Subscription changes(allNames, [](const std::string &name) {
        std::cout << name << " has changed: " << std::flush;
        show();
    });
    while (showToolbar.value()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // an application uses a timer
        _Register::getInstance().sync(nullptr);
    }
}
//! [follow]

//! [main]
int main(int count, char **arguments) {
    _Register::setSaveMode(MergeIntoFile); // others may write while this runs
    const Directories directories = standardDirectories("acme", "notes");
    try {
        _Register::initialize(directories.global, directories.user);
    } catch (const std::exception &error) {
        std::cerr << "The settings cannot be read. " << error.what() << "\n";
        return 1;
    }
    show();
    if (count > 1 && arguments[1] == std::string("follow"))
        follow();
} // changes are saved here
//! [main]
