#include "AudioEngine/ScreenRecordingCapture.h"

#include "AudioEngine/CaptureJournal.h"
#include "AudioEngine/ScreenCapturePreferences.h"
#include "AudioEngine/ScreenVideoFinaliser.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"

namespace AudioEngine {

namespace {

const Support::Logger log("screen");

} // namespace

ScreenRecordingCapture::ScreenRecordingCapture(std::unique_ptr<CaptureEngine> audio,
                                               Dependencies dependencies)
    : audio_(std::move(audio)), deps_(std::move(dependencies)) {}

ScreenRecordingCapture::~ScreenRecordingCapture() = default;

std::string ScreenRecordingCapture::name() const {
    return audio_->name();
}

Support::Task<CaptureSession> ScreenRecordingCapture::start(std::filesystem::path folder) {
    auto session = co_await audio_->start(folder);
    if (!ScreenCapturePreferences::isEnabled(deps_.defaults)) {
        co_return session;
    }
    auto rate = ScreenCapturePreferences::frameRate(deps_.defaults);
    auto screen = deps_.makeScreen ? deps_.makeScreen(rate) : nullptr;
    if (!screen) {
        if (deps_.say) {
            deps_.say("The screen is not recorded: this desktop offers no way to capture it (an X display "
                      "with ffmpeg, or the screen-share portal with GStreamer).");
        }
        co_return session;
    }
    try {
        co_await screen->start(ScreenVideoFinaliser::videoFileFor(session.audioFile), session.startedAt);
        screen_ = std::move(screen);
    } catch (const CaptureError& e) {
        log.warning("Screen capture ({}) did not start: {}", screen->name(), e.what());
        if (deps_.say) {
            deps_.say(std::string(e.what()) + " The audio is being recorded.");
        }
    }
    if (auto video = screen_ ? screen_->runningVideo() : std::nullopt) {
        co_await noteVideo(folder, session.recordingId, *video);
    }
    co_return session;
}

Support::Task<> ScreenRecordingCapture::noteVideo(std::filesystem::path folder, std::string recordingId,
                                                  CapturedVideo video) {
    auto noting = Support::BlockingWork::run([folder, recordingId, video] {
        try {
            CaptureJournal::noteVideo(folder, recordingId, video.file, video.offset);
        } catch (const std::exception& e) {
            log.warning("The screen video could not be noted for a recovery: {}", e.what());
        }
    });
    co_await noting;
}

Support::Task<std::optional<CapturedVideo>> ScreenRecordingCapture::stopScreen() {
    if (!screen_) {
        co_return std::nullopt;
    }
    auto screen = std::move(screen_);
    std::optional<CapturedVideo> video;
    try {
        video = co_await screen->stop();
    } catch (const std::exception& e) {
        log.warning("Screen capture did not stop cleanly: {}", e.what());
    }
    if (video && !deps_.ffmpeg.empty()) {
        if (deps_.preparingVideo) {
            deps_.preparingVideo(true);
        }
        auto problem =
            co_await ScreenVideoFinaliser::finalise(deps_.ffmpeg, video->file, deps_.markAssembling);
        if (deps_.preparingVideo) {
            deps_.preparingVideo(false);
        }
        if (problem) {
            log.warning("The screen video is kept as captured: {}", *problem);
        }
    }
    co_return video;
}

Support::Task<std::optional<CapturedRecording>> ScreenRecordingCapture::stop() {
    std::optional<CapturedRecording> recording;
    std::exception_ptr audioFailure;
    try {
        recording = co_await audio_->stop();
    } catch (...) {
        audioFailure = std::current_exception();
    }
    // The screen capture ends even when the audio was lost.
    auto video = co_await stopScreen();
    if (audioFailure) {
        std::rethrow_exception(audioFailure);
    }
    if (recording && video) {
        recording->videoFile = video->file;
        recording->videoOffset = video->offset;
    }
    co_return recording;
}

} // namespace AudioEngine
