// `vellmora run`: the host.
#include "App/Cli.h"
#include "App/host/Host.h"
#include "App/host/WindowedProgram.h"
#include "App/host/WindowsShell.h"
#include "Platform/DisplayProbe.h"

namespace {

App::CommandRegistration registration{
    "run", [](CLI::App& root, App::CliContext& ctx) {
        auto* cmd = root.add_subcommand(
            "run",
            "Run Vellmora in this terminal: meeting reminders, the meeting card, recording control, the menu "
            "and the library. Keys: r record/stop, j join and record the next meeting, m menu, l library, "
            "q quit. On the meeting card: Tab or arrows move, Return chooses, Esc dismisses. On a desktop "
            "the "
            "library, chat, settings and the meeting card are windows too (vellmora-windows, installed "
            "beside "
            "vellmora).");
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
        cmd->add_flag(
            "--terminal-only", flags->terminalOnly,
            "No windows, and notifications in this terminal even when the desktop has a notification "
            "server");
        cmd->add_flag("--no-input", flags->noInput,
                      "Do not read keys from standard input (quit with Ctrl-C or SIGTERM)");
        cmd->add_flag("--quit-when-ready", flags->quitWhenReady,
                      "Quit as soon as the calendar is read and the menu is ready (for timing the start-up)");
        cmd->callback([&ctx, flags] {
            // The windows are in `vellmora-windows`: hand over to it when there is a display for them.
            if (!flags->terminalOnly && !App::WindowsShell::isBuiltIn() &&
                Platform::DisplayProbe::hasDisplay()) {
                ctx.out().flush();
                ctx.err() << "vellmora: " << App::WindowedProgram::handOverOrExplain(ctx.arguments())
                          << "; the menu is in the tray and here.\n";
            }
            App::Host host({.demo = flags->demo,
                            .inputFd = flags->noInput ? -1 : 0,
                            .terminalOnly = flags->terminalOnly,
                            .demoMeetingInSeconds = flags->meetingIn,
                            .quitWhenReady = flags->quitWhenReady});
            ctx.setExitStatus(host.run(ctx.out(), ctx.err()));
        });
    }};

} // namespace
