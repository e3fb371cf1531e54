// Screen capture on X11 through ffmpeg's x11grab: the whole X screen (every monitor of the display) at a low
// frame rate, encoded as H.264 tuned for still pictures with no look-ahead (each frame reaches the file as
// soon as it is taken), into Matroska written progressively with a cluster every two seconds, so that a
// capture killed outright still leaves a video playable up to its last seconds. ffmpeg runs as a child
// process of its own group; stopping sends it SIGINT, on which it writes the file's trailer and exits.
//
// Used by `ScreenRecordingCapture` when `find` gives options (an X display and ffmpeg on PATH). Edge cases:
// an ffmpeg that ends within `startCheck` (no display, no x11grab) makes `start` throw `CaptureError` with
// ffmpeg's last line and leaves no file; one that does not end within `stopTimeout` of SIGINT is killed (the
// file then ends at its last complete cluster). The offset to the audio is the time between the audio's
// start and ffmpeg's launch; x11grab takes its first frame a few tens of milliseconds later.
#pragma once

#include "AudioEngine/ScreenCaptureEngine.h"
#include "Support/Scheduler.h"

#include <memory>
#include <vector>

namespace Platform {
class ChildProcess;
}

namespace AudioEngine {

class FfmpegScreenCapture final : public ScreenCaptureEngine {
public:
    struct Options {
        /// ffmpeg's absolute path.
        std::filesystem::path executable;
        /// The X display to capture (":0", ":1.0").
        std::string display;
        /// Frames per second (see `ScreenCapturePreferences`).
        double frameRate = 1.0;
        /// x264's constant rate factor: higher is smaller. Text on slides stays readable up to about 34.
        int quality = 30;
        /// How long a fresh ffmpeg must keep running for the start to count.
        Support::Duration startCheck = Support::seconds(1);
        /// How long `stop` waits for ffmpeg to end after SIGINT before killing it.
        Support::Duration stopTimeout = Support::seconds(10);
        /// Where ffmpeg's messages (and its progress line, "frame= N") are appended; empty: discarded.
        std::filesystem::path logFile;
    };

    /// Options for this PATH and DISPLAY value; nothing without ffmpeg or without a display.
    static std::optional<Options> find(const std::string& pathVariable, const std::string& displayVariable);
    /// ffmpeg's arguments to capture `options.display` into `file`.
    static std::vector<std::string> arguments(const Options& options, const std::filesystem::path& file);

    FfmpegScreenCapture(Support::Scheduler& scheduler, Options options);
    ~FfmpegScreenCapture() override;

    std::string name() const override { return "X11"; }
    Support::Task<> start(std::filesystem::path file, Support::Date recordingStart) override;
    Support::Task<std::optional<CapturedVideo>> stop() override;
    bool isCapturing() const override { return running_.has_value(); }
    std::optional<CapturedVideo> runningVideo() const override {
        return running_ ? std::optional(CapturedVideo{running_->file, running_->offset}) : std::nullopt;
    }
    /// The running ffmpeg's process id.
    std::optional<int> processId() const;
    const Options& options() const { return options_; }

private:
    struct Running {
        std::filesystem::path file;
        Support::Duration offset{};
    };

    Support::Scheduler& scheduler_;
    Options options_;
    std::unique_ptr<Platform::ChildProcess> ffmpeg_;
    std::optional<Running> running_;
    bool busy_ = false;
};

} // namespace AudioEngine
