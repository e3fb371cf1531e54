// The capture session of a recording with the shared screen: wraps the audio engine and, when the user
// turned screen recording on ("video.captureScreen"), starts a screen capture right after the audio and stops
// it right after the audio, then finalises the video off the main loop (marked as being assembled while it
// is rewritten) and gives it with the audio as the recording's `videoFile` and `videoOffset`. Once the
// screen capture runs, its file and offset are added to the note the audio engine keeps for the crash
// recovery (`CaptureJournal`), when it keeps one.
//
// Created by the host around whichever audio engine it chose. The screen engine is made afresh at each start
// by `makeScreen`, with the frame rate of the settings; it gives nothing when this desktop cannot be
// captured. Edge cases: a screen capture that cannot start (no display, ffmpeg missing, the screen-share
// dialog refused or closed) is said once through `say` and the audio recording goes on without video; an
// audio start that fails starts no screen capture; a video that ends empty is dropped; a video that cannot be
// finalised is kept as the capture wrote it (it plays, without an index).
#pragma once

#include "AudioEngine/CaptureEngine.h"
#include "AudioEngine/ScreenCaptureEngine.h"
#include "Support/Signal.h"
#include "Support/UserDefaults.h"

#include <functional>
#include <memory>

namespace AudioEngine {

class ScreenRecordingCapture final : public CaptureEngine {
public:
    struct Dependencies {
        Support::UserDefaults& defaults;
        /// A screen engine for this desktop at the given frame rate; null when none can run here.
        std::function<std::unique_ptr<ScreenCaptureEngine>(double frameRate)> makeScreen;
        /// ffmpeg, to finalise the video; empty: the video is kept as captured.
        std::filesystem::path ffmpeg;
        /// Marks a video as being assembled while it is finalised (so that the video expiry leaves it).
        std::function<Support::Subscription(const std::filesystem::path&)> markAssembling;
        /// One sentence for the user.
        std::function<void(const std::string&)> say;
        /// Told true while a video is being finalised, then false (the menu's "Preparing video").
        std::function<void(bool)> preparingVideo;
    };

    ScreenRecordingCapture(std::unique_ptr<CaptureEngine> audio, Dependencies dependencies);
    ~ScreenRecordingCapture() override;

    std::string name() const override;
    Support::Task<CaptureSession> start(std::filesystem::path folder) override;
    Support::Task<std::optional<CapturedRecording>> stop() override;
    bool isCapturing() const override { return audio_->isCapturing(); }

    CaptureEngine& audio() { return *audio_; }
    /// The screen capture of the running recording, if any.
    ScreenCaptureEngine* screen() { return screen_.get(); }

private:
    Support::Task<std::optional<CapturedVideo>> stopScreen();
    /// Adds the running video to the recording's note, so that a crash recovers it in step with the audio.
    Support::Task<> noteVideo(std::filesystem::path folder, std::string recordingId, CapturedVideo video);

    std::unique_ptr<CaptureEngine> audio_;
    Dependencies deps_;
    std::unique_ptr<ScreenCaptureEngine> screen_;
};

} // namespace AudioEngine
