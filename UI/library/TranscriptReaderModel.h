// The decisions of a recording's transcript tab: segments loaded page by page from the store, speaker
// chips, the search filter and its empty text, topic dividers, "Copy All" with its short-lived
// confirmation, "Play from here", and the persisted follow-playback switch. Main thread; store reads run
// on the blocking pool.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"
#include "Support/UserDefaults.h"
#include "UI/library/TranscriptFollowController.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace UI {

class TranscriptReaderModel {
public:
    using Segment = Database::DatabaseManager::TranscriptSegment;
    using Topic = Database::DatabaseManager::StoredTopic;

    static constexpr int pageSize = 200;
    static constexpr const char* followPlaybackKey = "transcript.followPlayback";
    static constexpr const char* everyoneChip = "Everyone";
    static constexpr const char* searchPrompt = "Search transcript";
    static constexpr const char* noMatchesText = "No segments match.";
    static constexpr const char* loadMoreTitle = "Load More Segments";
    static constexpr const char* loadingMoreTitle = "Loading more segments...";
    static constexpr const char* copyAllTitle = "Copy All";
    static constexpr const char* copiedAllTitle = "Copied All!";
    static constexpr const char* playFromHereTitle = "Play from here";
    static constexpr Support::Duration copiedRevertDelay = std::chrono::milliseconds(1500);
    /// The ease-in-out animation of the "Copied All!" change, in seconds.
    static constexpr double copiedAnimationSeconds = 0.15;

    struct Row {
        Segment segment;
        /// The topic whose divider stands above this row.
        std::optional<Topic> divider;
        bool operator==(const Row&) const = default;
    };

    /// `copyToPasteboard` puts text on the clipboard.
    TranscriptReaderModel(Database::DatabaseManager& database, Database::RecordingId recordingId,
                          Support::UserDefaults& defaults, Support::Scheduler& scheduler,
                          std::function<void(const std::string&)> copyToPasteboard);
    ~TranscriptReaderModel();
    TranscriptReaderModel(const TranscriptReaderModel&) = delete;
    TranscriptReaderModel& operator=(const TranscriptReaderModel&) = delete;

    /// Loads the count, the topics and the first page.
    Support::Task<void> load();
    /// Loads the next page (nothing when all are loaded or a page is loading).
    Support::Task<void> loadMoreSegments();
    /// Copies the formatter's lines of the whole transcript, joined by line ends.
    Support::Task<void> copyAll();

    Support::Published<std::vector<Segment>> segments;
    Support::Published<std::vector<Topic>> topics;
    Support::Published<int> totalSegmentCount{0};
    Support::Published<bool> isLoadingMore{false};
    Support::Published<std::string> copyButtonTitle{copyAllTitle};
    /// The offset of the next page.
    int currentSegmentOffset() const { return offset_; }

    void setSearchText(std::string text);
    const std::string& searchText() const { return searchText_; }
    /// Nothing: everyone.
    void selectSpeaker(std::optional<std::string> speaker);
    const std::optional<std::string>& selectedSpeaker() const { return speaker_; }

    /// "Everyone", then each speaker of the loaded segments.
    std::vector<std::string> speakerChips() const;
    /// The loaded segments through the speaker and search filters, with their dividers.
    std::vector<Row> rows() const;
    /// "No segments match." when a filter leaves no row; nothing otherwise.
    std::optional<std::string> emptyText() const;
    bool hasMoreSegments() const { return offset_ < totalSegmentCount.get(); }
    /// "Load More Segments", or "Loading more segments..." while a page loads.
    std::string loadMoreButtonTitle() const;
    /// "Showing 200 of 1,234 segments".
    std::string countText() const;

    bool followPlayback() const;
    void setFollowPlayback(bool on);
    /// Whether the list should scroll to the active row now.
    bool shouldScrollToActiveRow() const { return followPlayback() && follow.isEngaged.get(); }

    /// Asks the player to play from the segment's start.
    void playFromHere(const Segment& segment) { playRequested.emit(segment.startTime); }
    Support::Signal<double> playRequested;

    TranscriptFollowController follow;

private:
    // The bodies of `load`, `loadMoreSegments` and `copyAll`, started in `tasks_` so that they end (at their
    // next await) when the model goes away.
    Support::Task<void> loadNow();
    Support::Task<void> loadMoreSegmentsNow();
    Support::Task<void> copyAllNow();

    Database::DatabaseManager& database_;
    Database::RecordingId recordingId_;
    Support::UserDefaults& defaults_;
    Support::Scheduler& scheduler_;
    std::function<void(const std::string&)> copy_;
    int offset_ = 0;
    std::string searchText_;
    std::optional<std::string> speaker_;
    Support::Subscription revertCopyTitle_;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI
