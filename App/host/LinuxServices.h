// The platform half of the host: the one place that names the Linux implementations and decides what
// stands in when a piece of the system is missing. Each fallback is said once, in one line, through `say`
// (the terminal), and the host carries on:
// - capture: the microphone and the call as two tracks through the sound server's client library
//   (PulseAudio, or PipeWire's pipewire-pulse); without a server that answers, PipeWire's or PulseAudio's
//   recording tool found on PATH (the microphone alone); else (and always in the demo) the simulated
//   capture;
// - screen video (when the user turned it on): the screen-share portal under Wayland, ffmpeg's x11grab
//   under X11, else none (said at the start of a recording, which goes on with audio alone);
// - call detection: `pactl` watching the microphone streams, else (and in the demo) none;
// - notifications: the desktop's notification server on the session bus, else (or with --terminal-only)
//   the terminal;
// - links: the desktop (xdg-open), or in the demo a workspace that only says what would open and pretends
//   the call starts two seconds later (`pretendCallStarted`);
// - wake from sleep and the activity lock: systemd-logind on the system bus; without a system bus (a
//   container, the demo in CI) clock changes are still noticed and nothing is said;
// - calendars: the desktop's (Evolution Data Server) beside calendar.sources, else (and in the demo) only
//   calendar.sources;
// - tray (StatusNotifierItem, session bus) and global hot keys (X11, $DISPLAY): attached on request.
// A new platform service (another capture engine, a transcriber) is chosen here, next to its fallback.
// Main loop only.
#pragma once

#include "App/host/HostEnvironment.h"
#include "AudioEngine/CaptureEngine.h"
#include "Platform/ActivityAssertion.h"
#include "Platform/CalendarStore.h"
#include "Platform/HotKeyService.h"
#include "Platform/HttpClient.h"
#include "Platform/MicrophoneMonitor.h"
#include "Platform/PowerEvents.h"
#include "Platform/ProcessRunner.h"
#include "Platform/UserNotificationCenter.h"
#include "Platform/Workspace.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/UserDefaults.h"

#include <functional>
#include <memory>
#include <set>
#include <string>

namespace AudioEngine {
class CommandCapture;
class PulseCapture;
} // namespace AudioEngine

namespace App {

class TerminalStatusItem;

class LinuxServices {
public:
    struct Options {
        bool demo = false;
        bool terminalOnly = false;
        /// The settings, read at each start for screen recording ("video.captureScreen"); null: audio only.
        Support::UserDefaults* defaults = nullptr;
        /// Told true while a screen video is being finalised, then false.
        std::function<void(bool)> preparingVideo = {};
    };
    using Say = std::function<void(const std::string&)>;

    LinuxServices(Support::MainLoop& loop, Support::Scheduler& scheduler, const HostEnvironment& environment,
                  Options options, Say say);
    ~LinuxServices();
    LinuxServices(const LinuxServices&) = delete;
    LinuxServices& operator=(const LinuxServices&) = delete;

    AudioEngine::CaptureEngine& capture() { return *capture_; }
    /// The two-track capture when it is the engine (its news is shown by `CaptureAlerts`), else null.
    AudioEngine::PulseCapture* twoTrackCapture() { return pulseCapture_; }
    /// The processes of our own recording tool now (the call detector never takes them for a call).
    std::set<int> captureProcessIds() const;
    /// Null when calls are not noticed (the demo, no pactl).
    Platform::MicrophoneMonitor* microphones() { return microphones_.get(); }
    Platform::UserNotificationCenter& notifications() { return *notifications_; }
    Platform::Workspace& workspace() { return *workspace_; }
    Platform::PowerEvents& power() { return *power_; }
    /// Null without a system bus.
    Platform::ActivityAssertion* activity() { return activity_.get(); }
    /// The host's one HTTP client (calendar subscriptions, transcription servers); lives as long as this.
    Platform::HttpClient& http() { return *http_; }
    /// The user's calendars: the desktop's (Evolution Data Server; said once when not available) beside
    /// those the settings in `defaults` name. Subscriptions are downloaded through `http()`.
    std::unique_ptr<Platform::CalendarStore> calendarStore(const Support::UserDefaults& defaults);

    /// Mirrors the menu to a tray icon when there is a desktop session.
    void attachTray(TerminalStatusItem& statusItem);
    /// The global hot-key service when a display can be reached, else null.
    std::unique_ptr<Platform::HotKeyService> hotKeys();

    /// The demo's pretend calls (bundle id, is a browser).
    Support::Signal<const std::string&, bool> pretendCallStarted;

private:
    Support::MainLoop& loop_;
    Support::Scheduler& scheduler_;
    HostEnvironment environment_;
    Options options_;
    Say say_;
    std::unique_ptr<Platform::HttpClient> http_;
    AudioEngine::CommandCapture* commandCapture_ = nullptr;
    AudioEngine::PulseCapture* pulseCapture_ = nullptr;
    std::unique_ptr<AudioEngine::CaptureEngine> capture_;
    std::unique_ptr<Platform::ProcessRunner> processRunner_;
    std::unique_ptr<Platform::MicrophoneMonitor> microphones_;
    std::unique_ptr<Platform::UserNotificationCenter> notifications_;
    std::unique_ptr<Platform::Workspace> workspace_;
    std::unique_ptr<Platform::PowerEvents> power_;
    std::unique_ptr<Platform::ActivityAssertion> activity_;
    Support::SubscriptionBag pretendCalls_;
};

} // namespace App
