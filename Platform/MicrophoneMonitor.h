// Which applications are recording from a microphone right now: the call detector's view of the sound
// server. The Linux implementation is `PulseMicrophoneMonitor` (PulseAudio, or PipeWire through its
// PulseAudio service); the host turns the lists into calls with `UI::CallDetector`.
//
// Contract: `start` checks that the server answers and begins watching; it gives nothing when watching, or
// a one-line reason for the user when it cannot (then the monitor stays silent). While watching,
// `clientsChanged` is emitted on the main loop with the whole current list, once after start and then each
// time the list differs from the last one published. When the watch breaks down on its own, `ended` is
// emitted once with a one-line reason and nothing more is published (the last list is kept). `stop` ends
// the watch quietly; it is harmless when not watching.
#pragma once

#include "Support/Signal.h"
#include "Support/Task.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

/// One application stream recording from a microphone (a PulseAudio "source output").
struct MicrophoneClient {
    /// The sound server's number for the stream, unique while it exists.
    std::uint32_t streamIndex = 0;
    /// The application's own name for itself ("Firefox", "ZOOM VoiceEngine"); may be empty.
    std::string applicationName;
    /// The program's file name without folders ("firefox", "zoom"); may be empty.
    std::string processBinary;
    std::optional<int> processId;
    /// The stream exists but is paused (no audio is taken from the microphone now).
    bool corked = false;

    bool operator==(const MicrophoneClient&) const = default;
};

class MicrophoneMonitor {
public:
    virtual ~MicrophoneMonitor() = default;

    /// Starts watching; nothing when watching, else why not (one line).
    virtual Support::Task<std::optional<std::string>> start() = 0;
    virtual void stop() = 0;
    virtual bool isWatching() const = 0;
    /// The last list published (empty before the first).
    virtual const std::vector<MicrophoneClient>& clients() const = 0;

    Support::Signal<const std::vector<MicrophoneClient>&> clientsChanged;
    Support::Signal<const std::string&> ended;
};

} // namespace Platform
