// Moment search over the recordings store: the transcript passages that match a query, ranked by the
// full-text index (bm25), at most a few per recording so that one long meeting does not crowd out the
// others; and, as a separate later stage, on-screen hits from frame search.
//
// Calls are blocking (they read the store): run them in `Support::BlockingWork::run`. A query without words
// gives empty results; store failures propagate as `Database::DatabaseError`.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/FrameSearch.h"
#include "Intelligence/MomentHit.h"

#include <memory>
#include <string>
#include <vector>

namespace Intelligence {

struct SearchConfiguration {
    /// Moments in one result list.
    int maximumHits = 60;
    /// Moments from one recording in one result list.
    int maximumHitsPerRecording = 5;
    /// Candidates read from the index before the per-recording cap is applied.
    int candidateLimit = 400;

    static SearchConfiguration standard() { return {}; }
};

struct FrameIndexingConfiguration {
    bool isEnabled = true;
    int maximumHits = 20;

    static FrameIndexingConfiguration standard() { return {}; }
};

class UnifiedSearchEngine {
public:
    UnifiedSearchEngine(Database::DatabaseManager& database, SearchConfiguration search = {},
                        FrameIndexingConfiguration frames = {},
                        std::shared_ptr<FrameSearching> frameSearch = std::make_shared<NoFrameSearch>());

    /// Transcript moments for `query`, best first.
    UnifiedSearchResults search(const std::string& query) const;

    /// Screen moments for `query` (the visual stage), best first; empty when frame indexing is off.
    std::vector<MomentHit> searchFrames(const std::string& query) const;

    /// `results` with the visual hits added after the transcript hits (a hit already present is not
    /// repeated).
    static UnifiedSearchResults merged(UnifiedSearchResults results, const std::vector<MomentHit>& visual);

private:
    Database::DatabaseManager& database_;
    SearchConfiguration search_;
    FrameIndexingConfiguration frames_;
    std::shared_ptr<FrameSearching> frameSearch_;
};

} // namespace Intelligence
