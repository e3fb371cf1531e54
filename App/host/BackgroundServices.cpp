#include "App/host/BackgroundServices.h"

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Intelligence/FileInspecting.h"
#include "Support/Log.h"
#include "Support/NotificationCenter.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/ai/AIGenerationRunner.h"
#include "UI/recording/MenuBarController.h"
#include "UI/recording/ProcessingNotifications.h"
#include "UI/updates/AppStoreLookupClient.h"
#include "UI/updates/UpdateCheckCoordinator.h"
#include "UI/video/SlidesExtractionService.h"
#include "UI/video/VideoExpiryCoordinator.h"

#include "Support/BlockingWork.h"

#include <charconv>
#include <optional>
#include <set>

namespace App {

namespace {
const Support::Logger log("host");

std::optional<std::int64_t> recordingIdOf(const Support::Notification& notification) {
    auto text = notification.value("recordingId");
    std::int64_t id = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), id).ec != std::errc()) {
        return std::nullopt;
    }
    return id;
}
} // namespace

struct BackgroundServices::Impl {
    Dependencies deps;
    Intelligence::LiveFileInspector files;
    std::unique_ptr<UI::SlidesExtractionService> slides;
    std::unique_ptr<UI::VideoExpiryCoordinator> expiry;
    std::unique_ptr<UI::AppStoreLookupClient> lookup;
    std::unique_ptr<UI::UpdateCheckCoordinator> updates;
    std::vector<Support::Task<>> work;
    /// Recordings whose slides were asked for in this run (the queue settles a waiting one at each retry).
    std::set<Database::RecordingId> slidesAsked;
    Support::SubscriptionBag subscriptions;

    explicit Impl(Dependencies d) : deps(std::move(d)) {}

    void transcriptLanded(Database::RecordingId id) {
        if (!deps.database || deps.ai.unavailableReason()) {
            return; // no provider set up: nothing is sent anywhere
        }
        const bool features =
            deps.defaults.boolean(UI::MenuBarController::aiFeaturesEnabledKey).value_or(true);
        if (!features) {
            return;
        }
        UI::AIGenerationRunner::startAutomatic(id, true, true, true, deps.aiJobs,
                                               UI::AIGenerationClient::live(*deps.database, deps.ai),
                                               *deps.database, deps.ai);
    }

    void keep(Support::Task<> task) {
        std::erase_if(work, [](const Support::Task<>& t) { return t.isDone(); });
        work.push_back(std::move(task));
    }
};

BackgroundServices::BackgroundServices(Dependencies dependencies)
    : impl_(std::make_unique<Impl>(std::move(dependencies))) {
    auto& d = impl_->deps;

    if (d.database) {
        impl_->subscriptions += d.center.observe(
            UI::ProcessingNotifications::processingCompleted, [this](const Support::Notification& n) {
                auto id = recordingIdOf(n);
                if (id && n.value("type") == std::optional<std::string>("transcription") &&
                    !n.value("error")) {
                    impl_->transcriptLanded(*id);
                }
            });
        impl_->slides = std::make_unique<UI::SlidesExtractionService>(
            *d.database, d.center, Intelligence::SlideImageStore::defaultRootDirectory(), d.slides);
        impl_->expiry = std::make_unique<UI::VideoExpiryCoordinator>(UI::VideoExpiryCoordinator::Dependencies{
            .scheduler = d.scheduler,
            .defaults = d.defaults,
            .center = d.center,
            .files = impl_->files,
            .powerEvents = d.power,
        });
        impl_->expiry->start(*d.database);
    }

    if (d.checksForUpdates) {
        impl_->lookup = std::make_unique<UI::AppStoreLookupClient>(
            d.http, UI::AppStoreLookupClient::Endpoint::load(d.defaults));
        impl_->updates = std::make_unique<UI::UpdateCheckCoordinator>(*impl_->lookup, d.scheduler, d.defaults,
                                                                      d.installedVersion);
        impl_->subscriptions +=
            impl_->updates->presentRequested.connect([this](const UI::AppStoreRelease& r) {
                std::string text = "Vellmora " + r.version + " is available.";
                if (r.storeURL) {
                    text += " Get it at " + *r.storeURL;
                }
                if (r.releaseNotes && !r.releaseNotes->empty()) {
                    text += "\n" + UI::UpdateCheckCoordinator::shownReleaseNotes(
                                       *r.releaseNotes, UI::UpdateCheckConfiguration::standard);
                }
                impl_->deps.say(text);
            });
        impl_->updates->start();
    }
}

BackgroundServices::~BackgroundServices() {
    stop();
}

void BackgroundServices::attachMenu(UI::MenuBarController& menu) {
    if (impl_->updates) {
        menu.attachUpdateCoordinator(*impl_->updates);
    }
}

void BackgroundServices::checkForUpdatesNow() {
    if (!impl_->updates) {
        impl_->deps.say("Update checks are off in the demo.");
        return;
    }
    impl_->keep(Support::startTask([this]() -> Support::Task<> {
        auto check = impl_->updates->checkNow();
        auto result = co_await check;
        impl_->deps.say(result.message());
    }));
}

void BackgroundServices::transcriptionSettled(std::int64_t recordingId) {
    if (!impl_->slides || !impl_->slidesAsked.insert(recordingId).second) {
        return;
    }
    impl_->keep(Support::startTask([this, recordingId]() -> Support::Task<> {
        auto* database = impl_->deps.database;
        auto loading = Support::BlockingWork::run([database, recordingId] {
            auto recording = database->recording(recordingId);
            return recording && recording->videoFileURL && !recording->videoFileURL->empty();
        });
        bool hasVideo = false;
        try {
            hasVideo = co_await loading;
        } catch (const Database::DatabaseError& e) {
            log.error("Slides: recording {} could not be read: {}", recordingId, e.description());
        }
        if (!hasVideo) {
            co_return;
        }
        auto extraction = impl_->slides->extract(recordingId);
        auto outcome = co_await extraction;
        log.info("Slides of recording {} read: {} slides, {} screens", recordingId, outcome.slideCount,
                 outcome.screenCount);
    }));
}

void BackgroundServices::stop() {
    impl_->deps.aiJobs.stop(); // the windows' jobs too: all of them use the AI engine, which goes next
    if (impl_->expiry) {
        impl_->expiry->stop();
    }
    impl_->subscriptions.clear();
    for (auto& task : impl_->work) {
        task.cancel(); // the bodies refer to this object: they end at their next await
    }
    impl_->work.clear();
}

} // namespace App
