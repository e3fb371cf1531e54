// The host application behind `vellmora run`: creates the shared objects on the main loop (recording state
// and request gate, capture, the library database, the calendar source and reminder coordinator, the
// notification client and its route handler, the menu-bar controller), wires them through the notification
// centre, presents them in the terminal (and the desktop's notification server when there is one), and runs
// until asked to quit. Quitting (q, SIGINT, SIGTERM) stops any recording through the gate, waits until it is
// saved, and returns 0. A missing piece (no session bus, no notification server, a library that cannot be
// opened) degrades with one clear line, never a crash. A second instance for the same user refuses to start.
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
    /// The user's time zone id ($TZ, else /etc/localtime's zone, else "UTC") and ICU locale ("en_US").
    static std::string localTimeZoneID();
    static std::string localeID();

private:
    HostOptions options_;
};

} // namespace App
