#include "Application.h"

#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

using namespace utils::properties;

namespace {

const std::string desktop = "org/gnome/desktop/interface";
const std::string scaling = desktop + "/text-scaling-factor";
const std::string theme = desktop + "/gtk-theme";
const std::string cursor = desktop + "/cursor-size";
const std::string animations = desktop + "/enable-animations";
const std::string openWindows = desktop + "/open-windows";

/// The value of a property of any type, as text for people.
std::string show(_Register &reg, const std::string &name) {
    std::ostringstream text;
    try {
        switch (reg.readPropertyType(name, nullptr)) {
        case StringType: {
            std::string value;
            reg._readString(name, value);
            text << '"' << value << '"';
            break;
        }
        case NumberType: {
            double value = 0;
            reg._readNumber(name, value);
            text << value;
            break;
        }
        case IntegerType: {
            int value = 0;
            reg._readInteger(name, value);
            text << value;
            break;
        }
        case BooleanType: {
            bool value = false;
            reg._readBoolean(name, value);
            text << (value ? "yes" : "no");
            break;
        }
        case ListType:
            text << "a list";
            break;
        }
        const std::string path = reg._locateProperty(name);
        text << "  (" << path.substr(1, path.find('/', 1) - 1) << ")";
    } catch (const PropertyNotFound &) {
        text << "nowhere to be found";
    }
    return text.str();
}

void showAll(_Register &reg) {
    for (const std::string &name : {theme, scaling, cursor, animations, openWindows})
        std::cout << "    " << std::left << std::setw(20) << name.substr(desktop.size() + 1)
                  << show(reg, name) << "\n";
}

/// A part of the application that follows its settings.
class Panel : public _Register::Callback {
public:
    Panel(_Register &reg, std::string name) : _reg(reg), _name(std::move(name)) {}
    void propertyChanged(const std::string &name) override {
        std::cout << "    the " << _name << " hears: " << name.substr(desktop.size() + 1)
                  << " is now " << show(_reg, name) << "\n";
    }
    void *owner() override { return this; }

private:
    _Register &_reg;
    std::string _name;
};

} // namespace

void firstRun(_Register &reg) {
    std::cout << "  A new user finds the installation's settings:\n";
    showAll(reg);

    std::cout << "  The window listens to all of the desktop's settings, the dialog too. The user\n"
                 "  works in the dialog, which need not be told of its own changes:\n";
    Panel window(reg, "window"), dialog(reg, "dialog");
    reg.addCallback(desktop, &window);
    reg.addCallback(desktop, &dialog);
    reg._writeString(&dialog, theme, "Solarized", UserScope);
    reg._writeNumber(&dialog, scaling, 1.25, UserScope);
    reg._writeInteger(&dialog, cursor, 48, UserScope);

    std::cout
        << "  The window remembers something for this session only, and the dialog hears it:\n";
    reg._writeInteger(&window, openWindows, 3, TempScope);
    reg.removeCallback(&window);
    reg.removeCallback(&dialog);

    std::cout << "  At the end of the session:\n";
    showAll(reg);
}

void secondRun(_Register &reg) {
    std::cout << "  What the user chose is there again; what was for the session has gone:\n";
    showAll(reg);
    std::cout << "  The user resets the theme, and the installation's shows through:\n";
    Panel window(reg, "window");
    reg.addCallback(theme, &window);
    reg.delProperty(theme, UserScope);
    reg.markAsChanged(nullptr, theme);
    reg.removeCallback(&window);
}
