// A capture engine that records nothing: it takes a moment to "start" and to "finalise", like a real
// engine, and writes valid, silent WAV files: the recording's audio and its two tracks in step,
// "<id>-microphone.wav" and "<id>-system.wav", whose names tell the demo's simulated speech engine which
// side of its scripted conversation each one carries. Used by the demo, by tests, and whenever no recording
// tool is installed.
#pragma once

#include "AudioEngine/CaptureEngine.h"
#include "Support/Scheduler.h"

namespace AudioEngine {

class SimulatedCapture final : public CaptureEngine {
public:
    explicit SimulatedCapture(Support::Scheduler& scheduler,
                              Support::Duration startDelay = Support::seconds(0.3),
                              Support::Duration stopDelay = Support::seconds(0.5));

    std::string name() const override { return "simulated"; }
    Support::Task<CaptureSession> start(std::filesystem::path folder) override;
    Support::Task<std::optional<CapturedRecording>> stop() override;
    bool isCapturing() const override { return session_.has_value(); }

    /// A silent 16 kHz mono 16-bit WAV of `seconds` (at most one minute of samples: it is a stand-in).
    static std::string silentWav(double seconds);

private:
    Support::Scheduler& scheduler_;
    Support::Duration startDelay_;
    Support::Duration stopDelay_;
    std::optional<CaptureSession> session_;
    Support::MonotonicInstant startedMonotonic_{};
};

} // namespace AudioEngine
