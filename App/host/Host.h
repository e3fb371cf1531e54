// The host application behind `vellmora run`: creates the shared objects on the main loop, wires them
// through the notification centre, presents them (terminal), and runs until asked to quit. Quitting (q,
// SIGINT, SIGTERM) stops any recording through the gate, waits until the gate is idle, and returns 0.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>

namespace App {

struct HostOptions {
    bool demo = false;
    /// Where keys come from (-1: none).
    int inputFd = 0;
};

class Host {
public:
    explicit Host(HostOptions options);
    /// Runs until quit; returns the exit status.
    int run(std::ostream& out, std::ostream& err);

    /// The folder the demo keeps its data in ($XDG_RUNTIME_DIR/vellmora-demo, else /tmp/vellmora-demo-<uid>),
    /// emptied and pointed to by the VELLMORA_*_HOME variables so the user's own folders are never touched.
    static std::filesystem::path prepareDemoFolder();

private:
    HostOptions options_;
};

} // namespace App
