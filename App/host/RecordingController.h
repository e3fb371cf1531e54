// The host's start and stop operations: the only code that calls the capture engine, always through the
// recording request gate, reporting each moment of the lifecycle to the shared recording state (start
// accepted, capture started or failed, stop requested, saved). A stop in a phase that is not recording or
// starting does nothing. A finished recording is handed to `recordingSaved` before the phase returns to idle.
#pragma once

#include "AudioEngine/CaptureEngine.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "UI/recording/RecordingRequestGate.h"
#include "UI/recording/RecordingState.h"

#include <filesystem>
#include <string>

namespace App {

class RecordingController {
public:
    RecordingController(UI::RecordingState& state, UI::RecordingRequestGate& gate,
                        AudioEngine::CaptureEngine& capture, Support::Scheduler& scheduler,
                        std::filesystem::path recordingsFolder);

    /// Each returns whether the gate accepted the request (false: a duplicate of the newest one).
    bool requestStart();
    bool requestStop();
    /// Stops any recording through the gate and waits until the gate is idle (quit, SIGTERM).
    Support::Task<> stopAndDrain();

    Support::Signal<const AudioEngine::CapturedRecording&> recordingSaved;
    Support::Signal<const std::string&> startFailed;

private:
    Support::Task<> startOperation();
    Support::Task<> stopOperation();
    void apply(const UI::RecordingPhaseEvent& event);

    UI::RecordingState& state_;
    UI::RecordingRequestGate& gate_;
    AudioEngine::CaptureEngine& capture_;
    Support::Scheduler& scheduler_;
    std::filesystem::path folder_;
};

} // namespace App
