#include "App/host/Host.h"

#include "App/host/BackgroundServices.h"
#include "App/host/CallMonitor.h"
#include "App/host/CallRecorder.h"
#include "App/host/CaptureAlerts.h"
#include "App/host/DemoData.h"
#include "App/host/HostEnvironment.h"
#include "App/host/HostMenu.h"
#include "App/host/HostReminders.h"
#include "App/host/HostShutdown.h"
#include "App/host/InstanceLock.h"
#include "App/host/LinuxServices.h"
#include "App/host/RecordingArchiver.h"
#include "App/host/RecordingController.h"
#include "App/host/SignalWatcher.h"
#include "App/host/TerminalPresenter.h"
#include "App/host/TranscriptionService.h"
#include "App/host/WindowsShell.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/AIService.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/NotificationCenter.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/recording/ProcessingNotifications.h"

#include <cstdlib>
#include <malloc.h>
#include <optional>
#include <ostream>

namespace App {

namespace {

const Support::Logger log("host");

/// The library. One that cannot be opened (newer version, damaged) is reported and left alone; recordings
/// are then kept as files.
std::unique_ptr<Database::SqliteDatabase> openLibrary(bool demo, Support::Date now,
                                                      const std::function<void(const std::string&)>& say) {
    try {
        auto database = std::make_unique<Database::SqliteDatabase>(Database::SqliteDatabase::defaultPath());
        if (demo) {
            DemoData::installLibrary(*database, now);
        }
        return database;
    } catch (const std::exception& e) {
        say(std::string("The library cannot be opened: ") + e.what() +
            " New recordings are kept as files only.");
        return nullptr;
    }
}

/// What a long-running host sets before any thread exists: quit signals blocked, so that no other thread can
/// take one and die with it; and one heap for every thread: the library's rows are read on the blocking pool
/// and freed on the main thread, and per-thread heaps kept that memory after a closed window was let go
/// (desktop_library_bench: +11 MB for each open and close of a 10,000-recording library; with one heap it
/// returns each time).
void prepareProcess() {
    SignalWatcher::blockQuitSignals();
    ::mallopt(M_ARENA_MAX, 1);
}

/// The menu's "Preparing video" while a screen video is finished, before the recording has an id (the
/// menu only needs the kind of work).
std::function<void(bool)> videoPreparation(Support::NotificationCenter& center) {
    return [&center](bool preparing) {
        if (preparing) {
            UI::ProcessingNotifications::postProcessingStarted(center, 0, "video", false);
        } else {
            UI::ProcessingNotifications::postProcessingCompleted(center, 0, "video");
        }
    };
}

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

int Host::run(std::ostream& out, std::ostream& err) {
    prepareProcess();
    auto lock = InstanceLock::acquire(options_.demo ? "vellmora-demo" : "vellmora");
    if (!lock) {
        err << "vellmora: Vellmora is already running for this user; quit it first (or use that one).\n";
        return 1;
    }
    const auto env = HostEnvironment::read();
    std::filesystem::path demoFolder;
    if (options_.demo) {
        demoFolder = prepareDemoFolder();
        out << "Vellmora demo: data in " << demoFolder.string() << " (your own folders are not touched)\n";
    }

    // The loop, the clock, the settings (the demo's calendar first).
    Support::MainLoop loop;
    Support::RealScheduler scheduler(loop);
    auto& center = Support::NotificationCenter::defaultCenter();
    Support::JsonFileUserDefaults defaults(Support::JsonFileUserDefaults::defaultPath());
    if (options_.demo) {
        DemoData::installCalendar(demoFolder, scheduler.now(), defaults,
                                  options_.demoMeetingInSeconds
                                      ? std::optional(Support::seconds(*options_.demoMeetingInSeconds))
                                      : std::nullopt);
    }

    // The terminal comes first: everything else may print through it (its keys are wired at the end).
    auto& state = UI::RecordingState::shared();
    TerminalPresenter presenter(loop, scheduler, state,
                                {.out = out,
                                 .err = err,
                                 .inputFd = options_.inputFd,
                                 .interactive = TerminalPresenter::isTerminal(options_.inputFd)},
                                env.timeZoneID, env.localeID);
    auto say = [&presenter](const std::string& text) { presenter.message(text); };

    // The library, the platform's services, and recording.
    auto database = openLibrary(options_.demo, scheduler.now(), say);
    LinuxServices platform(loop, scheduler, env,
                           {.demo = options_.demo,
                            .terminalOnly = options_.terminalOnly,
                            .defaults = &defaults,
                            .preparingVideo = videoPreparation(center)},
                           say);
    // The AI engine (the provider in the settings) and its jobs: started by the background services when a
    // transcript lands, shown and restarted by the windows.
    auto ai = Intelligence::AIService::fromUserDefaults(platform.http(), scheduler, defaults);
    UI::AIGenerationJobs aiJobs(center);
    // The windows, when this program has them and there is a display: the library and chat open from the
    // menu, and the meeting card shows as a window beside the terminal's.
    std::unique_ptr<WindowsShell> windows;
    if (!options_.terminalOnly && database) {
        windows = WindowsShell::connect({.loop = loop,
                                         .database = *database,
                                         .scheduler = scheduler,
                                         .center = center,
                                         .defaults = defaults,
                                         .ai = *ai,
                                         .aiJobs = aiJobs,
                                         .dateContext = UI::DateContext{env.localeID, env.timeZoneID},
                                         .terminal = presenter,
                                         .say = say});
    }
    const auto recordingsFolder = Support::Files::dataHome() / "Recordings";
    UI::RecordingRequestGate gate;
    RecordingController controller(state, gate, platform.capture(), scheduler, recordingsFolder);
    HostShutdown shutdown(loop, controller);

    // Calendar, reminders and notifications.
    HostReminders reminders({.scheduler = scheduler,
                             .defaults = defaults,
                             .environment = env,
                             .platform = platform,
                             .presenter = windows ? windows->cardPresenter() : presenter,
                             .demo = options_.demo,
                             .terminalOnly = options_.terminalOnly,
                             .say = say});
    shutdown.add([&] { reminders.stop(); });

    // Calls (the microphone's, or the demo's pretend ones) and "record now" answers become recordings.
    auto& coordinator = reminders.coordinator();
    CallRecorder calls({.state = state,
                        .controller = controller,
                        .intents = reminders.intents(),
                        .defaults = defaults,
                        .scheduler = scheduler,
                        .upcoming = [&] { return coordinator.upcoming.get(); },
                        .didStartRecording =
                            [&](const std::string& bundleID, bool isBrowser) {
                                coordinator.detectorDidStartRecording(bundleID, bundleID, isBrowser);
                            },
                        .say = say});
    reminders.attachCalls(calls);
    Support::SubscriptionBag subscriptions;
    auto callStarted = [&](const std::string& bundleID, bool isBrowser) {
        calls.callStarted(bundleID, isBrowser);
    };
    subscriptions += platform.pretendCallStarted.connect(callStarted);
    std::optional<CallMonitor> callMonitor;
    if (auto* microphones = platform.microphones()) {
        callMonitor.emplace(
            CallMonitor::Dependencies{.microphones = *microphones,
                                      .intents = reminders.intents(),
                                      .ownProcessIds = [&] { return platform.captureProcessIds(); },
                                      .callsEnded = [&](bool none) { calls.callsEnded(none); },
                                      .say = say});
        subscriptions += callMonitor->callStarted.connect(callStarted);
        shutdown.add([&] { callMonitor->stop(); });
    }

    // Saved recordings go to the library, then to the transcription and the background services (slides, AI).
    BackgroundServices services({.scheduler = scheduler,
                                 .defaults = defaults,
                                 .center = center,
                                 .ai = *ai,
                                 .aiJobs = aiJobs,
                                 .http = platform.http(),
                                 .database = database.get(),
                                 .power = &platform.power(),
                                 .checksForUpdates = !options_.demo,
                                 .installedVersion = VELLMORA_VERSION,
                                 .say = say});
    shutdown.add([&] { services.stop(); });
    RecordingArchiver archiver({.database = database.get(),
                                .takeMeeting = [&] { return std::exchange(calls.meeting(), std::nullopt); },
                                .say = say});
    subscriptions += controller.recordingSaved.connect(
        [&](const AudioEngine::CapturedRecording& recording) { archiver.archive(recording); });
    subscriptions += controller.startFailed.connect(
        [&](const std::string& why) { say("Could not start recording: " + why); });
    shutdown.finishFirst([&] { return archiver.idle(); });
    shutdown.add([&] { archiver.stop(); });

    // Saved recordings are transcribed, one at a time; the queue resumes what a quit or crash interrupted,
    // and a stored transcript starts the AI jobs through the processing notifications.
    std::optional<TranscriptionService> transcription;
    if (database) {
        transcription.emplace(TranscriptionService::Dependencies{.database = *database,
                                                                 .center = center,
                                                                 .scheduler = scheduler,
                                                                 .defaults = defaults,
                                                                 .http = platform.http(),
                                                                 .searchPath = env.searchPath,
                                                                 .demo = options_.demo,
                                                                 .say = say});
        subscriptions += archiver.recordingAdded.connect(
            [&](Database::RecordingId id, bool) { transcription->recordingSaved(id); });
        // Slides are read once the queue is done with a recording (also when transcription is off or failed).
        subscriptions += transcription->queue().settled.connect(
            [&](Database::RecordingId id) { services.transcriptionSettled(id); });
        shutdown.add([&] { transcription->stop(); }); // an unfinished one stays queued for the next start
        transcription->start();
    }

    // Recordings a crash or a power cut interrupted are finished and added before anything records.
    archiver.recoverInterrupted(recordingsFolder);

    // The menu (tray and terminal), its actions and the hot keys.
    HostMenu menu({.scheduler = scheduler,
                   .center = center,
                   .defaults = defaults,
                   .environment = env,
                   .platform = platform,
                   .state = state,
                   .controller = controller,
                   .reminders = coordinator,
                   .calls = calls,
                   .database = database.get(),
                   .services = services,
                   .quit = [&] { shutdown.quit(); },
                   .say = say});
    shutdown.add([&] { menu.stop(); });
    if (windows) {
        windows->attach({.menu = menu,
                         .calendars = [&] { return reminders.calendars(); },
                         .http = platform.http(),
                         .demo = options_.demo});
    }

    // The two-track capture's news: a silent track in the terminal, the menu and a notification; a full
    // disk stops the recording.
    std::optional<CaptureAlerts> captureAlerts;
    if (auto* twoTracks = platform.twoTrackCapture()) {
        captureAlerts.emplace(CaptureAlerts::Dependencies{
            .capture = *twoTracks,
            .notifications = platform.notifications(),
            .say = say,
            .showWarning =
                [&](std::optional<std::string> warning) { menu.setCaptureWarning(std::move(warning)); },
            .stopRecording = [&] { controller.requestStop(); },
            .phase = &state.phasePublisher()});
    }

    presenter.setActions(menu.terminalActions([&] { return shutdown.isQuitting(); }));
    SignalWatcher signals(loop, [&](int) { shutdown.quit(); });

    if (options_.quitWhenReady) {
        subscriptions += coordinator.didPlan.connect([&] { shutdown.quit(); });
    }

    // Run.
    if (callMonitor) {
        callMonitor->start();
    }
    reminders.start();
    menu.start();
    log.info("Host started (capture: {}, windows: {}, time zone {}, locale {})", platform.capture().name(),
             windows ? "yes" : "no", env.timeZoneID, env.localeID);
    loop.run();
    log.info("Host stopped");
    return 0;
}

} // namespace App
