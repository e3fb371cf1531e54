#include "App/Cli.h"

#include <iostream>

int main(int argc, char** argv) {
    return App::runCommandLine(argc, argv, std::cin, std::cout, std::cerr);
}
