// Which screen capture this desktop gets: under Wayland (WAYLAND_DISPLAY set) the screen-share portal with
// GStreamer's PipeWire source, since x11grab would only see the X programs' windows there; under X11
// (DISPLAY set) ffmpeg's x11grab; otherwise none. `makeFactory` gives the host the `makeScreen` function of
// `ScreenRecordingCapture`, looking the tools up on PATH once; the host hands it the way to ask the desktop
// for a screen share (without one, Wayland gets no screen capture).
#pragma once

#include "AudioEngine/ScreenCaptureEngine.h"
#include "Platform/ScreenShare.h"
#include "Support/Scheduler.h"

#include <functional>
#include <memory>

namespace AudioEngine {

struct DesktopScreenCapture {
    enum class Kind { none, x11, portal };

    static Kind choose(const std::string& display, const std::string& waylandDisplay, bool hasFfmpeg,
                       bool hasGstLaunch);

    struct Environment {
        std::string path;
        std::string display;
        std::string waylandDisplay;
        /// Where the capture tools' messages are appended.
        std::filesystem::path logFile;
        /// Where the portal's restore token is kept (so that the user picks the screen once).
        std::filesystem::path tokenFile;
    };
    /// The environment of this process (PATH, DISPLAY, WAYLAND_DISPLAY) with these files.
    static Environment current(std::filesystem::path logFile, std::filesystem::path tokenFile);

    static std::function<std::unique_ptr<ScreenCaptureEngine>(double frameRate)>
    makeFactory(Support::Scheduler& scheduler, const Environment& environment,
                Platform::ScreenShareOpener openShare);
    /// ffmpeg on the environment's PATH, for finalising videos; empty when missing.
    static std::filesystem::path ffmpeg(const Environment& environment);
};

} // namespace AudioEngine
