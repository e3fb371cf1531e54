// Finds the slides and key screens shared during a recorded call and keeps a picture of each, even after
// the video is deleted; ranks the captured screens, has them named and looks for key details in them.
// Created once by the host; every operation runs on the main loop, one step at a time, so its state needs
// no lock. The image analysis itself is the extraction job's (`makeJob`); this service decides when each
// step runs, makes sure one recording is never read twice at the same time, cleans up after a deleted
// recording, and tells the rest of the system when slides changed.
//
// - `extract`: a second request for a recording that is being read waits for the running job and returns
//   its outcome, whatever its `force`. The processing-started notification (type "slides") is posted when
//   the job starts, so that the menu shows the work. When the job ends the processing-completed notification
//   is posted (with the error, when it failed), and the content-updated notification with `contentUpdateType`
//   when it stored pictures.
// - `recordingDeleted` (also run on every "Vellmora.recordingDidDelete"): cancels the recording's running
//   work, waits until it has stopped, then deletes its pictures from both stores.
// - Every failure is logged and never shown; a failed step leaves what was stored before.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/Slide.h"
#include "Intelligence/SlideExtractionJob.h"
#include "Intelligence/SlideImageStore.h"
#include "Support/NotificationCenter.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace UI {

class SlidesExtractionService {
public:
    /// Names the screens of one recording (replaceable so that tests and the host can choose).
    using LabelScreens = std::function<Support::Task<void>(Database::RecordingId)>;
    /// Finds the key details of one recording.
    using FindKeyDetails = std::function<Support::Task<void>(Database::RecordingId)>;
    /// Builds the extraction job.
    using MakeJob = std::function<std::shared_ptr<Intelligence::SlideExtractionJob>()>;

    struct Operations {
        /// Empty members fall back to the live operations.
        LabelScreens labelScreens;
        FindKeyDetails findKeyDetails;
        MakeJob makeJob;
    };

    static constexpr const char* contentUpdateType = "slides";

    /// `slidesRoot`'s sibling "Screens" holds the screen pictures.
    SlidesExtractionService(
        Database::DatabaseManager& database, Support::NotificationCenter& center,
        std::filesystem::path slidesRoot = Intelligence::SlideImageStore::defaultRootDirectory(),
        Operations operations = {});
    ~SlidesExtractionService();
    SlidesExtractionService(const SlidesExtractionService&) = delete;
    SlidesExtractionService& operator=(const SlidesExtractionService&) = delete;

    Support::Task<Intelligence::Slide::Outcome> extract(Database::RecordingId recordingId,
                                                        bool force = false);
    void cancel(Database::RecordingId recordingId);
    Support::Task<void> recordingDeleted(Database::RecordingId recordingId);
    Support::Task<void> rankScreens(Database::RecordingId recordingId);
    Support::Task<void> labelScreensBeforeSummary(Database::RecordingId recordingId);
    Support::Task<void> labelPendingScreens(int maximumRecordings);
    Support::Task<void> findKeyDetails(Database::RecordingId recordingId);
    /// Removes picture folders no recording refers to; returns how many.
    Support::Task<int> sweepOrphans();

    bool isExtracting(Database::RecordingId recordingId) const { return runs_.count(recordingId) > 0; }
    const Intelligence::SlideImageStore& slideStore() const { return slideStore_; }
    const Intelligence::SlideImageStore& screenStore() const { return screenStore_; }

    /// The live operations: naming screens and finding key details need an AI model, which this build
    /// does not carry; they fail with a sentence saying so until the host passes its own.
    static LabelScreens liveLabelScreens();
    static FindKeyDetails liveFindKeyDetails();

private:
    Support::Task<Intelligence::Slide::Outcome> performExtraction(Database::RecordingId recordingId,
                                                                  bool force);
    Support::Task<void> label(Database::RecordingId recordingId);
    // The bodies of the public tasks, started in `tasks_` so that they end (at their next await) when the
    // service goes away.
    Support::Task<Intelligence::Slide::Outcome> extractNow(Database::RecordingId recordingId, bool force);
    Support::Task<void> recordingDeletedNow(Database::RecordingId recordingId);
    Support::Task<void> rankScreensNow(Database::RecordingId recordingId);
    Support::Task<void> labelNow(Database::RecordingId recordingId);
    Support::Task<void> labelPendingScreensNow(int maximumRecordings);
    Support::Task<void> findKeyDetailsNow(Database::RecordingId recordingId);
    Support::Task<int> sweepOrphansNow();
    /// Stops a recording's extraction: its job when it has one (the run then ends with the cancelled
    /// outcome and its notifications), else the run itself.
    void stopRun(const Support::Task<Intelligence::Slide::Outcome>& run, Database::RecordingId recordingId);
    /// Drops the entry of `recordingId` in `runs` once `run` has ended (when it is still that entry).
    template <typename T>
    void forgetWhenDone(std::map<Database::RecordingId, Support::Task<T>>& runs,
                        Database::RecordingId recordingId, Support::Task<T> run);

    Database::DatabaseManager& database_;
    Support::NotificationCenter& center_;
    Intelligence::SlideImageStore slideStore_;
    Intelligence::SlideImageStore screenStore_;
    LabelScreens labelScreens_;
    FindKeyDetails findKeyDetails_;
    MakeJob makeJob_;
    std::map<Database::RecordingId, Support::Task<Intelligence::Slide::Outcome>> runs_;
    std::map<Database::RecordingId, Support::Task<void>> keyDetailRuns_;
    // The job of each run that has one: cancelling it (rather than the run) lets the run report its end.
    std::map<Database::RecordingId, Support::Task<Intelligence::Slide::Outcome>> jobs_;
    Support::Subscription deletions_;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI
