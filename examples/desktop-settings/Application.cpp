#include "Application.h"

#include <register/Property.h>

#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace utils::properties;

namespace {

const std::string desktop = "org/gnome/desktop/interface";
const std::string animations = desktop + "/enable-animations";
const std::string closeKeys = "org/gnome/desktop/wm/keybindings/close";

const Property<std::string> theme(desktop + "/gtk-theme");
const Property<double> scaling(desktop + "/text-scaling-factor", 1);
const Property<int> cursor(desktop + "/cursor-size", 24);
const Property<std::vector<std::string>> openWindows(desktop + "/open-windows", {}, TempScope);

std::string show(const std::string &value) {
    return '"' + value + '"';
}
std::string show(bool value) {
    return value ? "yes" : "no";
}
template <class Value>
std::string show(const Value &value) {
    std::ostringstream text;
    text << value;
    return text.str();
}
template <class Element>
std::string show(const std::vector<Element> &values) {
    std::string text;
    for (const Element &value : values)
        text += (text.empty() ? "" : ", ") + show(value);
    return "[" + text + "]";
}

/// Returns true when the name holds a value of this type. Stores the value and its scope in `text`.
template <class Value>
bool isShown(const std::string &name, std::string &text) {
    constexpr const char *scopes[] = {"global", "user", "temp"};
    const Property<Value> property(name);
    if (!property.origin())
        return false;
    text = show(property.value()) + "  (" + scopes[*property.origin()] + ")";
    return true;
}

/// Returns the value of a property of any type as readable text.
std::string showProperty(const std::string &name) {
    std::string text = "not set";
    isShown<std::string>(name, text) || isShown<double>(name, text) || isShown<int>(name, text) ||
        isShown<bool>(name, text) || isShown<std::vector<std::string>>(name, text);
    return text;
}

void showAll() {
    for (const std::string &name :
         {theme.name(), scaling.name(), cursor.name(), animations, closeKeys, openWindows.name()})
        std::cout << "    " << std::left << std::setw(20) << name.substr(name.rfind('/') + 1)
                  << showProperty(name) << "\n";
}

/// A part of the application. It is notified of changes of the desktop's settings, except its own.
class Panel {
public:
    explicit Panel(std::string name) : _name(std::move(name)) {}

private:
    void hear(const std::string &property) const {
        std::cout << "    the " << _name
                  << " is notified: " << property.substr(property.rfind('/') + 1) << " is now "
                  << showProperty(property) << "\n";
    }

    std::string _name;
    Subscription _changes{desktop, [this](const std::string &name) { hear(name); }, this};
};

} // namespace

void firstRun() {
    std::cout << "  A new user starts with the installation's settings:\n";
    showAll();

    std::cout
        << "  The window and the dialog subscribe to all of the desktop's settings. The user\n"
           "  works in the dialog, which is not notified of its own changes:\n";
    Panel window("window"), dialog("dialog");
    theme.set("Solarized", &dialog);
    scaling.set(1.25, &dialog);
    cursor.set(48, &dialog);

    std::cout << "  The window stores a value for this session only, and the dialog is notified:\n";
    openWindows.set({"Letter", "Budget"}, &window);

    std::cout << "  At the end of the session:\n";
    showAll();
}

void secondRun() {
    std::cout << "  The user's values are loaded again. The value of the last session is gone:\n";
    showAll();
    std::cout << "  The user resets the theme. The installation's theme is used again:\n";
    const Panel window("window");
    theme.reset();
}
