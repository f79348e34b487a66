#include <register/Property.h>

#include <QDir>
#include <iostream>

using namespace utils::properties;

int main() {
    _Register::initialize("/usr/local/share/hello",
                          QDir::homePath().toStdString() + "/.config/hello");
    const Property<int> width("ui/window/width", 800);
    const Subscription sub("ui",
                           [](const std::string &name) { std::cout << name << " changed\n"; });
    std::cout << "The window was " << width.value() << " wide.\n";
    width.set(width.value() + 100);
} // at exit the user's settings are saved
