// The host application behind `vellmora run`: the composition root. It reads the environment once
// (`HostEnvironment`), lets `LinuxServices` choose the platform's pieces, composes the host's services
// (recording, calls, reminders, the library archiver, background work, the menu) in named steps, presents
// them in the terminal (and the desktop when there is one), and runs until asked to quit; `HostShutdown`
// then takes everything down in order. Quitting (q, SIGINT, SIGTERM) stops any recording through the gate,
// waits until it is saved, and returns 0. A missing piece (no session bus, no notification server, a library
// that cannot be opened) degrades with one clear line, never a crash. A second instance for the same user
// refuses to start.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

namespace App {

struct HostOptions {
    bool demo = false;
    /// Where keys come from (-1: none).
    int inputFd = 0;
    /// Never use the desktop's notification server, even when there is one.
    bool terminalOnly = false;
    /// When the demo's Zoom meeting starts, from now (default: the next whole minute a minute away).
    std::optional<double> demoMeetingInSeconds;
    /// Quit after the first planning pass (the calendar read, the menu's Up Next set): start-up timing.
    bool quitWhenReady = false;
};

class Host {
public:
    explicit Host(HostOptions options);
    /// Runs until quit; returns the exit status.
    int run(std::ostream& out, std::ostream& err);

    /// The folder the demo keeps its data in ($XDG_RUNTIME_DIR/vellmora-demo, else
    /// /tmp/vellmora-<uid>/vellmora-demo), emptied and pointed to by the VELLMORA_*_HOME variables so the
    /// user's own folders are never touched.
    static std::filesystem::path prepareDemoFolder();

private:
    HostOptions options_;
};

} // namespace App
