#include "Database/Sqlite/SqliteDatabase.h"

#include "Fakes/TempFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

using Database::DatabaseError;
using Database::DatabaseManager;
using Database::SqliteDatabase;
using Kind = DatabaseManager::ChangeKind;

namespace {

std::string fileBytes(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

DatabaseManager::Recording makeRecording(std::string title, double startUnix, double duration = 60) {
    DatabaseManager::Recording r;
    r.title = std::move(title);
    r.startDate = Support::dateFromUnix(startUnix);
    r.duration = duration;
    r.fileURL = "/recordings/" + r.title + ".m4a";
    return r;
}

DatabaseManager::TranscriptSegment seg(double start, std::string text, std::string speaker = "",
                                       bool mic = false) {
    DatabaseManager::TranscriptSegment s;
    s.startTime = start;
    s.endTime = start + 2;
    s.text = std::move(text);
    s.speaker = std::move(speaker);
    s.isFromMicrophone = mic;
    return s;
}

void runSql(const std::filesystem::path& file, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    char* err = nullptr;
    int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err);
    std::string message = err ? err : "";
    sqlite3_free(err);
    sqlite3_close(db);
    ASSERT_EQ(rc, SQLITE_OK) << message;
}

} // namespace

TEST(SqliteDatabase, StoresEveryFieldOfARecordingAndReadsItBack) {
    SqliteDatabase db(":memory:");
    auto r = makeRecording("Café planning", 1'700'000'000.25, 1800.5);
    r.notes = "bring the budget";
    r.isFavorite = true;
    r.videoFileURL = std::filesystem::path("/videos/x.mp4");
    r.calendarEventTitle = "Planning";
    r.calendarEventNotes = "Agenda: budget";
    r.meetingPlatform = "zoom";
    r.participants = {"Ana", "Ben"};
    r.summary = "We planned.";
    r.audioLeadTime = 1.5;
    r.tracks = {{"/recordings/a b/mic.opus", true, 0}, {"/recordings/a b/call.opus", false, 0.0425}};
    r.videoOffset = 0.25;
    auto id = db.insertRecording(r);
    r.id = id;
    EXPECT_EQ(db.recording(id), r);
    EXPECT_EQ(db.recording(id + 100), std::nullopt);

    r.tracks.pop_back();
    r.videoOffset.reset();
    EXPECT_TRUE(db.updateRecording(r));
    EXPECT_EQ(db.recording(id), r);
}

TEST(SqliteDatabase, RefusesATrackWhoseFileNameHoldsALineBreakAndWritesNothing) {
    SqliteDatabase db(":memory:");
    auto r = makeRecording("Odd", 1'700'000'000);
    r.tracks = {{"/recordings/odd\nname.opus", true, 0}};
    EXPECT_THROW(db.insertRecording(r), DatabaseError);
    EXPECT_TRUE(db.allRecordings().empty());
}

TEST(SqliteDatabase, ListsRecordingsNewestFirstWithTheLaterInsertFirstOnEqualStarts) {
    SqliteDatabase db(":memory:");
    auto old = db.insertRecording(makeRecording("old", 1000));
    auto a = db.insertRecording(makeRecording("a", 5000));
    auto b = db.insertRecording(makeRecording("b", 5000));
    std::vector<Database::RecordingId> ids;
    for (const auto& r : db.allRecordings()) {
        ids.push_back(r.id);
    }
    EXPECT_EQ(ids, (std::vector<Database::RecordingId>{b, a, old}));
}

TEST(SqliteDatabase, DeletingARecordingTakesEverythingThatBelongsToItAndLeavesOthersAlone) {
    SqliteDatabase db(":memory:");
    auto gone = db.insertRecording(makeRecording("Quarterly budget", 1000));
    auto kept = db.insertRecording(makeRecording("Other", 2000));
    for (auto id : {gone, kept}) {
        db.saveTranscript(id, {seg(0, "the budget is tight"), seg(5, "agreed")});
        db.saveTopics(id, {{0, 0, "Budget", 0, 5, std::nullopt}});
        db.saveActionItems(id, {"Send the deck to Ana"});
        db.saveSlides(id, {{0, 0, 3, "1.png", "Slide"}});
        db.saveScreenCaptures(id, {{0, 0, 4, "s.png", "text", std::nullopt, true, std::nullopt}});
        db.addFrameIndexEntries({{id, 1, "budget"}});
    }
    EXPECT_TRUE(db.deleteRecording(gone));
    EXPECT_FALSE(db.deleteRecording(gone));

    EXPECT_EQ(db.recording(gone), std::nullopt);
    EXPECT_TRUE(db.allSegments(gone).empty());
    EXPECT_TRUE(db.topics(gone).empty());
    EXPECT_TRUE(db.actionItems(gone).empty());
    EXPECT_TRUE(db.slides(gone).empty());
    EXPECT_TRUE(db.screenCaptures(gone).empty());
    EXPECT_TRUE(db.frameIndex(gone).empty());
    EXPECT_EQ(db.recordingIdsWithSlides(), (std::set<Database::RecordingId>{kept}));
    for (const auto& hit : db.searchTranscripts("budget", 10)) {
        EXPECT_EQ(hit.recordingId, kept);
    }
    EXPECT_EQ(db.searchRecordings("budget", 10), (std::vector<Database::RecordingId>{kept}));
    EXPECT_EQ(db.allSegments(kept).size(), 2u);
    EXPECT_EQ(db.topics(kept).size(), 1u);
}

TEST(SqliteDatabase, TranscriptSearchIgnoresCaseAndAccentsMatchesPrefixesAndGivesStartTimes) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("Standup", 1000));
    db.saveTranscript(id, {seg(1, "Let's meet at the Café"), seg(12.5, "The CAFÉ opens at nine"),
                           seg(30, "nothing related here"), seg(40, "Budgeting for the cafe")});
    auto hits = db.searchTranscripts("cafe", 10);
    ASSERT_EQ(hits.size(), 3u);
    std::set<double> starts;
    for (const auto& h : hits) {
        EXPECT_EQ(h.recordingId, id);
        starts.insert(h.startTime);
    }
    EXPECT_EQ(starts, (std::set<double>{1, 12.5, 40}));
    EXPECT_EQ(db.searchTranscripts("budg", 10).size(), 1u);
    EXPECT_EQ(db.searchTranscripts("cafe nine", 10).size(), 1u) << "every word is required";
    EXPECT_EQ(db.searchTranscripts("cafe", 2).size(), 2u);
    for (std::size_t i = 1; i < hits.size(); ++i) {
        EXPECT_LE(hits[i - 1].score, hits[i].score) << "best (lowest bm25) first";
    }
}

TEST(SqliteDatabase, SearchTakesQueryTextLiterallyWhateverItContains) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("Weekly sync", 1000));
    db.saveTranscript(id, {seg(0, "and or not near"), seg(1, "title: weekly \"quoted\"")});
    for (std::string query : {"\"", "AND", "*", "title:", "NEAR(", "-", "a OR", "(((", "\"quoted\"", "^",
                              "\xff\xfe", "   ", ""}) {
        EXPECT_NO_THROW(db.searchTranscripts(query, 10)) << query;
        EXPECT_NO_THROW(db.searchRecordings(query, 10)) << query;
    }
    EXPECT_EQ(db.searchTranscripts("and", 10).size(), 1u);
    EXPECT_EQ(db.searchTranscripts("\"quoted\"", 10).size(), 1u);
    EXPECT_TRUE(db.searchTranscripts("   ", 10).empty());
    EXPECT_EQ(SqliteDatabase::ftsQuery("  Café  l'été \"x\" -- "), "\"Café\"* \"l'été\"* \"\"\"x\"\"\"*");
}

TEST(SqliteDatabase, SearchIndexFollowsTitleEditsAndTranscriptReplacement) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("Roadmap review", 1000));
    db.saveTranscript(id, {seg(0, "first draft")});
    EXPECT_EQ(db.searchRecordings("roadmap", 10).size(), 1u);
    db.saveTitle(id, "Hiring plan");
    EXPECT_TRUE(db.searchRecordings("roadmap", 10).empty());
    EXPECT_EQ(db.searchRecordings("hiring", 10).size(), 1u);
    db.saveTranscript(id, {seg(0, "second version")});
    EXPECT_TRUE(db.searchTranscripts("draft", 10).empty());
    EXPECT_EQ(db.searchTranscripts("second", 10).size(), 1u);
    db.saveNotes(id, "remember the offsite");
    EXPECT_EQ(db.searchRecordings("offsite", 10), (std::vector<Database::RecordingId>{id}));
}

TEST(SqliteDatabase, RecordingSearchRanksTitleMatchesBeforeTranscriptMatches) {
    SqliteDatabase db(":memory:");
    auto spoken = db.insertRecording(makeRecording("Standup", 1000));
    db.saveTranscript(spoken, {seg(0, "the launch slipped")});
    auto titled = db.insertRecording(makeRecording("Launch plan", 500));
    EXPECT_EQ(db.searchRecordings("launch", 10), (std::vector<Database::RecordingId>{titled, spoken}));
}

TEST(SqliteDatabase, PagesSegmentsInStartOrderKeepingStoredOrderOnEqualStarts) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("r", 1000));
    db.saveTranscript(id, {seg(5, "c"), seg(1, "a"), seg(5, "d"), seg(2, "b")});
    EXPECT_EQ(db.segmentCount(id), 4);
    auto texts = [](const std::vector<DatabaseManager::TranscriptSegment>& segs) {
        std::string out;
        for (const auto& s : segs) {
            out += s.text;
        }
        return out;
    };
    EXPECT_EQ(texts(db.segments(id, 0, 2)), "ab");
    EXPECT_EQ(texts(db.segments(id, 2, 2)), "cd");
    EXPECT_EQ(texts(db.segments(id, 4, 2)), "");
    EXPECT_TRUE(db.recording(id)->hasTranscript);
    db.saveTranscript(id, {});
    EXPECT_FALSE(db.recording(id)->hasTranscript);
}

TEST(SqliteDatabase, TogglingAFavoriteFlipsItAndAnUnknownRecordingChangesNothing) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("r", 1000));
    std::vector<DatabaseManager::Change> changes;
    auto sub = db.changed.connect([&](const DatabaseManager::Change& c) { changes.push_back(c); });
    EXPECT_EQ(db.toggleFavorite(id), true);
    EXPECT_EQ(db.toggleFavorite(id), false);
    EXPECT_EQ(db.toggleFavorite(id + 1), std::nullopt);
    db.saveTitle(id + 1, "ghost");
    EXPECT_EQ(changes, (std::vector<DatabaseManager::Change>{{Kind::recordingUpdated, id},
                                                             {Kind::recordingUpdated, id}}));
}

TEST(SqliteDatabase, ReportsEachCommittedChangeWithItsKindAndRecording) {
    SqliteDatabase db(":memory:");
    std::vector<DatabaseManager::Change> changes;
    auto sub = db.changed.connect([&](const DatabaseManager::Change& c) {
        // Observers may read the store from inside the signal.
        EXPECT_NO_THROW(db.allRecordings());
        changes.push_back(c);
    });
    auto id = db.insertRecording(makeRecording("r", 1000));
    db.saveTranscript(id, {seg(0, "x")});
    db.saveTopics(id, {});
    db.saveActionItems(id, {"Do the thing"});
    db.deleteFrameIndex(id); // nothing there: no change
    db.deleteRecording(id);
    EXPECT_EQ(changes, (std::vector<DatabaseManager::Change>{{Kind::recordingAdded, id},
                                                             {Kind::transcriptChanged, id},
                                                             {Kind::topicsChanged, id},
                                                             {Kind::actionItemsChanged, id},
                                                             {Kind::recordingDeleted, id}}));
}

TEST(SqliteDatabase, SavingActionItemsKeepsTheCompletionOfAnItemWithTheSameText) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("r", 1000));
    auto first = db.saveActionItems(id, {"Send the deck", "Book the room"});
    db.setActionItemCompleted(first[0].id, true);
    auto second = db.saveActionItems(id, {"Write the notes", "send the deck"});
    ASSERT_EQ(second.size(), 2u);
    EXPECT_EQ(second[0].text, "Write the notes");
    EXPECT_FALSE(second[0].isCompleted);
    EXPECT_EQ(second[1].text, "send the deck");
    EXPECT_TRUE(second[1].isCompleted);
    EXPECT_EQ(second[1].position, 1);
    EXPECT_TRUE(db.saveActionItems(id + 1, {"x"}).empty());
}

TEST(SqliteDatabase, SavingARecordingsRowsReplacesItsEarlierOnesAndLeavesOtherRecordingsAlone) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("r", 1000));
    auto other = db.insertRecording(makeRecording("other", 2000));
    struct Table {
        const char* name;
        std::function<void(Database::RecordingId, int)> save; // saves `count` rows
        std::function<size_t(Database::RecordingId)> count;
    };
    std::vector<Table> tables = {
        {"transcript",
         [&](auto r, int n) {
             std::vector<DatabaseManager::TranscriptSegment> rows;
             for (int i = 0; i < n; ++i) {
                 rows.push_back(seg(i, "line " + std::to_string(i)));
             }
             db.saveTranscript(r, rows);
         },
         [&](auto r) { return db.allSegments(r).size(); }},
        {"topics",
         [&](auto r, int n) {
             std::vector<DatabaseManager::StoredTopic> rows;
             for (int i = 0; i < n; ++i) {
                 rows.push_back({0, 0, "topic", double(i), double(i + 1), std::nullopt});
             }
             db.saveTopics(r, rows);
         },
         [&](auto r) { return db.topics(r).size(); }},
        {"action items",
         [&](auto r, int n) {
             std::vector<std::string> rows;
             for (int i = 0; i < n; ++i) {
                 rows.push_back("item " + std::to_string(i));
             }
             db.saveActionItems(r, rows);
         },
         [&](auto r) { return db.actionItems(r).size(); }},
        {"slides",
         [&](auto r, int n) {
             std::vector<DatabaseManager::Slide> rows;
             for (int i = 0; i < n; ++i) {
                 rows.push_back({0, 0, double(i), "s.png", "text"});
             }
             db.saveSlides(r, rows);
         },
         [&](auto r) { return db.slides(r).size(); }},
        {"screens",
         [&](auto r, int n) {
             std::vector<DatabaseManager::ScreenCapture> rows;
             for (int i = 0; i < n; ++i) {
                 rows.push_back({0, 0, double(i), "c.png", "", std::nullopt, false, std::nullopt});
             }
             db.saveScreenCaptures(r, rows);
         },
         [&](auto r) { return db.screenCaptures(r).size(); }},
    };
    for (const auto& table : tables) {
        table.save(other, 2);
        table.save(id, 3);
        table.save(id, 1);
        EXPECT_EQ(table.count(id), 1u) << table.name;
        EXPECT_EQ(table.count(other), 2u) << table.name;
        table.save(id, 0);
        EXPECT_EQ(table.count(id), 0u) << table.name;
        table.save(999, 2);
        EXPECT_EQ(table.count(999), 0u) << table.name << ": rows for a recording that does not exist";
    }
}

TEST(SqliteDatabase, GivesLeadTimesForManyRecordingsInOneCall) {
    SqliteDatabase db(":memory:");
    auto a = db.insertRecording(makeRecording("a", 1));
    auto b = db.insertRecording(makeRecording("b", 2));
    db.setAudioLeadTime(a, 2.25);
    auto times = db.audioLeadTimes({a, b, 999});
    EXPECT_EQ(times, (std::map<Database::RecordingId, std::optional<double>>{
                         {a, 2.25}, {b, std::nullopt}, {999, std::nullopt}}));
}

TEST(SqliteDatabase, TellsWhichRecordingsHaveSlidesScreensAndUnlabelledFeaturedScreens) {
    SqliteDatabase db(":memory:");
    auto older = db.insertRecording(makeRecording("older", 1000));
    auto newer = db.insertRecording(makeRecording("newer", 2000));
    auto plain = db.insertRecording(makeRecording("plain", 3000));
    db.saveSlides(newer, {{0, 0, 1, "a.png", "Agenda"}});
    db.saveScreenCaptures(newer, {{0, 0, 1, "s1.png", "", std::nullopt, true, std::nullopt}});
    db.saveScreenCaptures(older, {{0, 0, 1, "s1.png", "", std::nullopt, true, std::nullopt},
                                  {0, 0, 2, "s2.png", "", std::nullopt, false, std::nullopt}});
    EXPECT_EQ(db.recordingIdsWithSlides(), (std::set<Database::RecordingId>{newer}));
    EXPECT_EQ(db.recordingIdsWithScreenCaptures(), (std::set<Database::RecordingId>{older, newer}));
    EXPECT_EQ(db.recordingIdsWithUnlabelledFeaturedScreens(),
              (std::vector<Database::RecordingId>{older, newer}));
    auto capture = db.screenCaptures(older)[0];
    capture.label = "Roadmap";
    capture.rank = 0;
    db.updateScreenCapture(capture);
    EXPECT_EQ(db.screenCaptures(older)[0], capture);
    EXPECT_EQ(db.recordingIdsWithUnlabelledFeaturedScreens(), (std::vector<Database::RecordingId>{newer}));
    (void)plain;
}

TEST(SqliteDatabase, KeepsAFileInWalModeAndReopensItWithTheSameRows) {
    Fakes::TempFolder dir;
    auto file = dir.path / "nested" / "library.sqlite";
    Database::RecordingId id;
    {
        SqliteDatabase db(file);
        id = db.insertRecording(makeRecording("kept", 1000));
        db.saveTranscript(id, {seg(0, "hello")});
        EXPECT_EQ(db.userVersion(), SqliteDatabase::schemaVersion);
    }
    SqliteDatabase db(file);
    EXPECT_EQ(db.recording(id)->title, "kept");
    EXPECT_EQ(db.searchTranscripts("hello", 5).size(), 1u);
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(raw, "PRAGMA journal_mode", -1, &st, nullptr);
    ASSERT_EQ(sqlite3_step(st), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)), "wal");
    sqlite3_finalize(st);
    sqlite3_close(raw);
}

TEST(SqliteDatabase, DefaultFileLivesInTheDataFolder) {
    Fakes::TempFolder dir;
    ::setenv("VELLMORA_DATA_HOME", dir.path.c_str(), 1);
    EXPECT_EQ(SqliteDatabase::defaultPath(), dir.path / "library.sqlite");
    ::unsetenv("VELLMORA_DATA_HOME");
}

TEST(SqliteDatabase, RefusesAFileFromANewerVersionAndLeavesItUntouched) {
    Fakes::TempFolder dir;
    auto file = dir.path / "library.sqlite";
    { SqliteDatabase db(file); }
    runSql(file, "PRAGMA user_version = 99; CREATE TABLE future(x);");
    auto before = fileBytes(file);
    try {
        SqliteDatabase db(file);
        FAIL() << "opened a newer file";
    } catch (const DatabaseError& e) {
        EXPECT_EQ(e.kind(), DatabaseError::Kind::newerVersion);
        EXPECT_NE(e.description().find("newer version of Vellmora"), std::string::npos) << e.description();
    }
    EXPECT_EQ(fileBytes(file), before);
}

TEST(SqliteDatabase, ReportsACorruptFileAndNeverRewritesIt) {
    Fakes::TempFolder dir;
    for (std::string contents :
         {std::string("this is not a database at all, just text\n"),
          std::string("SQLite format 3") + std::string(1, '\0') + std::string(4000, 'x')}) {
        auto file = dir.path / "library.sqlite";
        {
            std::ofstream out(file, std::ios::binary);
            out << contents;
        }
        for (auto mode : {SqliteDatabase::Mode::readWrite, SqliteDatabase::Mode::readOnly}) {
            try {
                SqliteDatabase db(file, {mode, std::nullopt});
                FAIL() << "opened a corrupt file";
            } catch (const DatabaseError& e) {
                EXPECT_EQ(e.kind(), DatabaseError::Kind::corrupt);
                EXPECT_NE(e.description().find("damaged"), std::string::npos);
            }
            EXPECT_EQ(fileBytes(file), contents);
        }
    }
}

TEST(SqliteDatabase, MigratesAnOldFileForwardWithoutLosingARow) {
    Fakes::TempFolder dir;
    auto file = dir.path / "library.sqlite";
    {
        SqliteDatabase v1(file, {SqliteDatabase::Mode::readWrite, 1});
        EXPECT_EQ(v1.userVersion(), 1);
    }
    runSql(file,
           "INSERT INTO recordings(id, title, start_date, duration) VALUES (7, 'Old call', 1000000, 30);"
           "INSERT INTO transcript_segments(recording_id, start_time, text) VALUES (7, 1.5, 'from before');");
    SqliteDatabase db(file);
    EXPECT_EQ(db.userVersion(), SqliteDatabase::schemaVersion);
    auto r = db.recording(7);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->title, "Old call");
    EXPECT_EQ(r->audioLeadTime, std::nullopt);
    ASSERT_EQ(db.allSegments(7).size(), 1u);
    EXPECT_EQ(db.allSegments(7)[0].text, "from before");
    EXPECT_EQ(db.searchTranscripts("before", 5).size(), 1u);
    db.saveTopics(7, {{0, 0, "Intro", 0, 10, std::nullopt}});
    EXPECT_EQ(db.topics(7).size(), 1u);
}

TEST(SqliteDatabase, ReadOnlyModeReadsButRefusesEveryWrite) {
    Fakes::TempFolder dir;
    auto file = dir.path / "library.sqlite";
    Database::RecordingId id;
    {
        SqliteDatabase db(file);
        id = db.insertRecording(makeRecording("shared", 1000));
    }
    auto before = fileBytes(file);
    SqliteDatabase reader(file, {SqliteDatabase::Mode::readOnly, std::nullopt});
    EXPECT_EQ(reader.allRecordings().size(), 1u);
    try {
        reader.saveTitle(id, "changed");
        FAIL() << "wrote through a read-only store";
    } catch (const DatabaseError& e) {
        EXPECT_EQ(e.kind(), DatabaseError::Kind::readOnly);
    }
    EXPECT_THROW(reader.deleteRecording(id), DatabaseError);
    EXPECT_EQ(reader.recording(id)->title, "shared");
    EXPECT_THROW(SqliteDatabase(dir.path / "missing.sqlite", {SqliteDatabase::Mode::readOnly, std::nullopt}),
                 DatabaseError);
    EXPECT_FALSE(std::filesystem::exists(dir.path / "missing.sqlite"));
    EXPECT_EQ(fileBytes(file), before);
}

TEST(SqliteDatabase, EachSingleFieldEditStoresItsValueAndReportsOnlyARecordingThatExists) {
    SqliteDatabase db(":memory:");
    auto id = db.insertRecording(makeRecording("r", 1000));
    struct Edit {
        const char* name;
        std::function<void(Database::RecordingId)> apply;
        std::function<bool(const DatabaseManager::Recording&)> stored;
    };
    const Edit edits[] = {
        {"title", [&](auto r) { db.saveTitle(r, "Plan"); },
         [](const auto& rec) { return rec.title == "Plan"; }},
        {"summary", [&](auto r) { db.saveSummary(r, "Short"); },
         [](const auto& rec) { return rec.summary == "Short"; }},
        {"notes", [&](auto r) { db.saveNotes(r, "Bring slides"); },
         [](const auto& rec) { return rec.notes == "Bring slides"; }},
        {"video file", [&](auto r) { db.setVideoFile(r, std::filesystem::path("/v/r.mp4")); },
         [](const auto& rec) { return rec.videoFileURL == std::filesystem::path("/v/r.mp4"); }},
        {"favourite", [&](auto r) { db.setFavorite(r, true); },
         [](const auto& rec) { return rec.isFavorite; }},
    };
    for (const auto& edit : edits) {
        std::vector<DatabaseManager::Change> changes;
        auto sub = db.changed.connect([&](const DatabaseManager::Change& c) { changes.push_back(c); });
        edit.apply(id);
        edit.apply(id + 1);
        EXPECT_EQ(changes, (std::vector<DatabaseManager::Change>{{Kind::recordingUpdated, id}})) << edit.name;
        auto stored = db.recording(id);
        ASSERT_TRUE(stored) << edit.name;
        EXPECT_TRUE(edit.stored(*stored)) << edit.name;
    }
    db.setAudioLeadTime(id, 1.5);
    db.setAudioLeadTime(id + 1, 2.0);
    EXPECT_EQ(db.audioLeadTimes({id, id + 1}).at(id), 1.5);
}
