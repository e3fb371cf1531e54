// `vellmora run`: the host.
#include "App/Cli.h"
#include "App/host/Host.h"

namespace {

App::CommandRegistration registration{
    "run", [](CLI::App& root, App::CliContext& ctx) {
        auto* cmd = root.add_subcommand("run", "Run Vellmora: reminders, recording control and the library, "
                                               "in this terminal (r starts or stops recording, q quits)");
        auto demo = std::make_shared<bool>(false);
        auto noInput = std::make_shared<bool>(false);
        cmd->add_flag(
            "--demo", *demo,
            "Run on the embedded demo: a generated calendar and library in a demo folder, simulated "
            "capture; nothing of yours is read or written");
        cmd->add_flag("--no-input", *noInput,
                      "Do not read keys from standard input (quit with Ctrl-C or SIGTERM)");
        cmd->callback([&ctx, demo, noInput] {
            App::Host host({.demo = *demo, .inputFd = *noInput ? -1 : 0});
            ctx.setExitStatus(host.run(ctx.out(), ctx.err()));
        });
    }};

} // namespace
