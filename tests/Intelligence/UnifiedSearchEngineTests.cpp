#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/UnifiedSearchEngine.h"

#include <gtest/gtest.h>

using Database::DatabaseManager;
using Intelligence::MomentHit;
using Intelligence::UnifiedSearchEngine;

namespace {

Database::RecordingId addRecording(DatabaseManager& db, const std::string& title,
                                   const std::vector<std::pair<double, std::string>>& lines) {
    DatabaseManager::Recording r;
    r.title = title;
    r.startDate = Support::dateFromUnix(1'700'000'000);
    auto id = db.insertRecording(r);
    std::vector<DatabaseManager::TranscriptSegment> segs;
    for (const auto& [start, text] : lines) {
        DatabaseManager::TranscriptSegment s;
        s.startTime = start;
        s.text = text;
        s.speaker = "Ana";
        segs.push_back(s);
    }
    db.saveTranscript(id, segs);
    return id;
}

struct FixedFrameSearch : Intelligence::FrameSearching {
    std::vector<MomentHit> hits;
    std::vector<std::pair<std::string, int>> calls;
    std::vector<MomentHit> search(const std::string& query, int limit) override {
        calls.emplace_back(query, limit);
        return hits;
    }
};

} // namespace

TEST(UnifiedSearchEngine, FindsTranscriptMomentsWithTheirSegmentStartTimes) {
    Database::SqliteDatabase db(":memory:");
    auto id = addRecording(db, "Planning", {{3.5, "we should review the budget"}, {9, "lunch is at noon"}});
    UnifiedSearchEngine engine(db);
    auto results = engine.search("Budget");
    EXPECT_EQ(results.query, "Budget");
    ASSERT_EQ(results.hits.size(), 1u);
    EXPECT_EQ(results.hits[0].recordingId, id);
    EXPECT_EQ(results.hits[0].startTime, 3.5);
    EXPECT_EQ(results.hits[0].text, "we should review the budget");
    EXPECT_EQ(results.hits[0].speaker, "Ana");
    EXPECT_EQ(results.hits[0].source, MomentHit::Source::transcript);
    EXPECT_TRUE(engine.search("   ").isEmpty());
}

TEST(UnifiedSearchEngine, CapsTheMomentsOfOneRecordingSoOthersStillShow) {
    Database::SqliteDatabase db(":memory:");
    std::vector<std::pair<double, std::string>> many;
    for (int i = 0; i < 20; ++i) {
        many.emplace_back(i, "budget budget budget talk " + std::to_string(i));
    }
    auto chatty = addRecording(db, "Long", many);
    auto quiet = addRecording(db, "Short", {{1, "one mention of the budget among many other words here"}});
    UnifiedSearchEngine engine(db, {.maximumHits = 10, .maximumHitsPerRecording = 3, .candidateLimit = 100});
    auto results = engine.search("budget");
    int fromChatty = 0;
    bool sawQuiet = false;
    for (const auto& hit : results.hits) {
        fromChatty += hit.recordingId == chatty;
        sawQuiet |= hit.recordingId == quiet;
    }
    EXPECT_EQ(fromChatty, 3);
    EXPECT_TRUE(sawQuiet);
    EXPECT_EQ(results.hits.front().recordingId, chatty) << "denser passages rank first";
}

TEST(UnifiedSearchEngine, VisualStageIsEmptyByDefaultAndMergesScreenHitsWithoutRepeats) {
    Database::SqliteDatabase db(":memory:");
    auto id = addRecording(db, "Demo", {{1, "look at the roadmap"}});
    EXPECT_TRUE(UnifiedSearchEngine(db).searchFrames("roadmap").empty());

    auto frames = std::make_shared<FixedFrameSearch>();
    MomentHit screen;
    screen.recordingId = id;
    screen.startTime = 42;
    screen.text = "Roadmap 2027";
    frames->hits = {screen, screen};
    UnifiedSearchEngine engine(db, {}, {.isEnabled = true, .maximumHits = 7}, frames);
    auto visual = engine.searchFrames("roadmap");
    ASSERT_EQ(frames->calls.size(), 1u);
    EXPECT_EQ(frames->calls[0].second, 7);
    auto merged = UnifiedSearchEngine::merged(engine.search("roadmap"), visual);
    ASSERT_EQ(merged.hits.size(), 2u);
    EXPECT_EQ(merged.hits[0].source, MomentHit::Source::transcript);
    EXPECT_EQ(merged.hits[1].source, MomentHit::Source::screen);
    EXPECT_EQ(merged.hits[1].startTime, 42);

    UnifiedSearchEngine off(db, {}, {.isEnabled = false}, frames);
    EXPECT_TRUE(off.searchFrames("roadmap").empty());
}
