#include "App/host/Host.h"

#include "App/host/RecordingController.h"
#include "App/host/SignalWatcher.h"
#include "App/host/TerminalPresenter.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/NotificationCenter.h"
#include "UI/recording/RecordingControlPresentation.h"
#include "UI/recording/RecordingNotifications.h"

#include <fmt/format.h>

#include <cstdlib>
#include <ostream>
#include <unistd.h>

namespace App {

namespace {
const Support::Logger log("host");
}

Host::Host(HostOptions options) : options_(options) {}

std::filesystem::path Host::prepareDemoFolder() {
    std::filesystem::path base;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        base = std::filesystem::path(runtime) / "vellmora-demo";
    } else {
        base = std::filesystem::temp_directory_path() / fmt::format("vellmora-demo-{}", ::getuid());
    }
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
    if (options_.demo) {
        auto folder = prepareDemoFolder();
        out << "Vellmora demo: data in " << folder.string() << " (your own folders are not touched)\n";
    }

    Support::MainLoop loop;
    Support::RealScheduler scheduler(loop);
    auto& center = Support::NotificationCenter::defaultCenter();
    auto& state = UI::RecordingState::shared();
    UI::RecordingRequestGate gate;
    AudioEngine::SimulatedCapture capture(scheduler);
    auto recordings = Support::Files::dataHome() / "Recordings";
    RecordingController controller(state, gate, capture, scheduler, recordings);

    Support::SubscriptionBag subscriptions;
    subscriptions += center.observe(UI::RecordingNotifications::startRecordingRequested,
                                    [&](const Support::Notification&) { controller.requestStart(); });
    subscriptions += center.observe(UI::RecordingNotifications::stopRecordingRequested,
                                    [&](const Support::Notification&) { controller.requestStop(); });

    bool quitting = false;
    std::optional<Support::Task<>> quitTask;
    auto quit = [&] {
        if (quitting) {
            return;
        }
        quitting = true;
        quitTask = Support::startTask([&]() -> Support::Task<> {
            co_await controller.stopAndDrain();
            loop.stop();
        });
    };

    TerminalPresenter presenter(
        loop, scheduler, state, out, options_.inputFd,
        {.toggleRecording =
             [&] {
                 if (!quitting) {
                     center.post(
                         UI::RecordingControlPresentation::forToolbar(state.phase()).targetNotification);
                 }
             },
         .quit = quit});
    subscriptions += controller.recordingSaved.connect([&](const AudioEngine::CapturedRecording& r) {
        presenter.message(
            fmt::format("Saved a {:.0f}-second recording: {}", r.durationSeconds, r.audioFile.string()));
    });
    subscriptions += controller.startFailed.connect(
        [&](const std::string& why) { presenter.message("Could not start recording: " + why); });

    SignalWatcher signals(loop, [&](int) { quit(); });
    log.info("Host started (capture: {})", capture.name());
    (void)err;
    loop.run();
    log.info("Host stopped");
    return 0;
}

} // namespace App
