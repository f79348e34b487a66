// Desktop settings in the register. Imports the output of `gsettings list-recursively`, or runs as
// an application of that desktop.
//
//   desktop-settings import DIRECTORY < SETTINGS
//   desktop-settings first-run INSTALLATION HOME
//   desktop-settings second-run INSTALLATION HOME
//
// `scripts/demo` runs the three commands in this order.
#include "Application.h"
#include "Import.h"

#include <exception/Exception.h>
#include <register/Register.h>

#include <iostream>
#include <string>
#include <vector>

using utils::properties::_Register;

namespace {

/// Saves now, because the exit code cannot report a failure of the save at exit. Returns the exit
/// code.
int save() {
    _Register::getInstance().save();
    return _Register::getInstance().saveError().empty() ? 0 : 1;
}

} // namespace

int main(int count, char **values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    const std::string command = arguments.empty() ? "" : arguments.front();
    _Register::setSaveErrorHandler([](const std::string &error) {
        std::cerr << "desktop-settings: the settings are not saved. " << error << "\n";
    });
    try {
        if (command == "import" && arguments.size() == 2) {
            _Register::initialize("", arguments[1]);
            importSettings(std::cin, _Register::getInstance());
            return save();
        }
        if ((command == "first-run" || command == "second-run") && arguments.size() == 3) {
            _Register::initialize(arguments[1], arguments[2]);
            if (command == "first-run")
                firstRun();
            else
                secondRun();
            return save();
        }
    } catch (const utils::Exception &error) {
        std::cerr << "desktop-settings: " << error.what() << "\n";
        return 1;
    }
    std::cerr << "usage: desktop-settings import DIRECTORY < SETTINGS\n"
                 "       desktop-settings first-run|second-run INSTALLATION HOME\n";
    return 2;
}
