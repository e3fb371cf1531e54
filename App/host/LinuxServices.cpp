#include "App/host/LinuxServices.h"

#include "App/host/DemoWorkspace.h"
#include "App/host/TerminalNotificationCenter.h"
#include "App/host/TerminalStatusItem.h"
#include "AudioEngine/CommandCapture.h"
#include "AudioEngine/DesktopScreenCapture.h"
#include "AudioEngine/PulseCapture.h"
#include "AudioEngine/ScreenRecordingCapture.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Database/VideoMuxActivity.h"
#include "Platform/CompositeCalendarStore.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Platform/Linux/DesktopCalendars.h"
#include "Platform/Linux/FreedesktopNotificationCenter.h"
#include "Platform/Linux/ICalendarStore.h"
#include "Platform/Linux/LinuxWorkspace.h"
#include "Platform/Linux/LogindActivityAssertion.h"
#include "Platform/Linux/LogindPowerEvents.h"
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "Platform/Linux/ScreenCastPortal.h"
#include "Platform/Linux/StatusNotifierItem.h"
#include "Platform/Linux/X11HotKeyService.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <chrono>
#include <unistd.h>

namespace App {

namespace {
const Support::Logger log("host");
}

LinuxServices::LinuxServices(Support::MainLoop& loop, Support::Scheduler& scheduler,
                             const HostEnvironment& environment, Options options, Say say)
    : loop_(loop), scheduler_(scheduler), environment_(environment), options_(options), say_(std::move(say)),
      http_(std::make_unique<Platform::CurlHttpClient>()) {
    // Capture: both sides of the call through the sound server's client library; without a server that
    // answers, PipeWire's or PulseAudio's recording tool (the microphone alone); else simulated. The check
    // connects and disconnects at once: no stream is open until a recording starts.
    if (!options_.demo) {
        auto why = AudioEngine::PulseCapture::whyUnavailable();
        if (why && why->ends_with('.')) {
            why->pop_back();
        }
        if (!why) {
            auto engine = std::make_unique<AudioEngine::PulseCapture>();
            pulseCapture_ = engine.get();
            capture_ = std::move(engine);
        } else if (auto tool = AudioEngine::CommandCapture::find(environment_.searchPath)) {
            tool->logFile = Support::Files::cacheHome() / "capture.log";
            auto engine = std::make_unique<AudioEngine::CommandCapture>(scheduler_, *tool);
            commandCapture_ = engine.get();
            say_("Recording your microphone alone, as one track, with " +
                 std::string(tool->tool == AudioEngine::CommandCapture::Tool::pwRecord ? "pw-record"
                                                                                       : "parecord") +
                 " (" + *why + ").");
            capture_ = std::move(engine);
        } else {
            say_("Recordings are simulated: " + *why +
                 "; install pipewire-pulse (or pulseaudio) to record calls.");
        }
    }
    if (!capture_) {
        capture_ = std::make_unique<AudioEngine::SimulatedCapture>(scheduler_);
    }
    if (!options_.demo && options_.defaults) {
        auto desktop = AudioEngine::DesktopScreenCapture::current(
            Support::Files::cacheHome() / "screen.log", Support::Files::dataHome() / "screen-share.token");
        capture_ = std::make_unique<AudioEngine::ScreenRecordingCapture>(
            std::move(capture_), AudioEngine::ScreenRecordingCapture::Dependencies{
                                     .defaults = *options_.defaults,
                                     .makeScreen = AudioEngine::DesktopScreenCapture::makeFactory(
                                         scheduler_, desktop, &Platform::Linux::ScreenCastPortal::open),
                                     .ffmpeg = AudioEngine::DesktopScreenCapture::ffmpeg(desktop),
                                     .markAssembling =
                                         [](const std::filesystem::path& video) {
                                             return Database::VideoMuxActivity::shared().begin(video);
                                         },
                                     .say = say_,
                                     .preparingVideo = options_.preparingVideo});
    }

    // Notifications.
    if (!options_.terminalOnly && environment_.sessionBusAddress) {
        try {
            notifications_ = std::make_unique<Platform::Linux::FreedesktopNotificationCenter>(loop_);
        } catch (const std::exception& e) {
            say_(std::string("No desktop notifications (") + e.what() + "): reminders appear here.");
        }
    }
    if (!notifications_) {
        notifications_ = std::make_unique<TerminalNotificationCenter>(say_);
    }

    // Links.
    if (options_.demo) {
        // The demo's links are made up: say what would open, and pretend the call starts a moment later.
        workspace_ = std::make_unique<DemoWorkspace>([this](const std::string& text) {
            say_(text);
            say_("(demo) The call starts in your browser…");
            pretendCalls_ += scheduler_.after(std::chrono::seconds(2),
                                              [this] { pretendCallStarted.emit("com.google.chrome", true); });
        });
    } else {
        workspace_ = std::make_unique<Platform::LinuxWorkspace>();
    }

    // Sleep, wake and clock changes; the activity lock.
    if (environment_.hasSystemBus) {
        power_ = std::make_unique<Platform::Linux::LogindPowerEvents>(loop_);
        activity_ = std::make_unique<Platform::Linux::LogindActivityAssertion>(loop_);
    } else {
        log.notice("No system bus: waking from sleep is noticed by the clock only, and reminders cannot keep "
                   "the computer awake.");
        power_ = std::make_unique<Platform::Linux::LogindPowerEvents>(
            loop_, Platform::Linux::LogindPowerEvents::noBus);
    }

    // Calls.
    if (!options_.demo) {
        if (auto pactl = Platform::findExecutable("pactl", environment_.searchPath)) {
            processRunner_ = std::make_unique<Platform::PosixProcessRunner>();
            microphones_ = std::make_unique<Platform::PulseMicrophoneMonitor>(*pactl, *processRunner_);
        } else {
            say_("No pactl: calls are not noticed, record with [r] (install pulseaudio-utils).");
        }
    }
}

LinuxServices::~LinuxServices() = default;

std::set<int> LinuxServices::captureProcessIds() const {
    // Our own streams, in this process (the two-track capture) or in the recording tool's.
    std::set<int> own{int(::getpid())};
    if (commandCapture_ && commandCapture_->processId()) {
        own.insert(*commandCapture_->processId());
    }
    return own;
}

std::unique_ptr<Platform::CalendarStore> LinuxServices::calendarStore(const Support::UserDefaults& defaults) {
    auto options = Platform::ICalendarStore::optionsFromDefaults(defaults, environment_.timeZoneID);
    options.scheduler = &scheduler_;
    options.http = http_.get();
    auto files = std::make_unique<Platform::ICalendarStore>(options);
    // The desktop's calendars (Evolution Data Server: GNOME's online accounts, CalDAV, local) beside
    // calendar.sources, unless turned off; never in the demo, whose calendar is made up, nor without a
    // session bus, which EDS needs (nothing to explain then: there is no desktop).
    if (options_.demo || !environment_.sessionBusAddress ||
        !defaults.boolean(Platform::EdsCalendarStore::enabledKey).value_or(true)) {
        return files;
    }
    Platform::EdsCalendarStore::Options desktopOptions;
    desktopOptions.userEmails = options.userEmails;
    desktopOptions.timeZoneID = environment_.timeZoneID;
    desktopOptions.connectTimeoutSeconds = 5;
    auto opened = Platform::DesktopCalendars::open(desktopOptions);
    if (!opened.store) {
        say_(opened.problem);
        return files;
    }
    std::vector<std::unique_ptr<Platform::CalendarStore>> stores;
    stores.push_back(std::move(opened.store));
    stores.push_back(std::move(files));
    return Platform::CompositeCalendarStore::owning(std::move(stores));
}

void LinuxServices::attachTray(TerminalStatusItem& statusItem) {
    if (options_.terminalOnly || !environment_.sessionBusAddress) {
        return; // no desktop session: the terminal is the whole interface, nothing to explain
    }
    try {
        statusItem.mirrorTo(std::make_unique<Platform::StatusNotifierItem>());
    } catch (const std::exception& e) {
        say_(std::string("No tray icon (") + e.what() + "): the menu is here, press m.");
    }
}

std::unique_ptr<Platform::HotKeyService> LinuxServices::hotKeys() {
    if (options_.terminalOnly || !environment_.x11Display) {
        return nullptr;
    }
    auto service = std::make_unique<Platform::X11HotKeyService>();
    if (!service->isConnected()) {
        say_("No global hot keys: the display " + *environment_.x11Display + " cannot be reached.");
        return nullptr;
    }
    return service;
}

} // namespace App
