// The recordings store: recordings, their transcript segments, topics, action items, slides, captured
// screens and frame index, behind one abstract interface that the library, the transcript reader, the AI
// jobs, the slides service, the video expiry and the MCP server all read and write.
//
// Contract:
// - Every operation is synchronous and may block (disk). UI code calls it inside
//   `Support::BlockingWork::run`; implementations are safe to call from any thread.
// - Operations on a recording id that does not exist read as empty (no recording, no segments) and write
//   nothing; they do not throw.
// - Failures of the store itself (a corrupt file, a disk error, a write on a read-only store) throw
//   `DatabaseError`, whose description is the sentence a user reads.
// - Deleting a recording deletes its segments, topics, action items, slides, screens and frame index.
// - After every committed change, `changed` is emitted with what changed, on the thread that made the
//   change and outside any lock. `postChanges` bridges it to a notification centre for main-thread
//   observers.
#pragma once

#include <optional>

#include "Support/Errors.h"
#include "Support/NotificationCenter.h"
#include "Support/Signal.h"
#include "Support/Time.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Database {

using RecordingId = std::int64_t;

/// A failure of the store itself. `kind` lets callers tell a refusal of a newer file from a corrupt one.
class DatabaseError : public Support::UserFacingError {
public:
    enum class Kind { newerVersion, corrupt, readOnly, io };
    DatabaseError(Kind kind, const std::string& description)
        : Support::UserFacingError(description), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

class DatabaseManager {
public:
    /// One captured audio track of a recording. A call is kept as two tracks in step: the microphone (the
    /// user) and what the computer played (the others); a recording made before that, or imported from one
    /// file, has none and only `fileURL`.
    struct RecordingTrack {
        std::filesystem::path file;
        /// The user's microphone; false for what the computer played (the other people in the call).
        bool isMicrophone = false;
        /// Seconds from the start of the recording to the track's first sample.
        double offset = 0;

        bool operator==(const RecordingTrack&) const = default;
    };

    struct Recording {
        RecordingId id = 0;
        std::string title;
        /// The user's notes for the recording: the second text the library's text search matches.
        std::optional<std::string> notes;
        Support::Date startDate{};
        /// Seconds.
        double duration = 0;
        bool isFavorite = false;
        /// The recorded audio file (the "recording file").
        std::filesystem::path fileURL;
        /// The screen video, when one was recorded; kept after the file is deleted (check the file).
        std::optional<std::filesystem::path> videoFileURL;
        bool hasTranscript = false;
        std::optional<std::string> calendarEventTitle;
        std::optional<std::string> calendarEventNotes;
        /// "zoom", "teams", "meet", or nothing.
        std::optional<std::string> meetingPlatform;
        /// Names of the people in the meeting (calendar attendees and named speakers), in order.
        std::vector<std::string> participants;
        std::optional<std::string> summary;
        /// Seconds between the start of the recording and the start of its audio file, when measured.
        std::optional<double> audioLeadTime;
        /// The audio tracks, microphone first; empty for a single-file recording (then `fileURL` is the
        /// audio).
        std::vector<RecordingTrack> tracks;
        /// Seconds from the start of the recording to the screen video's first frame, when one was recorded.
        std::optional<double> videoOffset;

        bool operator==(const Recording&) const = default;
    };

    struct TranscriptSegment {
        std::int64_t id = 0;
        RecordingId recordingId = 0;
        /// Seconds from the start of the recording.
        double startTime = 0;
        double endTime = 0;
        std::string text;
        /// May be empty.
        std::string speaker;
        bool isFromMicrophone = false;

        bool operator==(const TranscriptSegment&) const = default;
    };

    struct StoredTopic {
        std::int64_t id = 0;
        RecordingId recordingId = 0;
        std::string title;
        double startTime = 0;
        double endTime = 0;
        std::optional<std::string> summary;

        bool operator==(const StoredTopic&) const = default;
    };

    struct ActionItem {
        std::int64_t id = 0;
        RecordingId recordingId = 0;
        std::string text;
        bool isCompleted = false;
        std::optional<std::string> assignee;
        /// Position in the recording's list, from 0.
        int position = 0;

        bool operator==(const ActionItem&) const = default;
    };

    /// A slide kept from the screen video.
    struct Slide {
        std::int64_t id = 0;
        RecordingId recordingId = 0;
        /// Seconds from the start of the recording at which it was first on screen.
        double time = 0;
        /// File name inside the recording's folder of the slide image store.
        std::string imageName;
        std::string text;

        bool operator==(const Slide&) const = default;
    };

    /// A captured screen (shared content that is not a slide deck).
    struct ScreenCapture {
        std::int64_t id = 0;
        RecordingId recordingId = 0;
        double time = 0;
        std::string imageName;
        std::string screenText;
        /// The AI's name for it; nothing until labelled.
        std::optional<std::string> label;
        bool isFeatured = false;
        /// Rank among the recording's captures (0 = best); nothing until ranked.
        std::optional<int> rank;

        bool operator==(const ScreenCapture&) const = default;
    };

    /// Text read from one video frame, for frame search.
    struct FrameIndexEntry {
        RecordingId recordingId = 0;
        double time = 0;
        std::string text;

        bool operator==(const FrameIndexEntry&) const = default;
    };

    /// One transcript passage found by full-text search. `score` is bm25: lower is better.
    struct TranscriptMatch {
        RecordingId recordingId = 0;
        std::int64_t segmentId = 0;
        double startTime = 0;
        std::string text;
        std::string speaker;
        double score = 0;

        bool operator==(const TranscriptMatch&) const = default;
    };

    enum class ChangeKind {
        recordingAdded,
        recordingUpdated,
        recordingDeleted,
        transcriptChanged,
        topicsChanged,
        actionItemsChanged,
        slidesChanged,
        screensChanged,
        frameIndexChanged,
    };
    struct Change {
        ChangeKind kind;
        RecordingId recordingId = 0;
        bool operator==(const Change&) const = default;
    };

    virtual ~DatabaseManager() = default;

    // Recordings.
    /// Every recording, newest start first (equal starts: higher id first).
    virtual std::vector<Recording> allRecordings() = 0;
    virtual std::optional<Recording> recording(RecordingId id) = 0;
    /// Stores a new recording (its `id` is ignored) and returns its id.
    virtual RecordingId insertRecording(const Recording& recording) = 0;
    /// Replaces every field of the stored recording with the same id; false when there is none.
    virtual bool updateRecording(const Recording& recording) = 0;
    /// Deletes the recording and everything that belongs to it; false when there was none.
    virtual bool deleteRecording(RecordingId id) = 0;
    virtual void setFavorite(RecordingId id, bool isFavorite) = 0;
    /// Flips the favourite flag; returns the new value (nothing when there is no such recording).
    virtual std::optional<bool> toggleFavorite(RecordingId id) = 0;
    virtual void saveTitle(RecordingId id, const std::string& title) = 0;
    virtual void saveSummary(RecordingId id, const std::optional<std::string>& summary) = 0;
    virtual void saveNotes(RecordingId id, const std::optional<std::string>& notes) = 0;
    virtual void setVideoFile(RecordingId id, const std::optional<std::filesystem::path>& video) = 0;
    virtual void setAudioLeadTime(RecordingId id, std::optional<double> seconds) = 0;
    /// Lead times of the given recordings in one call; an unknown id maps to nothing.
    virtual std::map<RecordingId, std::optional<double>>
    audioLeadTimes(const std::vector<RecordingId>& ids) = 0;

    // Transcript.
    virtual int segmentCount(RecordingId id) = 0;
    /// Segments in start order (equal starts: stored order), `limit` of them from `offset`.
    virtual std::vector<TranscriptSegment> segments(RecordingId id, int offset, int limit) = 0;
    virtual std::vector<TranscriptSegment> allSegments(RecordingId id) = 0;
    /// Replaces the recording's transcript (ids and recording ids of the given segments are ignored) and
    /// sets its transcript flag to whether any segment was given.
    virtual void saveTranscript(RecordingId id, const std::vector<TranscriptSegment>& segments) = 0;

    // Topics and action items.
    /// Topics in start order.
    virtual std::vector<StoredTopic> topics(RecordingId id) = 0;
    virtual void saveTopics(RecordingId id, const std::vector<StoredTopic>& topics) = 0;
    /// Action items in list order.
    virtual std::vector<ActionItem> actionItems(RecordingId id) = 0;
    /// Replaces the list by `texts` in order; an item whose text (ignoring case) was already in the list
    /// keeps its completion and assignee. Returns the stored list.
    virtual std::vector<ActionItem> saveActionItems(RecordingId id,
                                                    const std::vector<std::string>& texts) = 0;
    virtual void setActionItemCompleted(std::int64_t actionItemId, bool isCompleted) = 0;

    // Slides, screens and the frame index.
    virtual std::vector<Slide> slides(RecordingId id) = 0;
    virtual void saveSlides(RecordingId id, const std::vector<Slide>& slides) = 0;
    virtual std::vector<ScreenCapture> screenCaptures(RecordingId id) = 0;
    virtual void saveScreenCaptures(RecordingId id, const std::vector<ScreenCapture>& captures) = 0;
    /// Updates label, featured flag and rank of one stored capture (by its id).
    virtual void updateScreenCapture(const ScreenCapture& capture) = 0;
    virtual std::set<RecordingId> recordingIdsWithSlides() = 0;
    virtual std::set<RecordingId> recordingIdsWithScreenCaptures() = 0;
    /// Recordings that have featured screens without a label, oldest recording first.
    virtual std::vector<RecordingId> recordingIdsWithUnlabelledFeaturedScreens() = 0;
    virtual void addFrameIndexEntries(const std::vector<FrameIndexEntry>& entries) = 0;
    virtual std::vector<FrameIndexEntry> frameIndex(RecordingId id) = 0;
    virtual void deleteFrameIndex(RecordingId id) = 0;

    // Search.
    /// Transcript segments matching the words of `query` (each word as a prefix, all words required,
    /// case- and diacritic-insensitive), best first, at most `limit`. A query without words finds nothing;
    /// no query text is ever an error.
    virtual std::vector<TranscriptMatch> searchTranscripts(const std::string& query, int limit) = 0;
    /// Recordings whose title or transcript matches `query` the same way, best first.
    virtual std::vector<RecordingId> searchRecordings(const std::string& query, int limit) = 0;

    Support::Signal<const Change&> changed;
};

/// The notification posted for every store change by `postChanges`, with the user-info keys "recordingId"
/// (decimal) and "type" (the change kind's name).
inline constexpr const char* databaseDidChangeNotification = "Vellmora.databaseDidChange";

std::string changeKindName(DatabaseManager::ChangeKind kind);

/// Forwards every change of `database` to `center` (from any thread, delivered on the main loop) until the
/// returned subscription ends.
[[nodiscard]] Support::Subscription postChanges(DatabaseManager& database,
                                                Support::NotificationCenter& center);

} // namespace Database
