// A small application, linked to the shared library alone, for what happens at exit:
// GLOBAL USER SCOPE NAME VALUE starts the register, writes a string and returns from main. Exit
// code 3 and a message when the register does not start.
#include <register/Register.h>

#include <cstdio>
#include <string>

using namespace utils::properties;

int main(int count, char **arguments) {
    if (count != 6)
        return 2;
    const std::string scope = arguments[3];
    try {
        _Register::initialize(arguments[1], arguments[2]);
        _Register::getInstance()._writeString(nullptr, arguments[4], arguments[5],
                                              scope == "user"     ? UserScope
                                              : scope == "global" ? GlobalScope
                                                                  : TempScope);
    } catch (const utils::Exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
}
