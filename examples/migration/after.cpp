#include <register/Directories.h>

//! [after]
#include <register/Property.h>

using namespace utils::properties;

const Property<int> width("window/width", 800);

int loadWidth() {
    return width.value();
}

void storeWidth(int pixels) {
    width.set(pixels);
}
//! [after]

int main() {
    const Directories directories = standardDirectories("acme", "editor");
    _Register::initialize(directories.global, directories.user);
    storeWidth(loadWidth());
}
