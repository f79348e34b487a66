//! [after]
#include <register/Directories.h>
#include <register/Property.h>

using namespace utils::properties;

void start() {
    const Directories directories = standardDirectories("acme", "editor");
    _Register::initialize(directories.global, directories.user);
}

const Property<int> width("window/width", 800);

int loadWidth() {
    return width.value();
}

void storeWidth(int pixels) {
    width.set(pixels);
}
//! [after]

#include <cstdlib>
#include <iostream>

int main(int count, char **arguments) {
    start();
    if (count > 1)
        storeWidth(std::atoi(arguments[1]));
    std::cout << loadWidth() << "\n";
}
