#include "Database/Sqlite/PassageRank.h"

#include "Fakes/TempFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

using Database::PassageRank;

namespace {

// The transcript tables as the library creates them: segments with an external-content FTS5 index kept in
// step by triggers.
const char* const schema = R"sql(
CREATE TABLE IF NOT EXISTS transcript_segments(id INTEGER PRIMARY KEY, text TEXT NOT NULL);
CREATE VIRTUAL TABLE IF NOT EXISTS segments_fts USING fts5(text, content='transcript_segments',
    content_rowid='id', tokenize='unicode61 remove_diacritics 2');
CREATE TRIGGER IF NOT EXISTS segments_fts_insert AFTER INSERT ON transcript_segments BEGIN
    INSERT INTO segments_fts(rowid, text) VALUES (new.id, new.text);
END;
CREATE TRIGGER IF NOT EXISTS segments_fts_delete AFTER DELETE ON transcript_segments BEGIN
    INSERT INTO segments_fts(segments_fts, rowid, text) VALUES ('delete', old.id, old.text);
END;
CREATE TRIGGER IF NOT EXISTS segments_fts_update AFTER UPDATE OF text ON transcript_segments BEGIN
    INSERT INTO segments_fts(segments_fts, rowid, text) VALUES ('delete', old.id, old.text);
    INSERT INTO segments_fts(rowid, text) VALUES (new.id, new.text);
END;
)sql";

struct Connection {
    sqlite3* db = nullptr;
    PassageRank rank;

    explicit Connection(const std::string& path) {
        EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        exec(schema);
        EXPECT_TRUE(rank.install(db));
    }
    ~Connection() { sqlite3_close(db); }

    void exec(const std::string& sql) {
        char* message = nullptr;
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message << sql;
        sqlite3_free(message);
    }

    void insert(std::int64_t id, const std::string& text) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(db, "INSERT INTO transcript_segments(id, text) VALUES (?, ?)", -1, &s, nullptr);
        sqlite3_bind_int64(s, 1, id);
        sqlite3_bind_text(s, 2, text.c_str(), -1, SQLITE_TRANSIENT);
        EXPECT_EQ(sqlite3_step(s), SQLITE_DONE);
        sqlite3_finalize(s);
    }

    struct Row {
        std::int64_t id;
        double bm25;
        double passageRank;
    };
    /// Both scores of every row matching `match`, after the search's preparation.
    std::vector<Row> scores(const std::string& match) {
        rank.prepare(db);
        std::vector<Row> rows;
        sqlite3_stmt* s = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(db,
                                     "SELECT rowid, bm25(segments_fts), passage_rank(segments_fts) FROM "
                                     "segments_fts WHERE segments_fts MATCH ? ORDER BY rowid",
                                     -1, &s, nullptr),
                  SQLITE_OK);
        sqlite3_bind_text(s, 1, match.c_str(), -1, SQLITE_TRANSIENT);
        int rc = 0;
        while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
            rows.push_back(
                {sqlite3_column_int64(s, 0), sqlite3_column_double(s, 1), sqlite3_column_double(s, 2)});
        }
        EXPECT_EQ(rc, SQLITE_DONE) << sqlite3_errmsg(db);
        sqlite3_finalize(s);
        return rows;
    }
};

std::string words(const std::string& word, int count) {
    std::string out;
    for (int i = 0; i < count; ++i) {
        out += (i ? " " : "") + word;
    }
    return out;
}

// Checks that every query ranks exactly as bm25() does on `c` in its current state.
void expectBm25Scores(Connection& c, const std::string& state) {
    const char* const queries[] = {
        "\"budget\"*", "\"cafe\"*", "\"budget\"* \"cafe\"*", "\"roadmap\"", "\"the budget\"", "\"zz\"*",
    };
    for (const char* query : queries) {
        auto rows = c.scores(query);
        for (const auto& row : rows) {
            EXPECT_DOUBLE_EQ(row.passageRank, row.bm25) << state << ": " << query << " row " << row.id;
        }
    }
}

} // namespace

TEST(PassageRank, GivesBm25ScoresWhetherLengthsAreLookedUpReadInOnePassOrForgotten) {
    Connection c(":memory:");
    // Lengths that need one, two and three bytes in the index's size records, a repeated word, words only
    // in some rows, and accents the tokenizer folds.
    std::mt19937 random(7);
    const char* vocabulary[] = {"the", "budget", "Café", "roadmap", "and", "hiring", "we"};
    for (std::int64_t id = 1; id <= 60; ++id) {
        std::string text;
        const int length = 1 + static_cast<int>(random() % 25);
        for (int i = 0; i < length; ++i) {
            text += std::string(i ? " " : "") + vocabulary[random() % 7];
        }
        c.insert(id, text);
    }
    c.insert(100, words("budget", 3) + " " + words("filler", 200));
    c.insert(101, "cafe " + words("filler", 20'000));
    c.insert(102, "budget budget");

    EXPECT_EQ(c.rank.knownCount(), 0u);
    expectBm25Scores(c, "looked up");
    EXPECT_GT(c.rank.knownCount(), 0u) << "lengths looked up are kept";
    c.rank.clear();
    c.rank.load(c.db);
    EXPECT_EQ(c.rank.knownCount(), 63u);
    expectBm25Scores(c, "read in one pass");

    // A segment rewritten, one deleted and its id given to a longer one: their old lengths must go.
    c.exec(
        "UPDATE transcript_segments SET text = 'budget ' || text || ' more words than before' WHERE id = 3");
    c.exec("DELETE FROM transcript_segments WHERE id = 102");
    c.insert(102, "budget " + words("roadmap", 40));
    expectBm25Scores(c, "after changes");
}

TEST(PassageRank, ForgetsEveryLengthWhenAnotherConnectionWrites) {
    Fakes::TempFolder folder;
    const auto path = (folder.path / "library.sqlite").string();
    Connection reader(path);
    Connection writer(path);
    for (std::int64_t id = 1; id <= 20; ++id) {
        writer.insert(id, "budget " + words("talk", static_cast<int>(id)));
    }
    reader.rank.load(reader.db);
    expectBm25Scores(reader, "before");
    // The writer's own hook sees its change; the reader only sees the file move on.
    writer.exec("UPDATE transcript_segments SET text = 'budget' WHERE id = 20");
    writer.exec("DELETE FROM transcript_segments WHERE id = 19");
    writer.insert(19, "budget " + words("talk", 300));
    expectBm25Scores(reader, "after another connection wrote");
}

TEST(PassageRank, ReadsAllLengthsOnceLookupsHaveCostAsMuch) {
    Connection c(":memory:");
    for (std::int64_t id = 1; id <= 120; ++id) {
        c.insert(id, id <= 5 ? "budget meeting" : id <= 20 ? "other words" : "filler");
    }
    c.scores("\"budget\"");
    EXPECT_EQ(c.rank.knownCount(), 5u) << "five lookups cost less than reading 120 lengths";
    c.scores("\"budget\"");
    EXPECT_EQ(c.rank.knownCount(), 5u) << "known lengths are not looked up again";
    c.scores("\"other\"");
    EXPECT_EQ(c.rank.knownCount(), 20u);
    c.scores("\"budget\"");
    EXPECT_EQ(c.rank.knownCount(), 120u) << "twenty lookups cost as much as reading all";
}
