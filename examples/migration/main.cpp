// The program around each of the stores: `migration-STORE [WIDTH]` stores a width and prints what is stored.
#include <cstdlib>
#include <iostream>

int loadWidth();
void storeWidth(int width);

int main(int count, char **arguments) {
    if (count > 1)
        storeWidth(std::atoi(arguments[1]));
    std::cout << loadWidth() << "\n";
}
