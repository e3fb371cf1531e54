// Runs `vellmora` in this process, as the command-line tests do: the arguments after the program name and
// the text on standard input in; the exit status and what the command printed out.
#pragma once

#include "App/Cli.h"

#include <sstream>
#include <string>
#include <vector>

namespace CliTest {

struct CommandResult {
    int status;
    std::string out;
    std::string err;
};

inline CommandResult runVellmora(std::vector<std::string> args, const std::string& input = "") {
    args.insert(args.begin(), "vellmora");
    std::vector<char*> argv;
    for (auto& a : args) {
        argv.push_back(a.data());
    }
    std::istringstream in(input);
    std::ostringstream out, err;
    int status = App::runCommandLine(static_cast<int>(argv.size()), argv.data(), in, out, err);
    return {status, out.str(), err.str()};
}

} // namespace CliTest
