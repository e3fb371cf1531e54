// The ranking of transcript matches: FTS5's bm25 (same constants, same scores), but with each segment's
// length in tokens read from memory. bm25() looks the length up in the index for every matching row, which
// was most of the time of a search for a common word.
//
// SQL: `passage_rank(segments_fts)` in a query over segments_fts; lower is better, like bm25().
//
// A length not yet known is asked of FTS5 for that row (what bm25() does for every row) and kept. Once the
// lookups have cost about as much as reading every length in one sequential pass would, `prepare` reads
// them all: a single search from the command line pays no more than bm25(), and a session that searches
// often soon has every length in memory. Lengths are forgotten row by row as transcript segments change
// (`forget`, from the connection's update hook) and all at once when another connection has written
// (`PRAGMA data_version` moved). A missing length only costs time, never a wrong score.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

struct sqlite3;

namespace Database {

class PassageRank {
public:
    /// Registers `passage_rank` on `db` for this object's lifetime, and watches the connection's changes to
    /// transcript_segments (its update hook); false when the connection has no FTS5 (searches then rank
    /// with bm25()).
    bool install(sqlite3* db);

    /// Before a search on `db`: drops the lengths when another connection has changed the file, and loads
    /// them all once enough have been looked up one by one.
    void prepare(sqlite3* db);
    /// Reads every length in one pass now.
    void load(sqlite3* db);

    /// Forgets the length of segment `id` (changed or deleted).
    void forget(std::int64_t id);

    /// The length of segment `id` in tokens, when known.
    std::optional<std::uint32_t> length(std::int64_t id) const;
    void remember(std::int64_t id, std::uint32_t tokens);
    /// Counts a length looked up in the index for a search over `indexRows` rows.
    void countLookup(std::int64_t indexRows);

    /// Segments whose length is held (for tests and benchmarks).
    std::size_t knownCount() const;
    void clear();

private:
    static constexpr std::uint16_t unknown = 0xFFFF;
    /// Lengths by segment id; ids past this stay unknown (asked of FTS5 each time) rather than growing the
    /// table without bound.
    static constexpr std::int64_t maximumId = std::int64_t{1} << 26;
    /// A lookup in the index costs about as much as reading this many lengths in one pass.
    static constexpr std::int64_t lookupCostInRows = 12;
    std::vector<std::uint16_t> byId_;
    bool loaded_ = false;
    std::int64_t lookups_ = 0;
    std::int64_t indexRows_ = 0;
    std::optional<std::int64_t> dataVersion_;
};

} // namespace Database
