#include "App/host/Host.h"

#include "App/host/BackgroundServices.h"
#include "App/host/CallRecorder.h"
#include "App/host/DemoData.h"
#include "App/host/DemoWorkspace.h"
#include "App/host/DesktopShell.h"
#include "App/host/HotKeyText.h"
#include "App/host/InstanceLock.h"
#include "App/host/RecordingController.h"
#include "App/host/SignalWatcher.h"
#include "App/host/TerminalNotificationCenter.h"
#include "App/host/TerminalPresenter.h"
#include "App/host/TerminalStatusItem.h"
#include "AudioEngine/CommandCapture.h"
#include "AudioEngine/DesktopScreenCapture.h"
#include "AudioEngine/ScreenRecordingCapture.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Platform/Linux/FreedesktopNotificationCenter.h"
#include "Platform/Linux/ICalendarStore.h"
#include "Platform/Linux/LinuxWorkspace.h"
#include "Platform/Linux/LogindActivityAssertion.h"
#include "Platform/Linux/LogindPowerEvents.h"
#include "Platform/Linux/PosixProcessRunner.h"
#include "Platform/Linux/ProcessSpawning.h"
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/NotificationCenter.h"
#include "UI/calendar/CalendarReminderCoordinator.h"
#include "UI/calendar/MeetingReminderResponseRouter.h"
#include "UI/recording/CallDetector.h"
#include "UI/recording/MenuBarController.h"
#include "UI/recording/MenuTextRenderer.h"
#include "UI/recording/ProcessingNotifications.h"
#include "UI/recording/RecordingControlPresentation.h"
#include "UI/recording/RecordingNotifications.h"
#include "UI/recording/SystemUserNotificationClient.h"

#include <fmt/format.h>

#include <cstdlib>
#include <ctime>
#include <malloc.h>
#include <ostream>
#include <unistd.h>

namespace App {

namespace {

const Support::Logger log("host");

std::string localClock(Support::Date date) {
    std::time_t t = static_cast<std::time_t>(Support::unixSeconds(date));
    std::tm tm{};
    localtime_r(&t, &tm);
    char buf[64];
    std::strftime(buf, sizeof buf, "%a %d %b %H:%M", &tm);
    return buf;
}

/// The menu's actions, carried out by the host.
class HostMenuDelegate final : public UI::MenuBarControllerDelegate {
public:
    std::function<void()> onStart, onStop, onLibrary, onQuit, onCheckForUpdates;
    std::function<void(const UI::CalendarMeeting&, bool)> onJoin;
    std::function<void(const std::string&)> say;

    void startRecording() override { onStart(); }
    void stopRecording() override { onStop(); }
    void insertMarker() override { say("Markers are not available in the terminal."); }
    void openLibrary() override { onLibrary(); }
    void openActionItems() override { onLibrary(); }
    void toggleAIChat() override { say("Chat: run `vellmora chat QUESTION` in another terminal."); }
    void joinMeeting(const UI::CalendarMeeting& meeting, bool record) override { onJoin(meeting, record); }
    void checkForUpdates() override { onCheckForUpdates(); }
    void restartToFinishUpdating() override {}
    void showWhatsNew() override {}
    void quit() override { onQuit(); }
};

} // namespace

Host::Host(HostOptions options) : options_(options) {}

std::filesystem::path Host::prepareDemoFolder() {
    auto base = Support::Files::runtimeFolder() / "vellmora-demo";
    std::error_code ec;
    std::filesystem::remove_all(base, ec);
    for (auto [env, sub] :
         {std::pair{"VELLMORA_CONFIG_HOME", "config"}, std::pair{"VELLMORA_DATA_HOME", "data"},
          std::pair{"VELLMORA_CACHE_HOME", "cache"}, std::pair{"VELLMORA_STATE_HOME", "state"}}) {
        auto dir = base / sub;
        std::filesystem::create_directories(dir);
        ::setenv(env, dir.c_str(), 1);
    }
    return base;
}

std::string Host::localTimeZoneID() {
    if (const char* tz = std::getenv("TZ"); tz && *tz) {
        std::string id = tz[0] == ':' ? tz + 1 : tz;
        auto pos = id.find("zoneinfo/");
        return pos == std::string::npos ? id : id.substr(pos + 9);
    }
    std::error_code ec;
    auto target = std::filesystem::read_symlink("/etc/localtime", ec).string();
    if (auto pos = target.find("zoneinfo/"); !ec && pos != std::string::npos) {
        return target.substr(pos + 9);
    }
    return "UTC";
}

std::string Host::localeID() {
    for (const char* var : {"LC_ALL", "LC_TIME", "LANG"}) {
        if (const char* v = std::getenv(var);
            v && *v && std::string_view(v) != "C" && std::string_view(v) != "POSIX") {
            std::string id = v;
            return id.substr(0, id.find_first_of(".@"));
        }
    }
    return "en_US";
}

int Host::run(std::ostream& out, std::ostream& err) {
    // Before any thread exists, so that none of them can take a quit signal and die with it.
    SignalWatcher::blockQuitSignals();
    auto lock = InstanceLock::acquire(options_.demo ? "vellmora-demo" : "vellmora");
    if (!lock) {
        err << "vellmora: Vellmora is already running for this user; quit it first (or use that one).\n";
        return 1;
    }
    std::filesystem::path demoFolder;
    if (options_.demo) {
        demoFolder = prepareDemoFolder();
        out << "Vellmora demo: data in " << demoFolder.string() << " (your own folders are not touched)\n";
    }

    Support::MainLoop loop;
    Support::RealScheduler scheduler(loop);
    auto& center = Support::NotificationCenter::defaultCenter();
    Support::JsonFileUserDefaults defaults(Support::JsonFileUserDefaults::defaultPath());
    const auto timeZone = localTimeZoneID();
    const auto locale = localeID();
    if (options_.demo) {
        std::optional<Support::Duration> meetingIn;
        if (options_.demoMeetingInSeconds) {
            meetingIn = Support::seconds(*options_.demoMeetingInSeconds);
        }
        DemoData::installCalendar(demoFolder, scheduler.now(), defaults, meetingIn);
    }

    // The library. A library that cannot be opened (newer version, damaged) is reported and left alone;
    // recordings are still kept as files.
    std::unique_ptr<Database::SqliteDatabase> database;
    std::vector<std::string> notices;
    try {
        database = std::make_unique<Database::SqliteDatabase>(Database::SqliteDatabase::defaultPath());
        if (options_.demo) {
            DemoData::installLibrary(*database, scheduler.now());
        }
    } catch (const std::exception& e) {
        notices.push_back(std::string("The library cannot be opened: ") + e.what() +
                          " New recordings are kept as files only.");
    }

    auto& state = UI::RecordingState::shared();
    UI::RecordingRequestGate gate;
    // Capture: PipeWire's or PulseAudio's recording tool when there is one (never in the demo), else
    // simulated.
    const std::string searchPath = std::getenv("PATH") ? std::getenv("PATH") : "";
    std::unique_ptr<AudioEngine::CaptureEngine> captureEngine;
    AudioEngine::CommandCapture* commandCapture = nullptr;
    if (!options_.demo) {
        if (auto tool = AudioEngine::CommandCapture::find(searchPath)) {
            tool->logFile = Support::Files::cacheHome() / "capture.log";
            auto engine = std::make_unique<AudioEngine::CommandCapture>(scheduler, *tool);
            commandCapture = engine.get();
            captureEngine = std::move(engine);
        } else {
            notices.push_back("No pw-record or parecord: recordings are simulated (install pipewire-bin or "
                              "pulseaudio-utils to record the microphone).");
        }
    }
    if (!captureEngine) {
        captureEngine = std::make_unique<AudioEngine::SimulatedCapture>(scheduler);
    }
    // The shared screen is recorded beside the audio when the user turned it on ("video.captureScreen").
    std::function<void(const std::string&)> screenNotice;
    if (!options_.demo) {
        auto desktop = AudioEngine::DesktopScreenCapture::current(
            Support::Files::cacheHome() / "screen.log", Support::Files::dataHome() / "screen-share.token");
        captureEngine = std::make_unique<AudioEngine::ScreenRecordingCapture>(
            std::move(captureEngine),
            AudioEngine::ScreenRecordingCapture::Dependencies{
                .defaults = defaults,
                .makeScreen = AudioEngine::DesktopScreenCapture::makeFactory(scheduler, desktop),
                .ffmpeg = AudioEngine::DesktopScreenCapture::ffmpeg(desktop),
                .say = [&screenNotice](const std::string& text) { screenNotice(text); },
                .preparingVideo =
                    [&center](bool preparing) {
                        // Before the recording has an id: the menu only needs the kind of work.
                        if (preparing) {
                            UI::ProcessingNotifications::postProcessingStarted(center, 0, "video", false);
                        } else {
                            UI::ProcessingNotifications::postProcessingCompleted(center, 0, "video");
                        }
                    }});
    }
    auto& capture = *captureEngine;
    RecordingController controller(state, gate, capture, scheduler,
                                   Support::Files::dataHome() / "Recordings");

    // The terminal comes first: everything else may print through it.
    bool quitting = false;
    std::optional<Support::Task<>> quitTask;
    std::function<void()> quit;
    std::function<void()> showMenu, joinNext, showLibrary;
    TerminalPresenter presenter(
        loop, scheduler, state, out, options_.inputFd,
        {.toggleRecording =
             [&] {
                 if (!quitting) {
                     center.post(
                         UI::RecordingControlPresentation::forToolbar(state.phase()).targetNotification);
                 }
             },
         .quit = [&] { quit(); },
         .showMenu = [&] { showMenu(); },
         .joinNext = [&] { joinNext(); },
         .showLibrary = [&] { showLibrary(); }},
        timeZone, locale);
    auto say = [&presenter](const std::string& text) { presenter.message(text); };
    screenNotice = say;
    for (const auto& n : notices) {
        say(n);
    }

    // Notifications: the desktop's server when there is a session bus with one, else the terminal.
    std::unique_ptr<Platform::UserNotificationCenter> notificationCenter;
    if (!options_.terminalOnly && std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
        try {
            notificationCenter = std::make_unique<Platform::Linux::FreedesktopNotificationCenter>(loop);
        } catch (const std::exception& e) {
            say(std::string("No desktop notifications (") + e.what() + "): reminders appear here.");
        }
    }
    if (!notificationCenter) {
        notificationCenter = std::make_unique<TerminalNotificationCenter>(say);
    }
    UI::SystemUserNotificationClient notificationClient(*notificationCenter);
    UI::MeetingReminderNotifier notifier(notificationClient);

    // Calendar and reminders.
    auto calendarOptions = Platform::ICalendarStore::optionsFromDefaults(defaults, timeZone);
    calendarOptions.scheduler = &scheduler;
    Platform::ICalendarStore calendarStore(calendarOptions);
    UI::CalendarSource calendar(calendarStore);
    std::unique_ptr<Platform::Workspace> workspace;
    Support::Signal<const std::string&, bool> callStarted; // app bundle id, is a browser
    if (options_.demo) {
        // The demo's links are made up: say what would open, and pretend the call starts a moment later.
        workspace = std::make_unique<DemoWorkspace>([&](const std::string& text) {
            say(text);
            say("(demo) The call starts in your browser…");
            auto pending = std::make_shared<Support::Subscription>();
            *pending = scheduler.after(std::chrono::seconds(2), [&callStarted, pending] {
                callStarted.emit("com.google.chrome", true);
                pending->reset();
            });
        });
    } else {
        workspace = std::make_unique<Platform::LinuxWorkspace>();
    }
    UI::JoinIntentStore intents;
    // Wakes and clock changes replan at once; an imminent reminder keeps the computer from idle-sleeping.
    Platform::Linux::LogindPowerEvents power(loop);
    Platform::Linux::LogindActivityAssertion activity(loop);
    auto& router = UI::MeetingReminderResponseRouter::shared();
    UI::CalendarReminderCoordinator reminders({.calendar = calendar,
                                               .notifier = notifier,
                                               .scheduler = scheduler,
                                               .defaults = defaults,
                                               .presenter = presenter,
                                               .workspace = *workspace,
                                               .intents = intents,
                                               .activity = &activity,
                                               .power = &power,
                                               .router = &router,
                                               .timeZoneID = timeZone,
                                               .locale = locale});

    // Calls (the detector's, or the demo's) and "record now" answers become recordings as the user asked.
    CallRecorder calls({.state = state,
                        .controller = controller,
                        .intents = intents,
                        .defaults = defaults,
                        .scheduler = scheduler,
                        .upcoming = [&] { return reminders.upcoming.get(); },
                        .didStartRecording =
                            [&](const std::string& bundleID, bool isBrowser) {
                                reminders.detectorDidStartRecording(bundleID, bundleID, isBrowser);
                            },
                        .say = say});
    reminders.configure(
        [&] {
            return UI::CalendarReminderCoordinator::CallActivity{calls.isRecording(), calls.isHandlingCall()};
        },
        [&](const UI::JoinIntent& intent) { calls.recordNow(intent); },
        [&] { return intents.microphoneHolders(); });
    Support::SubscriptionBag subscriptions;
    subscriptions += callStarted.connect(
        [&](const std::string& bundleID, bool isBrowser) { calls.callStarted(bundleID, isBrowser); });
    // The call detector (not in the demo, whose calls are pretend): meeting apps and browsers taking the
    // microphone start calls; when the last one lets go, a recording the detector started ends.
    Platform::PosixProcessRunner processRunner;
    std::unique_ptr<Platform::PulseMicrophoneMonitor> microphones;
    UI::CallDetector detector;
    std::optional<Support::Task<>> monitorStart;
    if (!options_.demo) {
        if (auto pactl = Platform::findExecutable("pactl", searchPath)) {
            microphones = std::make_unique<Platform::PulseMicrophoneMonitor>(*pactl, processRunner);
            subscriptions += microphones->clientsChanged.connect(
                [&](const std::vector<Platform::MicrophoneClient>& clients) {
                    std::set<int> own;
                    if (commandCapture && commandCapture->processId()) {
                        own.insert(*commandCapture->processId());
                    }
                    auto changes = detector.update(clients, own);
                    intents.microphoneHoldersChanged(changes.microphoneHolders);
                    for (const auto& call : changes.started) {
                        callStarted.emit(call.bundleID, call.isBrowser);
                    }
                    if (!changes.ended.empty()) {
                        calls.callsEnded(detector.calls().empty());
                    }
                });
            subscriptions += microphones->ended.connect([&](const std::string& why) { say(why); });
            monitorStart = Support::startTask([&]() -> Support::Task<> {
                if (auto why = co_await microphones->start()) {
                    say(*why);
                }
            });
        } else {
            say("No pactl: calls are not noticed, record with [r] (install pulseaudio-utils).");
        }
    }
    notificationClient.setRouteHandler([&](const UI::NotificationClickRoute& route) {
        if (route.kind == UI::NotificationClickRoute::Kind::meetingReminder && route.response) {
            router.route(*route.response);
        }
    });

    // The menu: the tray's model, printed in the terminal on request.
    TerminalStatusItem statusItem;
    UI::MenuBarController menu({.statusItem = statusItem,
                                .scheduler = scheduler,
                                .center = center,
                                .defaults = defaults,
                                .timeZoneID = timeZone,
                                .localeID = locale,
                                .footerText = std::string("Vellmora ") + VELLMORA_VERSION});
    if (!options_.terminalOnly) {
        DesktopShell::attachTray(statusItem, say);
    }
    DesktopShell desktop(
        options_.terminalOnly ? nullptr : DesktopShell::connectHotKeys(say), defaults, center,
        {.notes = [&] { say(HotKeyText::notes(calls.meeting(), reminders.upcoming.get(), scheduler.now())); },
         .liveRecap = [&] { say(HotKeyText::recap(state.phase(), calls.meeting(), scheduler.now())); }},
        say);
    BackgroundServices services({.scheduler = scheduler,
                                 .defaults = defaults,
                                 .center = center,
                                 .database = database.get(),
                                 .power = &power,
                                 .checksForUpdates = !options_.demo,
                                 .installedVersion = VELLMORA_VERSION,
                                 .say = say});
    services.attachMenu(menu);
    auto delegate = std::make_shared<HostMenuDelegate>();
    menu.setDelegate(delegate);
    menu.setupMenuBar();
    menu.setRecordingAvailability(UI::MenuBarController::RecordingAvailability::ready());
    menu.setPhase(state.phase());
    subscriptions +=
        state.phasePublisher().observe([&](const UI::RecordingPhase& phase) { menu.setPhase(phase); });
    subscriptions += reminders.upcoming.observe(
        [&](const std::vector<UI::CalendarMeeting>& meetings) { menu.setUpcomingMeetings(meetings); });

    auto join = [&](const UI::CalendarMeeting& meeting, bool record) {
        UI::MeetingReminderResponse response;
        response.action = record ? UI::MeetingReminderResponse::Action::joinAndRecord
                                 : UI::MeetingReminderResponse::Action::join;
        response.occurrenceKey = meeting.occurrenceKey;
        (void)reminders.handle(response);
    };
    delegate->onStart = [&] { controller.requestStart(); };
    delegate->onStop = [&] { controller.requestStop(); };
    delegate->onQuit = [&] { quit(); };
    delegate->onJoin = join;
    delegate->say = say;
    showMenu = [&] {
        menu.menuWillOpen();
        say(UI::MenuTextRenderer::render(statusItem.menu()));
        menu.menuDidClose();
    };
    joinNext = [&] {
        auto now = scheduler.now();
        for (const auto& m : reminders.upcoming.get()) {
            if (m.end > now) {
                say("Joining " + m.displayTitle() + " and recording it…");
                join(m, true);
                return;
            }
        }
        say("No meeting coming up.");
    };
    showLibrary = [&] {
        if (!database) {
            say("The library is not available.");
            return;
        }
        std::string text = "Library:";
        for (const auto& r : database->allRecordings()) {
            text += fmt::format("\n  #{}  {}  {}  ({:.0f} min)", r.id, localClock(r.startDate), r.title,
                                r.duration / 60);
        }
        say(text);
    };
    delegate->onLibrary = showLibrary;
    delegate->onCheckForUpdates = [&] { services.checkForUpdatesNow(); };

    // Recording control from anywhere (the terminal's key, the menu) comes through the notification centre.
    subscriptions += center.observe(UI::RecordingNotifications::startRecordingRequested,
                                    [&](const Support::Notification&) { controller.requestStart(); });
    subscriptions += center.observe(UI::RecordingNotifications::stopRecordingRequested,
                                    [&](const Support::Notification&) { controller.requestStop(); });
    subscriptions += controller.recordingSaved.connect([&](const AudioEngine::CapturedRecording& r) {
        auto meeting = std::exchange(calls.meeting(), std::nullopt);
        std::string title = meeting ? meeting->displayTitle() : "Recording " + localClock(r.startedAt);
        if (!database) {
            say(fmt::format("Saved a {:.0f}-second recording: {}", r.durationSeconds, r.audioFile.string()));
            return;
        }
        Database::DatabaseManager::Recording record;
        record.title = title;
        record.startDate = r.startedAt;
        record.duration = r.durationSeconds;
        record.fileURL = r.audioFile;
        record.videoFileURL = r.videoFile;
        if (r.videoFile && r.videoOffset) {
            record.videoOffset = Support::toSeconds(*r.videoOffset);
        }
        if (meeting) {
            record.calendarEventTitle = meeting->title;
            record.calendarEventNotes = meeting->notesExcerpt;
            record.meetingPlatform = std::string(UI::rawValue(meeting->link.service));
            for (const auto& attendee : meeting->attendees) {
                if (attendee.name && !attendee.name->empty()) {
                    record.participants.push_back(*attendee.name);
                }
            }
        }
        try {
            auto id = database->insertRecording(record);
            say(fmt::format("Saved “{}” ({:.0f} s) to the library as #{}", title, r.durationSeconds, id));
            services.recordingAdded(id, r.videoFile.has_value());
        } catch (const std::exception& e) {
            say(fmt::format("The recording was kept at {} but could not be added to the library: {}",
                            r.audioFile.string(), e.what()));
        }
    });
    subscriptions += controller.startFailed.connect(
        [&](const std::string& why) { say("Could not start recording: " + why); });

    quit = [&] {
        if (quitting) {
            return;
        }
        quitting = true;
        quitTask = Support::startTask([&]() -> Support::Task<> {
            co_await controller.stopAndDrain();
            if (microphones) {
                microphones->stop();
            }
            services.stop();
            reminders.stop();
            loop.stop();
        });
    };
    SignalWatcher signals(loop, [&](int) { quit(); });

    // A pass that read large calendars leaves freed memory in the worker threads' heaps; give it back, so
    // the idle host stays small.
    subscriptions += reminders.didPlan.connect([] { ::malloc_trim(0); });
    if (options_.quitWhenReady) {
        subscriptions += reminders.didPlan.connect([&] { quit(); });
    }
    reminders.start();
    menu.setReminderCoordinatorRunning(true);
    log.info("Host started (capture: {}, time zone {}, locale {})", capture.name(), timeZone, locale);
    loop.run();
    log.info("Host stopped");
    return 0;
}

} // namespace App
