#include "UI/library/TranscriptReaderModel.h"

#include "Database/TranscriptTextFormatter.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "UI/library/TranscriptTabLogic.h"

namespace UI {

namespace {

const Support::Logger log("transcript");

/// 1234567 as "1,234,567".
std::string grouped(int value) {
    std::string digits = std::to_string(value < 0 ? -value : value);
    std::string out;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) {
            out.push_back(',');
        }
        out.push_back(digits[i]);
    }
    return value < 0 ? "-" + out : out;
}

} // namespace

TranscriptReaderModel::TranscriptReaderModel(Database::DatabaseManager& database,
                                             Database::RecordingId recordingId,
                                             Support::UserDefaults& defaults, Support::Scheduler& scheduler,
                                             std::function<void(const std::string&)> copyToPasteboard)
    : follow([&scheduler] { return scheduler.now(); }), database_(database), recordingId_(recordingId),
      defaults_(defaults), scheduler_(scheduler), copy_(std::move(copyToPasteboard)) {}

TranscriptReaderModel::~TranscriptReaderModel() = default;

Support::Task<void> TranscriptReaderModel::load() {
    return tasks_.add(loadNow());
}

Support::Task<void> TranscriptReaderModel::loadMoreSegments() {
    return tasks_.add(loadMoreSegmentsNow());
}

Support::Task<void> TranscriptReaderModel::copyAll() {
    return tasks_.add(copyAllNow());
}

Support::Task<void> TranscriptReaderModel::loadNow() {
    auto* db = &database_;
    const auto id = recordingId_;
    struct First {
        int count;
        std::vector<Topic> topics;
        std::vector<Segment> page;
    };
    try {
        auto fetch = Support::BlockingWork::run([db, id] {
            return First{db->segmentCount(id), db->topics(id), db->segments(id, 0, pageSize)};
        });
        auto first = co_await fetch;
        offset_ = static_cast<int>(first.page.size());
        totalSegmentCount = first.count;
        topics = std::move(first.topics);
        segments = std::move(first.page);
    } catch (const std::exception& e) {
        log.error("Failed to load the transcript of recording {}: {}", id, e.what());
    }
}

Support::Task<void> TranscriptReaderModel::loadMoreSegmentsNow() {
    if (isLoadingMore.get() || !hasMoreSegments()) {
        co_return;
    }
    auto* db = &database_;
    const auto id = recordingId_;
    const int offset = offset_;
    isLoadingMore = true;
    try {
        auto fetch =
            Support::BlockingWork::run([db, id, offset] { return db->segments(id, offset, pageSize); });
        auto page = co_await fetch;
        offset_ = offset + static_cast<int>(page.size());
        if (page.empty()) {
            // The transcript shrank meanwhile: stop offering more.
            totalSegmentCount = offset_;
        } else {
            auto all = segments.get();
            all.insert(all.end(), std::make_move_iterator(page.begin()), std::make_move_iterator(page.end()));
            segments = std::move(all);
        }
    } catch (const std::exception& e) {
        log.error("Failed to load more segments of recording {}: {}", id, e.what());
    }
    isLoadingMore = false;
}

Support::Task<void> TranscriptReaderModel::copyAllNow() {
    auto* db = &database_;
    const auto id = recordingId_;
    try {
        auto format = Support::BlockingWork::run([db, id] {
            return Support::Text::joined(Database::TranscriptTextFormatter::lines(db->allSegments(id)), "\n");
        });
        auto text = co_await format;
        copy_(text);
        copyButtonTitle = copiedAllTitle;
        revertCopyTitle_ = scheduler_.after(copiedRevertDelay, [this] { copyButtonTitle = copyAllTitle; });
    } catch (const std::exception& e) {
        log.error("Failed to copy the transcript of recording {}: {}", id, e.what());
    }
}

void TranscriptReaderModel::setSearchText(std::string text) {
    searchText_ = std::move(text);
}

void TranscriptReaderModel::selectSpeaker(std::optional<std::string> speaker) {
    speaker_ = std::move(speaker);
}

std::vector<std::string> TranscriptReaderModel::speakerChips() const {
    std::vector<std::string> chips{everyoneChip};
    for (auto& name : TranscriptTabLogic::speakers(segments.get())) {
        chips.push_back(std::move(name));
    }
    return chips;
}

std::vector<TranscriptReaderModel::Row> TranscriptReaderModel::rows() const {
    const std::string needle = Support::Text::searchFolded(Support::Text::trimmed(searchText_));
    std::vector<Segment> kept;
    for (const auto& s : segments.get()) {
        if (speaker_ && s.speaker != *speaker_) {
            continue;
        }
        if (!needle.empty() && Support::Text::searchFolded(s.text).find(needle) == std::string::npos) {
            continue;
        }
        kept.push_back(s);
    }
    // Dividers are placed over the rows that are shown, so that a filtered list still marks each topic.
    auto dividers = TranscriptTabLogic::dividers(kept, topics.get());
    std::vector<Row> out;
    out.reserve(kept.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
        out.push_back({std::move(kept[i]), std::move(dividers[i])});
    }
    return out;
}

std::optional<std::string> TranscriptReaderModel::emptyText() const {
    const bool filtering = speaker_ || !Support::Text::isBlank(searchText_);
    if (filtering && !segments.get().empty() && rows().empty()) {
        return std::string(noMatchesText);
    }
    return std::nullopt;
}

std::string TranscriptReaderModel::loadMoreButtonTitle() const {
    return isLoadingMore.get() ? loadingMoreTitle : loadMoreTitle;
}

std::string TranscriptReaderModel::countText() const {
    const int total = totalSegmentCount.get();
    const int shown = static_cast<int>(segments.get().size());
    return "Showing " + grouped(shown) + " of " + grouped(total) + (total == 1 ? " segment" : " segments");
}

bool TranscriptReaderModel::followPlayback() const {
    return defaults_.boolean(followPlaybackKey).value_or(true);
}

void TranscriptReaderModel::setFollowPlayback(bool on) {
    defaults_.setBool(followPlaybackKey, on);
    if (on) {
        follow.resume();
    }
}

} // namespace UI
