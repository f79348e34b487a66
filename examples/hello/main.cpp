#include <register/Register.h>

#include <exception/Exception.h>

#include <iostream>

using namespace utils::properties;

struct Window : _Register::Callback {
    void propertyChanged(const std::string &name) override { std::cout << name << " changed\n"; }
    void *owner() override { return this; }
};

int main() {
    try {
        _Register::initialize("/usr/share/hello", "hello-settings");
    } catch (const utils::Exception &error) {
        std::cerr << error.what() << "\n"; // the user's file is as it was; tell them, do not go on
        return 1;
    }
    _Register &settings = _Register::getInstance();

    int width = 800;
    try {
        settings._readInteger("ui/window/width", width);
    } catch (const PropertyNotFound &) {
        std::cout << "Nobody has chosen a width yet.\n";
    }

    Window window;
    settings.addCallback("ui", &window);
    settings._writeInteger(nullptr, "ui/window/width", width + 100, UserScope);
    settings.removeCallback(&window);
    std::cout << "The window was " << width << " wide.\n";
} // the user's settings are saved at exit
