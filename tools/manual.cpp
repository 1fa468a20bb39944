#include <exception>
#include <iostream>

#include "CommandLine.h"
#include "ManPage.h"

int main() {
    try {
        std::cout << Rynvelctl::manPage(Rynvelctl::CommandLine().describe()) << std::flush;
        return std::cout ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << "rynvelctl_manual: " << exception.what() << '\n';
        return 1;
    }
}
