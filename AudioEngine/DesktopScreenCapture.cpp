#include "AudioEngine/DesktopScreenCapture.h"

#include "AudioEngine/FfmpegScreenCapture.h"
#include "AudioEngine/PortalScreenCapture.h"
#include "Platform/ProcessSpawning.h"

#include <cstdlib>

namespace AudioEngine {

namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

DesktopScreenCapture::Kind DesktopScreenCapture::choose(const std::string& display,
                                                        const std::string& waylandDisplay, bool hasFfmpeg,
                                                        bool hasGstLaunch) {
    if (!waylandDisplay.empty()) {
        return hasGstLaunch ? Kind::portal : Kind::none;
    }
    if (!display.empty() && hasFfmpeg) {
        return Kind::x11;
    }
    return Kind::none;
}

DesktopScreenCapture::Environment DesktopScreenCapture::current(std::filesystem::path logFile,
                                                                std::filesystem::path tokenFile) {
    return {variable("PATH"), variable("DISPLAY"), variable("WAYLAND_DISPLAY"), std::move(logFile),
            std::move(tokenFile)};
}

std::filesystem::path DesktopScreenCapture::ffmpeg(const Environment& environment) {
    return Platform::findExecutable("ffmpeg", environment.path).value_or(std::filesystem::path());
}

std::function<std::unique_ptr<ScreenCaptureEngine>(double)>
DesktopScreenCapture::makeFactory(Support::Scheduler& scheduler, const Environment& environment,
                                  Platform::ScreenShareOpener openShare) {
    auto ffmpegPath = ffmpeg(environment);
    auto gstLaunch = Platform::findExecutable("gst-launch-1.0", environment.path);
    auto kind = choose(environment.display, environment.waylandDisplay, !ffmpegPath.empty(),
                       gstLaunch.has_value() && openShare);
    return [&scheduler, environment, ffmpegPath, gstLaunch, openShare,
            kind](double frameRate) -> std::unique_ptr<ScreenCaptureEngine> {
        switch (kind) {
        case Kind::x11: {
            FfmpegScreenCapture::Options options;
            options.executable = ffmpegPath;
            options.display = environment.display;
            options.frameRate = frameRate;
            options.logFile = environment.logFile;
            return std::make_unique<FfmpegScreenCapture>(scheduler, options);
        }
        case Kind::portal: {
            PortalScreenCapture::Options options;
            options.gstLaunch = gstLaunch.value_or(std::filesystem::path());
            options.frameRate = frameRate;
            options.tokenFile = environment.tokenFile;
            options.logFile = environment.logFile;
            options.openShare = openShare;
            return std::make_unique<PortalScreenCapture>(scheduler, options);
        }
        case Kind::none:
            return nullptr;
        }
        return nullptr;
    };
}

} // namespace AudioEngine
