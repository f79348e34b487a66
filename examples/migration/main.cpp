// The program around each store: `migration-STORE [WIDTH]` stores and prints a width.
#include <cstdlib>
#include <iostream>

int loadWidth();
void storeWidth(int width);

int main(int count, char **arguments) {
    if (count > 1)
        storeWidth(std::atoi(arguments[1]));
    std::cout << loadWidth() << "\n";
}
