// Deletes the screen videos of recordings older than the retention the user chose, keeping everything else
// of the recording (audio, transcript, notes, slides, key screens). Also deletes one recording's video on
// request and previews what a retention option would remove. Created once by the host; main loop only.
//
// Triggers: `start(database)` runs a first sweep 30 seconds later, then one every 24 hours, and one each
// time the computer wakes. `isSweeping` keeps overlapping triggers to one sweep: a sweep that finds another
// running returns at once without a report. Deleting a video is refused for the recording in progress, for a
// video still being assembled and when no file is there; a file that cannot be deleted is logged and left
// for the next sweep. Nothing here is ever shown as an alert.
#pragma once

#include "Database/DatabaseManager.h"
#include "Database/VideoMuxActivity.h"
#include "Intelligence/FileInspecting.h"
#include "Platform/PowerEvents.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"
#include "Support/UserDefaults.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace UI {

class VideoExpiryCoordinator {
public:
    using Recording = Database::DatabaseManager::Recording;
    /// The recording file of the recording in progress, if any (supplied by the host's capture code).
    using ActiveRecordingFile = std::function<std::optional<std::filesystem::path>()>;

    /// The result of one sweep.
    struct Report {
        int recordingsScanned = 0;
        int videosDeleted = 0;
        std::int64_t bytesFreed = 0;
        bool operator==(const Report&) const = default;
    };

    /// What a sweep under one option would remove now.
    struct Preview {
        struct Item {
            Database::RecordingId recordingId = 0;
            std::string title;
            std::filesystem::path videoURL;
            std::int64_t bytes = 0;
            bool operator==(const Item&) const = default;
        };
        std::vector<Item> recordings;
        std::int64_t bytes = 0;
        bool isEmpty() const { return recordings.empty(); }
        bool operator==(const Preview&) const = default;
    };

    struct DeleteResult {
        enum class Kind { deleted, recordingActive, beingAssembled, noVideoFile, failed };
        Kind kind = Kind::noVideoFile;
        std::filesystem::path videoURL;
        /// The size of the deleted file.
        std::int64_t bytes = 0;
        /// Why the file could not be removed (kind `failed`).
        std::string error;
        bool operator==(const DeleteResult&) const = default;
    };

    struct Dependencies {
        Support::Scheduler& scheduler;
        Support::UserDefaults& defaults;
        /// Where the change notifications go (the host passes `NotificationCenter::defaultCenter()`).
        Support::NotificationCenter& center;
        const Intelligence::FileInspecting& files;
        Database::VideoMuxActivity& muxActivity = Database::VideoMuxActivity::shared();
        /// Null where the platform cannot tell (then only the timers trigger sweeps).
        Platform::PowerEvents* powerEvents = nullptr;
        ActiveRecordingFile activeRecordingFile = [] { return std::optional<std::filesystem::path>(); };
    };

    explicit VideoExpiryCoordinator(Dependencies dependencies);
    ~VideoExpiryCoordinator();
    VideoExpiryCoordinator(const VideoExpiryCoordinator&) = delete;
    VideoExpiryCoordinator& operator=(const VideoExpiryCoordinator&) = delete;

    /// Keeps the store and arms the triggers (see the header comment). Calling it again re-arms them.
    void start(Database::DatabaseManager& database);
    /// Ends the timers and the wake subscription; keeps the store, so `run` and `deleteVideo` still work.
    void stop();

    /// One sweep at `now`; nothing when the option is "never", another sweep runs, or there is no store.
    Support::Task<std::optional<Report>> run(Support::Date now);
    /// What a sweep under `option` would remove at `now` (empty for "never").
    Support::Task<Preview> preview(std::uint8_t option, Support::Date now);
    /// Deletes the recording's screen video (see the header comment for the refusals).
    Support::Task<DeleteResult> deleteVideo(Recording recording);

    /// Whether the recording has a video file on disk.
    bool has(const Recording& recording) const;
    /// Where the recording's video is (or would be): the stored location, else the one beside its file.
    std::optional<std::filesystem::path> videoURL(const Recording& recording) const;
    /// Whether `recordingFile` belongs to the recording in progress.
    bool isRecordingActive(const std::filesystem::path& recordingFile) const;

    bool isSweeping() const { return *isSweeping_; }
    bool isStarted() const { return firstSweepTimer_.isActive() || dailyTimer_.isActive(); }

    /// The retention cut-off under `option` at `now`; nothing for "never".
    static std::optional<Support::Date> cutoff(std::uint8_t option, Support::Date now);
    /// The words the command line prints for a result.
    static std::string describe(const DeleteResult& result, const std::string& recordingTitle);

    static constexpr Support::Duration firstSweepDelay = std::chrono::seconds(30);
    static constexpr Support::Duration sweepInterval = std::chrono::seconds(86400);

private:
    void trigger();
    Support::Task<std::vector<Recording>> recordingsBefore(Support::Date cutoff);
    // The bodies of `run`, `preview` and `deleteVideo`, started in `tasks_` so that they end (at their next
    // await) when the coordinator goes away.
    Support::Task<std::optional<Report>> runNow(Support::Date now);
    Support::Task<Preview> previewNow(std::uint8_t option, Support::Date now);
    Support::Task<DeleteResult> deleteVideoNow(Recording recording);

    Dependencies deps_;
    Database::DatabaseManager* database_ = nullptr;
    // Shared with the running sweep's frame, which clears it however the sweep ends, even after this
    // coordinator is gone.
    std::shared_ptr<bool> isSweeping_ = std::make_shared<bool>(false);
    Support::Subscription firstSweepTimer_;
    Support::Subscription dailyTimer_;
    Support::Subscription wakeSubscription_;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI
