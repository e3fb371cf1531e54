#include "App/Cli.h"
#include "Support/RunningProgram.h"

#include <iostream>

int main(int argc, char** argv) {
    Support::runningProgram(); // before any thread: it takes the hand-over's variable out of the environment
    return App::runCommandLine(argc, argv, std::cin, std::cout, std::cerr);
}
