// `vellmora run`: the host.
#include "App/Cli.h"
#include "App/host/Host.h"

namespace {

App::CommandRegistration registration{
    "run", [](CLI::App& root, App::CliContext& ctx) {
        auto* cmd = root.add_subcommand(
            "run",
            "Run Vellmora in this terminal: meeting reminders, the meeting card, recording control, the menu "
            "and the library. Keys: r record/stop, j join and record the next meeting, m menu, l library, "
            "q quit. On the meeting card: Tab or arrows move, Return chooses, Esc dismisses.");
        struct Flags {
            bool demo = false;
            bool noInput = false;
            bool terminalOnly = false;
            bool quitWhenReady = false;
            std::optional<double> meetingIn;
        };
        auto flags = std::make_shared<Flags>();
        cmd->add_flag(
            "--demo", flags->demo,
            "Run on the embedded demo: a generated calendar and library in a demo folder, simulated "
            "capture, meeting links that are only printed; nothing of yours is read or written");
        cmd->add_option(
               "--demo-meeting-in", flags->meetingIn,
               "With --demo: start the demo's Zoom meeting this many seconds from now (its card shows one "
               "minute before)")
            ->option_text("SECONDS")
            ->check(CLI::Range(0.0, 86400.0));
        cmd->add_flag("--terminal-only", flags->terminalOnly,
                      "Show notifications in this terminal even when the desktop has a notification server");
        cmd->add_flag("--no-input", flags->noInput,
                      "Do not read keys from standard input (quit with Ctrl-C or SIGTERM)");
        cmd->add_flag("--quit-when-ready", flags->quitWhenReady,
                      "Quit as soon as the calendar is read and the menu is ready (for timing the start-up)");
        cmd->callback([&ctx, flags] {
            App::Host host({.demo = flags->demo,
                            .inputFd = flags->noInput ? -1 : 0,
                            .terminalOnly = flags->terminalOnly,
                            .demoMeetingInSeconds = flags->meetingIn,
                            .quitWhenReady = flags->quitWhenReady});
            ctx.setExitStatus(host.run(ctx.out(), ctx.err()));
        });
    }};

} // namespace
