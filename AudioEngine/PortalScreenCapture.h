// Screen capture on Wayland: the desktop portal's screen-share handshake
// (`Platform::ScreenShareOpener`, given by the host, run on the blocking-work pool since the user may take a
// while to pick a screen), then GStreamer's `gst-launch-1.0` reading the shared PipeWire stream
// (`pipewiresrc` on the portal's socket, handed to it as an inherited descriptor), slowed to the chosen frame
// rate and encoded as VP9 in real-time mode into Matroska written as it goes (`streamable`, and each block
// reaches the file at once rather than after 64 KB of them), so a killed
// capture leaves a playable file like on X11. `-e` turns SIGINT into an end of stream, on which the muxer
// completes the file.
//
// The portal's restore token is kept in `tokenFile` (written atomically) and given back at the next start,
// so that the user is asked once. A cancelled or refused dialog, a missing portal or a GStreamer that ends at
// once makes `start` throw `CaptureError` with the sentence; the audio goes on.
#pragma once

#include "AudioEngine/ScreenCaptureEngine.h"
#include "Platform/ScreenShare.h"
#include "Support/Scheduler.h"

#include <memory>
#include <vector>

namespace Platform {
class ChildProcess;
}

namespace AudioEngine {

class PortalScreenCapture final : public ScreenCaptureEngine {
public:
    struct Options {
        std::filesystem::path gstLaunch;
        double frameRate = 1.0;
        std::filesystem::path tokenFile;
        std::filesystem::path logFile;
        /// The session bus address; nothing: the user's.
        std::optional<std::string> busAddress;
        /// Asks the desktop for the screen (blocking); none: the screen cannot be shared here.
        Platform::ScreenShareOpener openShare;
        Support::Duration startCheck = Support::seconds(1);
        Support::Duration stopTimeout = Support::seconds(10);
    };

    /// gst-launch-1.0's arguments to encode PipeWire node `node` on socket `fd` into `file`.
    static std::vector<std::string> arguments(const Options& options, int fd, std::uint32_t node,
                                              const std::filesystem::path& file);

    PortalScreenCapture(Support::Scheduler& scheduler, Options options);
    ~PortalScreenCapture() override;

    std::string name() const override { return "screen-share portal"; }
    Support::Task<> start(std::filesystem::path file, Support::Date recordingStart) override;
    Support::Task<std::optional<CapturedVideo>> stop() override;
    bool isCapturing() const override { return running_.has_value(); }
    std::optional<CapturedVideo> runningVideo() const override {
        return running_ ? std::optional(CapturedVideo{running_->file, running_->offset}) : std::nullopt;
    }

private:
    struct Share;
    struct Running {
        std::filesystem::path file;
        Support::Duration offset{};
    };

    Support::Scheduler& scheduler_;
    Options options_;
    std::shared_ptr<Share> share_;
    std::unique_ptr<Platform::ChildProcess> gst_;
    std::optional<Running> running_;
    bool busy_ = false;
};

} // namespace AudioEngine
