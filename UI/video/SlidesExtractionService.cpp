#include "UI/video/SlidesExtractionService.h"

#include "Intelligence/FrameSearchVideoLocator.h"
#include "Intelligence/ScreenCaptures.h"
#include "Support/BlockingWork.h"
#include "Support/Errors.h"
#include "Support/Log.h"
#include "UI/library/LibraryNotifications.h"
#include "UI/video/VideoNotifications.h"

#include <system_error>

namespace UI {

namespace {

using Outcome = Intelligence::Slide::Outcome;

const Support::Logger& log() {
    static const Support::Logger logger("slides");
    return logger;
}

/// The number a failure is logged with: the system error code, the store's error kind (from 1), else -1.
long errorCode(std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::system_error& e) {
        return e.code().value();
    } catch (const Database::DatabaseError& e) {
        return static_cast<long>(e.kind()) + 1;
    } catch (...) {
        return -1;
    }
}

std::string errorText(std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const Support::UserFacingError& e) {
        return e.description();
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "unknown error";
    }
}

/// Waits for `task` to end, whatever it ends with.
template <typename T> Support::Task<void> settle(Support::Task<T> task) {
    try {
        co_await task;
    } catch (...) {
    }
}

} // namespace

SlidesExtractionService::SlidesExtractionService(Database::DatabaseManager& database,
                                                 Support::NotificationCenter& center,
                                                 std::filesystem::path slidesRoot, Operations operations)
    : database_(database), center_(center), slideStore_(slidesRoot),
      screenStore_(Intelligence::SlideImageStore::screensDirectory(slidesRoot)),
      labelScreens_(operations.labelScreens ? std::move(operations.labelScreens) : liveLabelScreens()),
      findKeyDetails_(operations.findKeyDetails ? std::move(operations.findKeyDetails)
                                                : liveFindKeyDetails()),
      makeJob_(operations.makeJob) {
    if (!makeJob_) {
        makeJob_ = [&database, slidesRoot] {
            return Intelligence::SlideExtractionJob::live(
                database, Intelligence::SlidesConfiguration::standard(), slidesRoot);
        };
    }
    deletions_ =
        center.observe(LibraryNotifications::recordingDidDelete, [this](const Support::Notification& n) {
            if (auto id = LibraryNotifications::recordingId(n)) {
                [[maybe_unused]] auto cleanup = recordingDeleted(*id);
            }
        });
}

SlidesExtractionService::~SlidesExtractionService() = default;

template <typename T>
void SlidesExtractionService::forgetWhenDone(std::map<Database::RecordingId, Support::Task<T>>& runs,
                                             Database::RecordingId recordingId, Support::Task<T> run) {
    // The entry goes when the run ends, even when every caller stopped waiting for it.
    (void)tasks_.start([&runs, recordingId, run]() -> Support::Task<void> {
        try {
            co_await run;
        } catch (const Support::Cancelled&) {
            if (Support::isCurrentTaskCancelled()) {
                throw; // the service is going away
            }
        } catch (...) {
        }
        auto entry = runs.find(recordingId);
        if (entry != runs.end() && entry->second == run) {
            runs.erase(entry);
        }
    });
}

void SlidesExtractionService::stopRun(const Support::Task<Outcome>& run, Database::RecordingId recordingId) {
    if (auto job = jobs_.find(recordingId); job != jobs_.end()) {
        job->second.cancel();
    } else {
        run.cancel();
    }
}

SlidesExtractionService::LabelScreens SlidesExtractionService::liveLabelScreens() {
    return [](Database::RecordingId) -> Support::Task<void> {
        throw Support::UserFacingError("Naming screens needs an AI model, and none is set up.");
        co_return;
    };
}

SlidesExtractionService::FindKeyDetails SlidesExtractionService::liveFindKeyDetails() {
    return [](Database::RecordingId) -> Support::Task<void> {
        throw Support::UserFacingError("Finding key details needs an AI model, and none is set up.");
        co_return;
    };
}

Support::Task<Outcome> SlidesExtractionService::extract(Database::RecordingId recordingId, bool force) {
    return tasks_.add(extractNow(recordingId, force));
}

Support::Task<void> SlidesExtractionService::recordingDeleted(Database::RecordingId recordingId) {
    return tasks_.add(recordingDeletedNow(recordingId));
}

Support::Task<void> SlidesExtractionService::rankScreens(Database::RecordingId recordingId) {
    return tasks_.add(rankScreensNow(recordingId));
}

Support::Task<void> SlidesExtractionService::label(Database::RecordingId recordingId) {
    return tasks_.add(labelNow(recordingId));
}

Support::Task<void> SlidesExtractionService::labelPendingScreens(int maximumRecordings) {
    return tasks_.add(labelPendingScreensNow(maximumRecordings));
}

Support::Task<void> SlidesExtractionService::findKeyDetails(Database::RecordingId recordingId) {
    return tasks_.add(findKeyDetailsNow(recordingId));
}

Support::Task<int> SlidesExtractionService::sweepOrphans() {
    return tasks_.add(sweepOrphansNow());
}

Support::Task<Outcome> SlidesExtractionService::extractNow(Database::RecordingId recordingId, bool force) {
    auto it = runs_.find(recordingId);
    Support::Task<Outcome> run;
    if (it != runs_.end()) {
        run = it->second;
    } else {
        run = tasks_.add(performExtraction(recordingId, force));
        runs_[recordingId] = run;
        forgetWhenDone(runs_, recordingId, run);
    }
    try {
        auto outcome = co_await run;
        co_return outcome;
    } catch (const Support::Cancelled&) {
        if (Support::isCurrentTaskCancelled()) {
            throw;
        }
    }
    Outcome cancelled{Outcome::Kind::cancelled, 0, 0, {}};
    co_return cancelled;
}

Support::Task<Outcome> SlidesExtractionService::performExtraction(Database::RecordingId recordingId,
                                                                  bool force) {
    auto* database = &database_;
    // Awaitables are named first throughout: g++ 12 may destroy a temporary inside `co_await` twice.
    auto loading =
        Support::BlockingWork::run([database, recordingId] { return database->recording(recordingId); });
    auto recording = co_await loading;
    if (!recording) {
        log().error("Slides: recording {} not found", recordingId);
        Outcome missing{Outcome::Kind::failed, 0, 0, "The recording doesn't exist."};
        co_return missing;
    }
    auto video = recording->videoFileURL && !recording->videoFileURL->empty()
                     ? recording->videoFileURL
                     : Intelligence::FrameSearchVideoLocator::videoURL(recording->fileURL);
    auto job = makeJob_();
    // The menu shows the processing until the completed notification below.
    ProcessingNotifications::postProcessingStarted(center_, recordingId,
                                                   VideoNotifications::slidesProcessingType, false);

    Outcome outcome;
    auto jobRun = job->run(recordingId, video, force);
    jobs_[recordingId] = jobRun;
    try {
        // Cancelling this run cancels the job, and the run ends only once the job has stopped.
        auto awaiter = Support::awaitOwned(jobRun);
        outcome = co_await awaiter;
    } catch (const Support::Cancelled&) {
        if (Support::isCurrentTaskCancelled()) {
            throw; // the service is going away: nothing more to tell
        }
        outcome = Outcome{Outcome::Kind::cancelled, 0, 0, {}};
    } catch (...) {
        outcome = Outcome{Outcome::Kind::failed, 0, 0, errorText(std::current_exception())};
    }
    if (auto entry = jobs_.find(recordingId); entry != jobs_.end() && entry->second == jobRun) {
        jobs_.erase(entry);
    }
    if (outcome.isFailure()) {
        log().error("Slides: recording {} couldn't be read: {}", recordingId, outcome.message);
    }
    VideoNotifications::postProcessingCompleted(
        center_, recordingId, VideoNotifications::slidesProcessingType,
        outcome.isFailure() ? std::optional(outcome.message) : std::nullopt);
    if (outcome.storedPictures()) {
        VideoNotifications::postContentUpdated(center_, recordingId, contentUpdateType);
    }
    co_return outcome;
}

void SlidesExtractionService::cancel(Database::RecordingId recordingId) {
    if (auto it = runs_.find(recordingId); it != runs_.end()) {
        stopRun(it->second, recordingId);
    }
}

Support::Task<void> SlidesExtractionService::recordingDeletedNow(Database::RecordingId recordingId) {
    std::vector<Support::Task<void>> stopping;
    if (auto it = runs_.find(recordingId); it != runs_.end()) {
        stopRun(it->second, recordingId);
        stopping.push_back(settle(it->second));
    }
    if (auto it = keyDetailRuns_.find(recordingId); it != keyDetailRuns_.end()) {
        it->second.cancel();
        stopping.push_back(settle(it->second));
    }
    for (auto& task : stopping) {
        co_await task;
    }
    auto deletion =
        Support::BlockingWork::run([slides = slideStore_, screens = screenStore_, recordingId]() mutable {
            slides.deleteImages(recordingId);
            screens.deleteImages(recordingId);
        });
    try {
        co_await deletion;
    } catch (const Support::Cancelled&) {
        throw;
    } catch (...) {
        log().error("Slides: recording {} pictures couldn't be deleted: {}", recordingId,
                    errorText(std::current_exception()));
    }
}

Support::Task<void> SlidesExtractionService::rankScreensNow(Database::RecordingId recordingId) {
    auto* database = &database_;
    auto ranking = Support::BlockingWork::run([database, recordingId] {
        Intelligence::ScreenCaptures::rerank(recordingId, *database,
                                             Intelligence::ScreenCaptureConfiguration::standard());
    });
    try {
        co_await ranking;
    } catch (const Support::Cancelled&) {
        throw;
    } catch (...) {
        log().error("Slides: recording {} screens couldn't be ranked: {}", recordingId,
                    errorCode(std::current_exception()));
    }
}

Support::Task<void> SlidesExtractionService::labelNow(Database::RecordingId recordingId) {
    try {
        auto labelling = labelScreens_(recordingId);
        co_await labelling;
    } catch (const Support::Cancelled&) {
        throw;
    } catch (...) {
        log().error("Slides: recording {} screens couldn't be labelled: {}", recordingId,
                    errorText(std::current_exception()));
    }
}

Support::Task<void> SlidesExtractionService::labelScreensBeforeSummary(Database::RecordingId recordingId) {
    auto labelling = label(recordingId);
    co_await labelling;
}

Support::Task<void> SlidesExtractionService::labelPendingScreensNow(int maximumRecordings) {
    auto* database = &database_;
    std::vector<Database::RecordingId> pending;
    auto reading = Support::BlockingWork::run(
        [database] { return database->recordingIdsWithUnlabelledFeaturedScreens(); });
    try {
        pending = co_await reading;
    } catch (const Support::Cancelled&) {
        throw;
    } catch (...) {
        log().error("Slides: screens waiting for a name couldn't be read: {}",
                    errorText(std::current_exception()));
        co_return;
    }
    int done = 0;
    for (auto id : pending) {
        if (done++ >= maximumRecordings) {
            break;
        }
        auto labelling = label(id);
        co_await labelling;
    }
}

Support::Task<void> SlidesExtractionService::findKeyDetailsNow(Database::RecordingId recordingId) {
    auto it = keyDetailRuns_.find(recordingId);
    Support::Task<void> run;
    if (it != keyDetailRuns_.end()) {
        run = it->second;
    } else {
        run = tasks_.add(findKeyDetails_(recordingId));
        keyDetailRuns_[recordingId] = run;
        forgetWhenDone(keyDetailRuns_, recordingId, run);
    }
    try {
        co_await run;
    } catch (const Support::Cancelled&) {
        if (Support::isCurrentTaskCancelled()) {
            throw;
        }
    } catch (...) {
        log().error("Slides: recording {} key details couldn't be found: {}", recordingId,
                    errorText(std::current_exception()));
    }
}

Support::Task<int> SlidesExtractionService::sweepOrphansNow() {
    auto* database = &database_;
    std::pair<std::set<Database::RecordingId>, std::set<Database::RecordingId>> keep;
    auto reading = Support::BlockingWork::run([database] {
        return std::make_pair(database->recordingIdsWithSlides(), database->recordingIdsWithScreenCaptures());
    });
    try {
        keep = co_await reading;
    } catch (const Support::Cancelled&) {
        throw;
    } catch (...) {
        log().error("Slides: the orphan sweep couldn't read the database: {}",
                    errorCode(std::current_exception()));
        co_return 0;
    }
    // A recording being read may have pictures on disk before its rows are in: keep it too.
    for (const auto& [id, run] : runs_) {
        keep.first.insert(id);
        keep.second.insert(id);
    }
    int removed = 0;
    auto removal = Support::BlockingWork::run([slides = slideStore_, screens = screenStore_, keep]() mutable {
        return slides.sweepOrphans(keep.first) + screens.sweepOrphans(keep.second);
    });
    try {
        removed = co_await removal;
    } catch (const Support::Cancelled&) {
        throw;
    } catch (...) {
        log().error("Slides: the orphan sweep couldn't remove picture folders: {}",
                    errorText(std::current_exception()));
        co_return 0;
    }
    log().info("Slides: removed {} picture folders nothing refers to", removed);
    co_return removed;
}

} // namespace UI
