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

TEST(UnifiedSearchEngine, RanksPassagesByTheRarerWordAndByTheirLengthTheSameOnEverySearch) {
    Database::SqliteDatabase db(":memory:");
    // "budget" is in every passage, "kubernetes" in two: repeating the rare word weighs more than repeating
    // the common one. Among passages with the word once, the shorter one is about it more.
    std::vector<std::pair<double, std::string>> filler;
    for (int i = 0; i < 30; ++i) {
        filler.emplace_back(i, "the budget again " + std::to_string(i));
    }
    addRecording(db, "Filler", filler);
    auto ops = addRecording(
        db, "Ops", {{10, "budget kubernetes kubernetes plan"}, {20, "budget budget kubernetes plan"}});
    auto talk = addRecording(
        db, "Talk", {{7, "roadmap"}, {8, "a long passage that mentions the roadmap only once in it"}});
    UnifiedSearchEngine engine(db);
    // The first search looks lengths up, later ones read them from memory: same answers.
    for (int round = 0; round < 3; ++round) {
        auto rare = engine.search("budget kubernetes").hits;
        ASSERT_EQ(rare.size(), 2u);
        EXPECT_EQ(rare[0].recordingId, ops);
        EXPECT_EQ(rare[0].startTime, 10) << "the rarer word twice ranks first";
        EXPECT_EQ(rare[1].startTime, 20);
        EXPECT_LT(rare[0].score, rare[1].score);

        auto shorter = engine.search("roadmap").hits;
        ASSERT_EQ(shorter.size(), 2u);
        EXPECT_EQ(shorter[0].recordingId, talk);
        EXPECT_EQ(shorter[0].startTime, 7) << "the shorter passage ranks first";
        EXPECT_EQ(shorter[1].startTime, 8);
    }
}

TEST(UnifiedSearchEngine, KeepsEachRecordingsBestPassagesInRankOrderUnderTheCap) {
    Database::SqliteDatabase db(":memory:");
    // Passage i says "budget" once among i other words: the shortest ones are the recording's best.
    std::vector<std::pair<double, std::string>> lines;
    for (int i = 0; i < 8; ++i) {
        std::string text = "budget";
        for (int w = 0; w < 8 - i; ++w) {
            text += " word";
        }
        lines.emplace_back(i * 5.0, text);
    }
    auto id = addRecording(db, "Review", lines);
    auto other = addRecording(db, "Other", {{2, "budget and many many many many many many many many words"}});
    UnifiedSearchEngine engine(db, {.maximumHits = 10, .maximumHitsPerRecording = 3, .candidateLimit = 100});
    for (int round = 0; round < 2; ++round) {
        auto hits = engine.search("budget").hits;
        ASSERT_EQ(hits.size(), 4u);
        std::vector<double> starts;
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(hits[static_cast<std::size_t>(i)].recordingId, id);
            starts.push_back(hits[static_cast<std::size_t>(i)].startTime);
        }
        EXPECT_EQ(starts, (std::vector<double>{35, 30, 25}));
        EXPECT_EQ(hits[3].recordingId, other) << "the other recording still shows, after the cap";
    }
}
