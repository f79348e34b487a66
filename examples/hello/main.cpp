#include <register/Directories.h>
#include <register/Property.h>

#include <iostream>

using namespace utils::properties;

int main() {
    _Register::setSaveErrorHandler([](const std::string &error) { std::cerr << error << "\n"; });
    const Directories directories = standardDirectories("", "hello");
    _Register::initialize(directories.global, directories.user);
    const Property<int> width("ui/window/width", 800);
    const Subscription sub("ui",
                           [](const std::string &name) { std::cout << name << " changed\n"; });
    std::cout << "The window was " << width.value() << " wide.\n";
    width.set(width.value() + 100);
} // at exit the user's settings are saved
