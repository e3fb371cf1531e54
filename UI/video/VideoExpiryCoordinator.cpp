#include "UI/video/VideoExpiryCoordinator.h"

#include "AudioEngine/VideoExpiryPreferences.h"
#include "Intelligence/FrameSearchVideoLocator.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "UI/video/VideoNotifications.h"

#include <system_error>

namespace UI {

namespace {

const Support::Logger& log() {
    static const Support::Logger logger("videoExpiry");
    return logger;
}

constexpr std::int64_t secondsPerDay = 86400;

} // namespace

VideoExpiryCoordinator::VideoExpiryCoordinator(Dependencies dependencies) : deps_(std::move(dependencies)) {}

VideoExpiryCoordinator::~VideoExpiryCoordinator() = default;

void VideoExpiryCoordinator::start(Database::DatabaseManager& database) {
    database_ = &database;
    firstSweepTimer_ = deps_.scheduler.after(firstSweepDelay, [this] { trigger(); });
    dailyTimer_ = deps_.scheduler.every(sweepInterval, [this] { trigger(); });
    wakeSubscription_ =
        deps_.powerEvents ? deps_.powerEvents->observeWake([this] { trigger(); }) : Support::Subscription();
}

void VideoExpiryCoordinator::stop() {
    firstSweepTimer_.reset();
    dailyTimer_.reset();
    wakeSubscription_.reset();
}

void VideoExpiryCoordinator::trigger() {
    // Fire and forget: the sweep guards itself against overlap and against this object going away.
    [[maybe_unused]] auto sweep = run(deps_.scheduler.now());
}

std::optional<Support::Date> VideoExpiryCoordinator::cutoff(std::uint8_t option, Support::Date now) {
    auto days = AudioEngine::VideoExpiryPreferences::retentionDays(option);
    if (!days) {
        return std::nullopt;
    }
    return now - std::chrono::seconds(*days * secondsPerDay);
}

std::optional<std::filesystem::path> VideoExpiryCoordinator::videoURL(const Recording& recording) const {
    if (recording.videoFileURL && !recording.videoFileURL->empty()) {
        return recording.videoFileURL;
    }
    return Intelligence::FrameSearchVideoLocator::videoURL(recording.fileURL);
}

bool VideoExpiryCoordinator::has(const Recording& recording) const {
    auto url = videoURL(recording);
    return url && deps_.files.fileExists(*url);
}

bool VideoExpiryCoordinator::isRecordingActive(const std::filesystem::path& recordingFile) const {
    auto active = deps_.activeRecordingFile ? deps_.activeRecordingFile() : std::nullopt;
    return active && !active->empty() && active->lexically_normal() == recordingFile.lexically_normal();
}

Support::Task<std::vector<VideoExpiryCoordinator::Recording>>
VideoExpiryCoordinator::recordingsBefore(Support::Date cutoffDate) {
    auto* database = database_;
    // Awaitables are named first throughout: g++ 12 may destroy a temporary inside `co_await` twice.
    auto reading = Support::BlockingWork::run([database] { return database->allRecordings(); });
    auto all = co_await reading;
    std::vector<Recording> old;
    for (auto& recording : all) {
        if (recording.startDate < cutoffDate) {
            old.push_back(std::move(recording));
        }
    }
    co_return old;
}

Support::Task<std::optional<VideoExpiryCoordinator::Report>> VideoExpiryCoordinator::run(Support::Date now) {
    return tasks_.add(runNow(now));
}

Support::Task<VideoExpiryCoordinator::Preview> VideoExpiryCoordinator::preview(std::uint8_t option,
                                                                               Support::Date now) {
    return tasks_.add(previewNow(option, now));
}

Support::Task<VideoExpiryCoordinator::DeleteResult> VideoExpiryCoordinator::deleteVideo(Recording recording) {
    return tasks_.add(deleteVideoNow(std::move(recording)));
}

Support::Task<std::optional<VideoExpiryCoordinator::Report>>
VideoExpiryCoordinator::runNow(Support::Date now) {
    auto option = AudioEngine::VideoExpiryPreferences::currentOption(deps_.defaults);
    auto cutoffDate = cutoff(option, now);
    if (!cutoffDate) {
        log().info("runExpirySweep: Expiry policy is set to Never. Skipping sweep.");
        co_return std::nullopt;
    }
    if (*isSweeping_) {
        log().info("runExpirySweep: A sweep is already running. Skipping.");
        co_return std::nullopt;
    }
    if (database_ == nullptr) {
        co_return std::nullopt;
    }
    *isSweeping_ = true;
    // Cleared however the sweep ends (an error, cancellation, or the frame destroyed with the loop).
    struct SweepFlag {
        std::shared_ptr<bool> flag;
        ~SweepFlag() { *flag = false; }
    } sweepFlag{isSweeping_};

    auto days = *AudioEngine::VideoExpiryPreferences::retentionDays(option);
    log().info("runExpirySweep: Running sweep for recordings before {} ({} days policy)",
               Support::formatISO8601(*cutoffDate), days);

    std::vector<Recording> old;
    try {
        auto reading = recordingsBefore(*cutoffDate);
        old = co_await reading;
    } catch (const std::exception& error) {
        log().error("runExpirySweep: Couldn't read the recordings: {}", error.what());
        co_return std::nullopt;
    }

    Report report;
    for (const auto& recording : old) {
        ++report.recordingsScanned;
        if (!has(recording)) {
            continue;
        }
        auto deletion = deleteVideo(recording);
        auto result = co_await deletion;
        if (result.kind != DeleteResult::Kind::deleted) {
            log().error("runExpirySweep: Failed to delete video for recording {}: {}", recording.id,
                        result.kind == DeleteResult::Kind::failed ? result.error
                                                                  : describe(result, recording.title));
            continue;
        }
        ++report.videosDeleted;
        report.bytesFreed += result.bytes;
    }
    log().info("runExpirySweep finished: scanned {}, deleted {} videos, freed {} bytes",
               report.recordingsScanned, report.videosDeleted, report.bytesFreed);
    co_return report;
}

Support::Task<VideoExpiryCoordinator::Preview> VideoExpiryCoordinator::previewNow(std::uint8_t option,
                                                                                  Support::Date now) {
    Preview result;
    auto cutoffDate = cutoff(option, now);
    if (!cutoffDate || database_ == nullptr) {
        co_return result;
    }
    auto reading = recordingsBefore(*cutoffDate);
    auto old = co_await reading;
    for (const auto& recording : old) {
        auto url = videoURL(recording);
        if (!url || isRecordingActive(recording.fileURL) || deps_.muxActivity.isMuxing(*url)) {
            continue;
        }
        auto size = deps_.files.fileSize(*url);
        if (!size) {
            continue;
        }
        auto bytes = static_cast<std::int64_t>(*size);
        result.recordings.push_back({recording.id, recording.title, *url, bytes});
        result.bytes += bytes;
    }
    co_return result;
}

Support::Task<VideoExpiryCoordinator::DeleteResult>
VideoExpiryCoordinator::deleteVideoNow(Recording recording) {
    DeleteResult result;
    auto url = videoURL(recording);
    result.videoURL = url.value_or(std::filesystem::path());
    if (isRecordingActive(recording.fileURL)) {
        log().warning("deleteVideo: Cannot delete video for active recording {}", recording.id);
        result.kind = DeleteResult::Kind::recordingActive;
        co_return result;
    }
    if (url && deps_.muxActivity.isMuxing(*url)) {
        log().warning("deleteVideo: Cannot delete video while it is being muxed: {}", url->string());
        result.kind = DeleteResult::Kind::beingAssembled;
        co_return result;
    }
    auto size = url ? deps_.files.fileSize(*url) : std::nullopt;
    if (!url || !size) {
        log().warning("deleteVideo: No video file found at {}", result.videoURL.string());
        result.kind = DeleteResult::Kind::noVideoFile;
        co_return result;
    }

    auto path = *url;
    auto removing = Support::BlockingWork::run([path]() -> std::string {
        std::error_code ec;
        if (!std::filesystem::remove(path, ec) && !ec) {
            ec = std::make_error_code(std::errc::no_such_file_or_directory);
        }
        return ec ? ec.message() : std::string();
    });
    auto removal = co_await removing;
    if (!removal.empty()) {
        result.kind = DeleteResult::Kind::failed;
        result.error = removal;
        co_return result;
    }
    result.kind = DeleteResult::Kind::deleted;
    result.bytes = static_cast<std::int64_t>(*size);
    log().info("Deleted video file: {}", path.string());

    if (auto* database = database_) {
        auto id = recording.id;
        try {
            auto dropping = Support::BlockingWork::run([database, id] { database->deleteFrameIndex(id); });
            co_await dropping;
        } catch (const std::exception& error) {
            log().error("deleteVideo: Couldn't drop the frame index of recording {}: {}", id, error.what());
        }
    }
    VideoNotifications::postContentUpdated(deps_.center, recording.id, VideoNotifications::videoContentType);
    VideoNotifications::postContentUpdated(deps_.center, recording.id,
                                           VideoNotifications::frameIndexContentType);
    co_return result;
}

std::string VideoExpiryCoordinator::describe(const DeleteResult& result, const std::string& recordingTitle) {
    using Kind = DeleteResult::Kind;
    switch (result.kind) {
    case Kind::deleted:
        return "Deleted the screen video file for \u201C" + recordingTitle + "\u201D.";
    case Kind::recordingActive:
        return "The screen video can't be deleted while the recording is in progress.";
    case Kind::beingAssembled:
        return "The screen video is still being put together. Try again when it's finished.";
    case Kind::noVideoFile:
        return "There is no screen video file for \u201C" + recordingTitle + "\u201D.";
    case Kind::failed:
        return "The screen video file couldn't be deleted: " + result.error;
    }
    return {};
}

} // namespace UI
