// The host's one way out, in order: the recording under way is stopped and saved (through the gate), work
// that must finish is awaited (the saved recording reaching the library), then the services stop in the
// reverse order they were added (each cancelling its own tasks), the blocking-work pool is drained so that no
// job outlives what it uses, and the main loop is let go. `quit` may be asked for any number of times and
// from anywhere on the main loop (q, the menu, SIGINT/SIGTERM, start-up timing); the first one counts.
#pragma once

#include "Support/MainLoop.h"
#include "Support/Task.h"

#include <functional>
#include <optional>
#include <vector>

namespace App {

class RecordingController;

class HostShutdown {
public:
    HostShutdown(Support::MainLoop& loop, RecordingController& controller);

    /// A service's stop, run at quit after the recording is saved.
    void add(std::function<void()> stop);
    /// Work awaited at quit before any service stops.
    void finishFirst(std::function<Support::Task<>()> work);
    void quit();
    bool isQuitting() const { return quitting_; }

private:
    Support::Task<> run();

    Support::MainLoop& loop_;
    RecordingController& controller_;
    std::vector<std::function<void()>> stops_;
    std::vector<std::function<Support::Task<>()>> finishFirst_;
    bool quitting_ = false;
    std::optional<Support::Task<>> task_;
};

} // namespace App
