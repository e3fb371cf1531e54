// The `vellmora` command line: `vellmora <noun> <verb>` subcommands, each defined in its own file under
// App/cli/ and registered with a static `CommandRegistration`:
//
//   static App::CommandRegistration reg{"links", [](CLI::App& root, App::CliContext& ctx) {
//       auto* cmd = root.add_subcommand("links", "Find meeting links in text on stdin");
//       cmd->callback([&ctx] { ... ctx.out() << ...; });
//   }};
//
// Conventions: `--help` everywhere, `--json` for machine output, errors as one line on stderr with exit
// status 2 (usage or input: throw `UsageError`) or 1 (the operation failed: throw `CommandFailed`, or a
// `Support::UserFacingError`); progress on stderr for anything that takes more than a second. The global
// options `--config-dir`, `--data-dir` and `--cache-dir` move the per-user folders (they set
// VELLMORA_CONFIG_HOME and friends before any command runs), so nothing touches a real home folder in tests.
#pragma once

#include "Support/UserDefaults.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace App {

/// Input the user got wrong: exit status 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// The operation failed: exit status 1, with the message on stderr (empty message: nothing printed).
struct CommandFailed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class CliContext {
public:
    CliContext(std::istream& in, std::ostream& out, std::ostream& err) : in_(in), out_(out), err_(err) {}
    ~CliContext();

    std::istream& in() { return in_; }
    std::ostream& out() { return out_; }
    std::ostream& err() { return err_; }

    /// The user's defaults file (opened on first use, under the configured config folder).
    Support::UserDefaults& defaults();
    /// Sets the exit status the command returns when it ends normally (default 0).
    void setExitStatus(int status) { exitStatus_ = status; }
    int exitStatus() const { return exitStatus_; }
    /// The command line as given (the program first), for handing the command over to another program.
    const std::vector<std::string>& arguments() const { return arguments_; }
    void setArguments(std::vector<std::string> arguments) { arguments_ = std::move(arguments); }

private:
    std::istream& in_;
    std::ostream& out_;
    std::ostream& err_;
    std::unique_ptr<Support::UserDefaults> defaults_;
    int exitStatus_ = 0;
    std::vector<std::string> arguments_;
};

using CommandBuilder = std::function<void(CLI::App& root, CliContext& context)>;

struct CommandRegistration {
    CommandRegistration(std::string name, CommandBuilder build);
};

/// Parses `argv` and runs the chosen command; returns the process exit status.
int runCommandLine(int argc, char** argv, std::istream& in, std::ostream& out, std::ostream& err);

} // namespace App
