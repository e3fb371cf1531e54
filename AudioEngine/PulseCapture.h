// Two-track capture in-process through the sound server's client library (PulseAudio, or PipeWire through
// pipewire-pulse): the default microphone (the user) and the monitor of the default output (the other
// people in the call), each written as its own Ogg Opus file (`OpusTrackWriter`) next to a note that lets
// `RecordingRecovery` finish them after a crash. The tracks are kept in step on one clock: each stream's
// audio is placed at the time it arrived, and a stretch with no audio (a device changing or gone) is filled
// with silence, so both files start together and run the same length.
//
// Used by the host when a sound server answers (else the command tools, else simulation). Our streams carry
// the application name "Vellmora", so the call detector never takes them for a call.
//
// Edge cases: the default microphone or output changing during a call (a headset plugged in) moves that
// track's stream at once; a device that disappears leaves its track silent until a default device is back,
// and the recording goes on, as it does while the sound server itself is gone (restarted): it is connected
// again every second; a track silent for the whole first `silenceWindow` is reported once through
// `silenceReported`; a write that fails (disk full) stops writing both tracks and tells `failed`, keeping
// what was written (the host then stops the recording). Only a server that does not answer, or neither
// stream starting, makes `start` throw `CaptureError`. Signals are emitted on the main loop that called
// `start`.
#pragma once

#include "AudioEngine/CaptureEngine.h"
#include "AudioEngine/OpusTrackWriter.h"
#include "Support/Signal.h"

#include <memory>

namespace AudioEngine {

class PulseCapture final : public CaptureEngine {
public:
    static constexpr const char* silentCallMessage =
        "Vellmora hears nothing from the call: check the output device";
    static constexpr const char* silentMicrophoneMessage =
        "Vellmora hears nothing from your microphone: check the input device";

    struct Options {
        /// How long a track may carry only silence from the start before it is reported.
        Support::Duration silenceWindow = Support::seconds(20);
        OpusTrackWriter::Options writer;
    };

    /// What a track heard, for `vellmora audio test` and the log.
    struct TrackReport {
        bool isMicrophone = false;
        /// The source it recorded last ("alsa_input.usb-…", "room.monitor").
        std::string device;
        double peakDecibels = 0;
        double averageDecibels = 0;
        double seconds = 0;
    };

    /// Whether a sound server answers now (connects and disconnects, opening no stream; blocking, quick):
    /// nothing when it does, else why not, to be said when the host falls back to another engine.
    static std::optional<std::string> whyUnavailable();

    PulseCapture();
    explicit PulseCapture(Options options);
    ~PulseCapture() override;

    /// "PipeWire" or "PulseAudio" once started ("PulseAudio" before).
    std::string name() const override;
    Support::Task<CaptureSession> start(std::filesystem::path folder) override;
    Support::Task<std::optional<CapturedRecording>> stop() override;
    bool isCapturing() const override { return session_.has_value(); }

    /// The tracks of the last recording stopped, microphone first.
    const std::vector<TrackReport>& lastReport() const { return lastReport_; }

    /// `silentCallMessage` or `silentMicrophoneMessage`, at most once each per recording.
    Support::Signal<const std::string&> silenceReported;
    /// Devices followed or lost during the recording: one sentence for the terminal.
    Support::Signal<const std::string&> notice;
    /// Writing stopped (disk full): one sentence; what was written is kept once the recording is stopped.
    Support::Signal<const std::string&> failed;

    struct Core;

private:
    Options options_;
    std::shared_ptr<Core> core_;
    std::optional<CaptureSession> session_;
    std::filesystem::path folder_;
    std::vector<TrackReport> lastReport_;
    std::string serverKind_ = "PulseAudio";
    bool busy_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace AudioEngine
