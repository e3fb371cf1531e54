#include "Intelligence/UnifiedSearchEngine.h"

#include <fmt/format.h>

#include <map>
#include <set>

namespace Intelligence {

std::string MomentHit::id() const {
    if (source == Source::transcript) {
        return fmt::format("t:{}", segmentId);
    }
    return fmt::format("s:{}:{}", recordingId, startTime);
}

UnifiedSearchEngine::UnifiedSearchEngine(Database::DatabaseManager& database, SearchConfiguration search,
                                         FrameIndexingConfiguration frames,
                                         std::shared_ptr<FrameSearching> frameSearch)
    : database_(database), search_(search), frames_(frames),
      frameSearch_(frameSearch ? std::move(frameSearch) : std::make_shared<NoFrameSearch>()) {}

UnifiedSearchResults UnifiedSearchEngine::search(const std::string& query) const {
    UnifiedSearchResults results{query, {}};
    if (search_.maximumHits <= 0) {
        return results;
    }
    std::map<Database::RecordingId, int> perRecording;
    for (auto& match :
         database_.searchTranscripts(query, std::max(search_.candidateLimit, search_.maximumHits))) {
        int& taken = perRecording[match.recordingId];
        if (taken >= search_.maximumHitsPerRecording) {
            continue;
        }
        ++taken;
        results.hits.push_back({MomentHit::Source::transcript, match.recordingId, match.segmentId,
                                match.startTime, std::move(match.text), std::move(match.speaker),
                                match.score});
        if (static_cast<int>(results.hits.size()) >= search_.maximumHits) {
            break;
        }
    }
    return results;
}

std::vector<MomentHit> UnifiedSearchEngine::searchFrames(const std::string& query) const {
    if (!frames_.isEnabled || frames_.maximumHits <= 0) {
        return {};
    }
    auto hits = frameSearch_->search(query, frames_.maximumHits);
    for (auto& hit : hits) {
        hit.source = MomentHit::Source::screen;
    }
    return hits;
}

UnifiedSearchResults UnifiedSearchEngine::merged(UnifiedSearchResults results,
                                                 const std::vector<MomentHit>& visual) {
    std::set<std::string> present;
    for (const auto& hit : results.hits) {
        present.insert(hit.id());
    }
    for (const auto& hit : visual) {
        if (present.insert(hit.id()).second) {
            results.hits.push_back(hit);
        }
    }
    return results;
}

} // namespace Intelligence
