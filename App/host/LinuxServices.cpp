#include "App/host/LinuxServices.h"

#include "App/host/DemoWorkspace.h"
#include "App/host/TerminalNotificationCenter.h"
#include "App/host/TerminalStatusItem.h"
#include "AudioEngine/CommandCapture.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Platform/Linux/FreedesktopNotificationCenter.h"
#include "Platform/Linux/ICalendarStore.h"
#include "Platform/Linux/LinuxWorkspace.h"
#include "Platform/Linux/LogindActivityAssertion.h"
#include "Platform/Linux/LogindPowerEvents.h"
#include "Platform/Linux/PosixProcessRunner.h"
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "Platform/Linux/StatusNotifierItem.h"
#include "Platform/Linux/X11HotKeyService.h"
#include "Platform/ProcessSpawning.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <chrono>

namespace App {

namespace {
const Support::Logger log("host");
}

LinuxServices::LinuxServices(Support::MainLoop& loop, Support::Scheduler& scheduler,
                             const HostEnvironment& environment, Options options, Say say)
    : loop_(loop), scheduler_(scheduler), environment_(environment), options_(options), say_(std::move(say)) {
    // Capture.
    if (!options_.demo) {
        if (auto tool = AudioEngine::CommandCapture::find(environment_.searchPath)) {
            tool->logFile = Support::Files::cacheHome() / "capture.log";
            auto engine = std::make_unique<AudioEngine::CommandCapture>(scheduler_, *tool);
            commandCapture_ = engine.get();
            capture_ = std::move(engine);
        } else {
            say_("No pw-record or parecord: recordings are simulated (install pipewire-bin or "
                 "pulseaudio-utils to record the microphone).");
        }
    }
    if (!capture_) {
        capture_ = std::make_unique<AudioEngine::SimulatedCapture>(scheduler_);
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
    std::set<int> own;
    if (commandCapture_ && commandCapture_->processId()) {
        own.insert(*commandCapture_->processId());
    }
    return own;
}

std::unique_ptr<Platform::CalendarStore> LinuxServices::calendarStore(const Support::UserDefaults& defaults) {
    auto options = Platform::ICalendarStore::optionsFromDefaults(defaults, environment_.timeZoneID);
    options.scheduler = &scheduler_;
    return std::make_unique<Platform::ICalendarStore>(options);
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
