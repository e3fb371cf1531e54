// The observable object behind the library's sidebar: every recording, the quick filter and sort, the
// search field and the moments a search found inside recordings. Main thread only; store calls and
// searches run in tasks (store work on the blocking pool) and publish their results back here.
//
// Search runs in three stages after a 250 ms debounce: titles and notes (in memory, over search keys
// folded once per load, so "cafe" finds "Café"), transcript moments (the search engine), and on-screen
// moments (frame search). Each edit cancels the running search and increments the generation; a stage
// whose generation is no longer current publishes nothing.
//
// Store failures are logged ("Failed to load recordings: …", "Search failed: …", "Failed to delete
// recording: …", "Failed to toggle favorite: …") and leave the visible lists as they were.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/UnifiedSearchEngine.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"
#include "UI/library/DateContext.h"
#include "UI/library/RecordingFilter.h"
#include "UI/library/RecordingSort.h"
#include "UI/library/RecordingTextIndex.h"
#include "UI/library/SidebarMomentGroup.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace UI {

class LibraryViewModel {
public:
    using Recording = Database::DatabaseManager::Recording;

    static constexpr Support::Duration searchDebounce = std::chrono::milliseconds(250);

    /// The notifications after which the list reloads: store changes, and the recording flow's
    /// processing and content updates.
    static std::vector<std::string> defaultReloadNotifications();

    LibraryViewModel(Database::DatabaseManager& database, Intelligence::UnifiedSearchEngine& searchEngine,
                     Support::Scheduler& scheduler, Support::NotificationCenter& center,
                     std::vector<std::string> reloadNotifications = defaultReloadNotifications());
    ~LibraryViewModel();
    LibraryViewModel(const LibraryViewModel&) = delete;
    LibraryViewModel& operator=(const LibraryViewModel&) = delete;

    // Published state.
    Support::Published<std::vector<Recording>> recordings;
    Support::Published<bool> isLoading{false};
    Support::Published<bool> hasLoadedOnce{false};
    Support::Published<Intelligence::UnifiedSearchResults> moments;
    Support::Published<std::vector<SidebarMomentGroup>> momentGroups;
    Support::Published<bool> isSearchingMoments{false};

    // The user's display choices (owned by the window; read by `displayedRecordings`).
    RecordingFilter filter = RecordingFilter::all;
    RecordingSort sort = RecordingSort::newestFirst;
    std::optional<Support::Date> customStartDate;
    std::optional<Support::Date> customEndDate;

    /// Fetches every recording, keeps it as the full list and publishes it (or the active search's
    /// matches). The returned task ends when the list is published.
    Support::Task<void> loadRecordings();

    /// Starts a search for `query` (called on every edit of the field). Blank: the full list is restored.
    void search(const std::string& query, bool titlesOnly = false);

    /// The text stage: the recordings of the full list, in its order, whose title (or else notes) contains
    /// `query` ignoring case and diacritics.
    std::vector<Recording> filterRecordings(const std::string& query, bool titlesOnly) const;

    /// The moment stage for `query`, publishing only while `generation` is current.
    Support::Task<void> searchMoments(std::string query, bool titlesOnly, std::uint64_t generation);

    /// The visual stage: adds on-screen hits to `moments` and rebuilds `momentGroups` while `generation` is
    /// current.
    Support::Task<void> applyVisualStep(std::vector<Intelligence::MomentHit> visual,
                                        std::uint64_t generation);

    /// Groups hits by recording, in the order of each recording's best hit; hits of recordings that are not
    /// in `in` are left out. Lead times are fetched in one store call.
    Support::Task<std::vector<SidebarMomentGroup>> groups(std::vector<Intelligence::MomentHit> hits,
                                                          std::vector<Recording> in);

    /// Deletes from the store, removes the video file, posts "Vellmora.recordingDidDelete" and reloads.
    Support::Task<void> deleteRecording(Recording recording);
    Support::Task<void> toggleFavorite(Recording recording);
    /// The whole transcript as the formatter's lines joined by line ends ("" when there is none).
    Support::Task<std::string> transcriptText(Database::RecordingId id);
    std::optional<Recording> shownRecording(Database::RecordingId id) const;

    /// Reloads the list on each of the reload notifications (called at creation).
    void setupNotificationObservers();

    /// `recordings` through the current filter and sort, with date bounds at `now`.
    std::vector<Recording> displayedRecordings(Support::Date now,
                                               const DateContext& context = DateContext::current()) const;

    std::uint64_t searchGeneration() const { return generation_; }
    /// The full list as last loaded.
    const std::vector<Recording>& allRecordings() const { return all_; }

private:
    void setAll(std::vector<Recording> all);
    void replaceInLists(const Recording& updated);

    // The bodies of the tasks above; the public members start them in `tasks_`, so that they end (at their
    // next await) when the model goes away.
    Support::Task<void> loadRecordingsNow();
    Support::Task<void> searchMomentsNow(std::string query, bool titlesOnly, std::uint64_t generation);
    Support::Task<void> applyVisualStepNow(std::vector<Intelligence::MomentHit> visual,
                                           std::uint64_t generation);
    Support::Task<std::vector<SidebarMomentGroup>> groupsNow(std::vector<Intelligence::MomentHit> hits,
                                                             std::vector<Recording> in);
    Support::Task<void> deleteRecordingNow(Recording recording);
    Support::Task<void> toggleFavoriteNow(Recording recording);
    Support::Task<std::string> transcriptTextNow(Database::RecordingId id);

    Database::DatabaseManager& database_;
    Intelligence::UnifiedSearchEngine& engine_;
    Support::Scheduler& scheduler_;
    Support::NotificationCenter& center_;
    std::vector<std::string> reloadNotifications_;

    std::vector<Recording> all_;
    RecordingTextIndex index_;
    std::optional<std::string> activeQuery_;
    bool activeTitlesOnly_ = false;
    std::optional<Support::Task<void>> searchTask_;
    bool searchTaskLoads_ = false; // `searchTask_` is a load (a blank search), which shows `isLoading`
    std::uint64_t generation_ = 0;
    std::vector<Support::Subscription> observers_;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI
