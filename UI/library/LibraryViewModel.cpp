#include "UI/library/LibraryViewModel.h"

#include "Database/TranscriptTextFormatter.h"
#include "Support/BlockingWork.h"
#include "Support/Errors.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "UI/library/LibraryNotifications.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

namespace UI {

namespace {

const Support::Logger log("library");

std::string describe(const std::exception& e) {
    if (auto* user = dynamic_cast<const Support::UserFacingError*>(&e)) {
        return user->description();
    }
    return e.what();
}

} // namespace

std::vector<std::string> LibraryViewModel::defaultReloadNotifications() {
    return {Database::databaseDidChangeNotification, "Vellmora.processingCompleted",
            "Vellmora.recordingContentUpdated"};
}

LibraryViewModel::LibraryViewModel(Database::DatabaseManager& database,
                                   Intelligence::UnifiedSearchEngine& searchEngine,
                                   Support::Scheduler& scheduler, Support::NotificationCenter& center,
                                   std::vector<std::string> reloadNotifications)
    : database_(database), engine_(searchEngine), scheduler_(scheduler), center_(center),
      reloadNotifications_(std::move(reloadNotifications)) {}

LibraryViewModel::~LibraryViewModel() = default;

void LibraryViewModel::setAll(std::vector<Recording> all) {
    all_ = std::move(all);
    index_.rebuild(all_);
}

Support::Task<void> LibraryViewModel::loadRecordings() {
    return tasks_.add(loadRecordingsNow());
}

Support::Task<void> LibraryViewModel::loadRecordingsNow() {
    isLoading.setIfChanged(true);
    try {
        auto* db = &database_;
        auto fetch = Support::BlockingWork::run([db] { return db->allRecordings(); });
        auto fetched = co_await fetch;
        setAll(std::move(fetched));
        recordings = activeQuery_ ? filterRecordings(*activeQuery_, activeTitlesOnly_) : all_;
    } catch (const std::exception& e) {
        log.error("Failed to load recordings: {}", describe(e));
    }
    isLoading.setIfChanged(false);
    hasLoadedOnce.setIfChanged(true);
}

void LibraryViewModel::search(const std::string& query, bool titlesOnly) {
    if (searchTask_) {
        if (searchTaskLoads_ && !searchTask_->isDone()) {
            isLoading.setIfChanged(false); // the load is cancelled: it publishes nothing more
        }
        searchTask_->cancel();
        searchTask_.reset();
    }
    searchTaskLoads_ = false;
    const auto generation = ++generation_;
    isSearchingMoments.setIfChanged(false);
    auto trimmed = Support::Text::trimmed(query);
    if (trimmed.empty()) {
        activeQuery_.reset();
        moments = Intelligence::UnifiedSearchResults{};
        momentGroups = std::vector<SidebarMomentGroup>{};
        searchTask_ = loadRecordings();
        searchTaskLoads_ = true;
        return;
    }
    searchTask_ = tasks_.start([this, trimmed, titlesOnly, generation]() -> Support::Task<void> {
        auto debounce = scheduler_.sleepFor(searchDebounce);
        co_await debounce;
        if (generation != generation_) {
            co_return;
        }
        try {
            auto kept = filterRecordings(trimmed, titlesOnly);
            Support::checkCancellation();
            activeQuery_ = trimmed;
            activeTitlesOnly_ = titlesOnly;
            recordings = std::move(kept);
        } catch (const std::exception& e) {
            log.error("Search failed: {}", describe(e));
        }
        if (generation == generation_ && !titlesOnly) {
            auto momentStage = searchMoments(trimmed, titlesOnly, generation);
            co_await momentStage;
        }
    });
}

std::vector<LibraryViewModel::Recording> LibraryViewModel::filterRecordings(const std::string& query,
                                                                            bool titlesOnly) const {
    const auto positions = index_.matching(query, titlesOnly);
    std::vector<Recording> kept;
    kept.reserve(positions.size());
    for (auto position : positions) {
        kept.push_back(all_[position]);
    }
    return kept;
}

Support::Task<void> LibraryViewModel::searchMoments(std::string query, bool titlesOnly,
                                                    std::uint64_t generation) {
    return tasks_.add(searchMomentsNow(std::move(query), titlesOnly, generation));
}

Support::Task<void> LibraryViewModel::searchMomentsNow(std::string query, bool titlesOnly,
                                                       std::uint64_t generation) {
    if (titlesOnly || generation != generation_) {
        co_return;
    }
    isSearchingMoments.setIfChanged(true);
    auto* engine = &engine_;
    try {
        auto find = Support::BlockingWork::run([engine, query] { return engine->search(query); });
        auto results = co_await find;
        if (generation != generation_) {
            co_return;
        }
        moments = results;
        auto grouping = groups(results.hits, all_);
        auto built = co_await grouping;
        if (generation != generation_) {
            co_return;
        }
        momentGroups = std::move(built);
    } catch (const std::exception& e) {
        log.error("Search failed: {}", describe(e));
    }
    if (generation != generation_) {
        co_return;
    }
    isSearchingMoments.setIfChanged(false);

    try {
        auto findFrames = Support::BlockingWork::run([engine, query] { return engine->searchFrames(query); });
        auto visual = co_await findFrames;
        auto visualStage = applyVisualStep(std::move(visual), generation);
        co_await visualStage;
    } catch (const std::exception& e) {
        log.error("Search failed: {}", describe(e));
    }
}

Support::Task<void> LibraryViewModel::applyVisualStep(std::vector<Intelligence::MomentHit> visual,
                                                      std::uint64_t generation) {
    return tasks_.add(applyVisualStepNow(std::move(visual), generation));
}

Support::Task<void> LibraryViewModel::applyVisualStepNow(std::vector<Intelligence::MomentHit> visual,
                                                         std::uint64_t generation) {
    if (visual.empty() || generation != generation_) {
        co_return;
    }
    auto merged = Intelligence::UnifiedSearchEngine::merged(moments.get(), visual);
    auto grouping = groups(merged.hits, all_);
    auto built = co_await grouping;
    if (generation != generation_) {
        co_return;
    }
    moments = std::move(merged);
    momentGroups = std::move(built);
}

Support::Task<std::vector<SidebarMomentGroup>>
LibraryViewModel::groups(std::vector<Intelligence::MomentHit> hits, std::vector<Recording> in) {
    return tasks_.add(groupsNow(std::move(hits), std::move(in)));
}

Support::Task<std::vector<SidebarMomentGroup>>
LibraryViewModel::groupsNow(std::vector<Intelligence::MomentHit> hits, std::vector<Recording> in) {
    std::map<Database::RecordingId, const Recording*> byId;
    for (const auto& r : in) {
        byId.emplace(r.id, &r);
    }
    std::vector<SidebarMomentGroup> out;
    std::map<Database::RecordingId, std::size_t> slot;
    for (auto& hit : hits) {
        auto found = byId.find(hit.recordingId);
        if (found == byId.end()) {
            continue;
        }
        auto [it, isNew] = slot.emplace(hit.recordingId, out.size());
        if (isNew) {
            out.push_back({*found->second, {}, std::nullopt});
        }
        out[it->second].hits.push_back(std::move(hit));
    }
    if (out.empty()) {
        co_return out;
    }
    std::vector<Database::RecordingId> ids;
    for (const auto& g : out) {
        ids.push_back(g.id());
    }
    auto* db = &database_;
    auto fetch = Support::BlockingWork::run([db, ids] { return db->audioLeadTimes(ids); });
    auto leadTimes = co_await fetch;
    for (auto& g : out) {
        if (auto it = leadTimes.find(g.id()); it != leadTimes.end()) {
            g.audioLeadTime = it->second;
        }
    }
    co_return out;
}

Support::Task<void> LibraryViewModel::deleteRecording(Recording recording) {
    return tasks_.add(deleteRecordingNow(std::move(recording)));
}

Support::Task<void> LibraryViewModel::deleteRecordingNow(Recording recording) {
    auto* db = &database_;
    auto* center = &center_;
    try {
        const auto id = recording.id;
        auto removeRecord = Support::BlockingWork::run([db, id] { db->deleteRecording(id); });
        co_await removeRecord;
        if (recording.videoFileURL) {
            auto video = *recording.videoFileURL;
            auto removeVideo = Support::BlockingWork::run([video] {
                std::error_code ec;
                std::filesystem::remove(video, ec);
                if (ec) {
                    throw std::system_error(ec, "Couldn't remove " + video.string());
                }
            });
            co_await removeVideo;
        }
        LibraryNotifications::postRecordingDeleted(*center, id);
        Support::checkCancellation(); // an observer of the notification may have closed the library
        auto reload = loadRecordings();
        co_await reload;
    } catch (const std::exception& e) {
        log.error("Failed to delete recording: {}", describe(e));
    }
}

void LibraryViewModel::replaceInLists(const Recording& updated) {
    for (std::size_t i = 0; i < all_.size(); ++i) {
        if (all_[i].id == updated.id) {
            all_[i] = updated;
        }
    }
    auto shown = recordings.get();
    bool changed = false;
    for (auto& r : shown) {
        if (r.id == updated.id) {
            r = updated;
            changed = true;
        }
    }
    if (changed) {
        recordings = std::move(shown);
    }
}

Support::Task<void> LibraryViewModel::toggleFavorite(Recording recording) {
    return tasks_.add(toggleFavoriteNow(std::move(recording)));
}

Support::Task<void> LibraryViewModel::toggleFavoriteNow(Recording recording) {
    auto* db = &database_;
    try {
        const auto id = recording.id;
        auto flip = Support::BlockingWork::run([db, id] { return db->toggleFavorite(id); });
        auto value = co_await flip;
        if (!value) {
            co_return;
        }
        auto current = shownRecording(id).value_or(recording);
        current.isFavorite = *value;
        replaceInLists(current);
    } catch (const std::exception& e) {
        log.error("Failed to toggle favorite: {}", describe(e));
    }
}

Support::Task<std::string> LibraryViewModel::transcriptText(Database::RecordingId id) {
    return tasks_.add(transcriptTextNow(id));
}

Support::Task<std::string> LibraryViewModel::transcriptTextNow(Database::RecordingId id) {
    auto* db = &database_;
    auto format = Support::BlockingWork::run([db, id] {
        return Support::Text::joined(Database::TranscriptTextFormatter::lines(db->allSegments(id)), "\n");
    });
    std::string text = co_await format;
    co_return text;
}

std::optional<LibraryViewModel::Recording> LibraryViewModel::shownRecording(Database::RecordingId id) const {
    for (const auto& r : all_) {
        if (r.id == id) {
            return r;
        }
    }
    return std::nullopt;
}

void LibraryViewModel::setupNotificationObservers() {
    observers_.clear();
    for (const auto& name : reloadNotifications_) {
        observers_.push_back(
            center_.observe(name, [this](const Support::Notification&) { (void)loadRecordings(); }));
    }
}

std::vector<LibraryViewModel::Recording>
LibraryViewModel::displayedRecordings(Support::Date now, const DateContext& context) const {
    const auto bounds = dateBounds(filter, now, context, customStartDate, customEndDate);
    std::vector<Recording> out;
    for (const auto& r : recordings.get()) {
        if (matches(filter, r, bounds)) {
            out.push_back(r);
        }
    }
    sortRecordings(out, sort, context);
    return out;
}

} // namespace UI
