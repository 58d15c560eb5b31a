// The floor of a C++ program: loaded, and done.

#include <iostream>

int main() {
    return std::cout ? 0 : 1;
}
