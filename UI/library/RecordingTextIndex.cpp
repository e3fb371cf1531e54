#include "UI/library/RecordingTextIndex.h"

#include "Support/Text.h"

namespace UI {

void RecordingTextIndex::rebuild(const std::vector<Database::DatabaseManager::Recording>& recordings) {
    keys_.clear();
    keys_.reserve(recordings.size());
    for (const auto& r : recordings) {
        keys_.push_back(
            {Support::Text::searchFolded(r.title), r.notes ? Support::Text::searchFolded(*r.notes) : ""});
    }
}

std::vector<std::size_t> RecordingTextIndex::matching(const std::string& query, bool titlesOnly) const {
    const std::string needle = Support::Text::searchFolded(Support::Text::trimmed(query));
    std::vector<std::size_t> out;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
        const auto& keys = keys_[i];
        if (keys.title.find(needle) != std::string::npos ||
            (!titlesOnly && !keys.notes.empty() && keys.notes.find(needle) != std::string::npos)) {
            out.push_back(i);
        }
    }
    return out;
}

} // namespace UI
