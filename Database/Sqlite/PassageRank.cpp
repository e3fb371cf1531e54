#include "Database/Sqlite/PassageRank.h"

#include "Support/Log.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace Database {

namespace {

const Support::Logger log("database");

// bm25's constants: term-frequency saturation and length normalisation.
constexpr double k1 = 1.2;
constexpr double b = 0.75;

/// What one query's scores share: the average row length and each phrase's inverse document frequency.
struct QueryStatistics {
    std::int64_t rows = 0;
    double averageLength = 1;
    std::vector<double> idf;
    std::vector<double> frequency; // per phrase, for the current row
};

int countRow(const Fts5ExtensionApi*, Fts5Context*, void* count) {
    ++*static_cast<sqlite3_int64*>(count);
    return SQLITE_OK;
}

int computeStatistics(const Fts5ExtensionApi* api, Fts5Context* fts, QueryStatistics& out) {
    sqlite3_int64 rows = 0;
    sqlite3_int64 tokens = 0;
    int rc = api->xRowCount(fts, &rows);
    if (rc == SQLITE_OK) {
        rc = api->xColumnTotalSize(fts, -1, &tokens);
    }
    if (rc != SQLITE_OK) {
        return rc;
    }
    rows = std::max<sqlite3_int64>(rows, 1);
    out.rows = rows;
    tokens = std::max<sqlite3_int64>(tokens, 1);
    out.averageLength = static_cast<double>(tokens) / static_cast<double>(rows);
    const int phrases = api->xPhraseCount(fts);
    out.idf.assign(static_cast<std::size_t>(phrases), 0.0);
    out.frequency.assign(static_cast<std::size_t>(phrases), 0.0);
    for (int i = 0; i < phrases; ++i) {
        sqlite3_int64 hits = 0;
        rc = api->xQueryPhrase(fts, i, &hits, countRow);
        if (rc != SQLITE_OK) {
            return rc;
        }
        // A phrase in more than half the rows would get a negative weight: it gets a tiny positive one.
        double idf = std::log((static_cast<double>(rows) - static_cast<double>(hits) + 0.5) /
                              (static_cast<double>(hits) + 0.5));
        out.idf[static_cast<std::size_t>(i)] = idf <= 0.0 ? 1e-6 : idf;
    }
    return SQLITE_OK;
}

void passageRankFunction(const Fts5ExtensionApi* api, Fts5Context* fts, sqlite3_context* context, int,
                         sqlite3_value**) {
    auto* rank = static_cast<PassageRank*>(api->xUserData(fts));
    auto* stats = static_cast<QueryStatistics*>(api->xGetAuxdata(fts, 0));
    int rc = SQLITE_OK;
    try {
        if (!stats) {
            auto fresh = std::make_unique<QueryStatistics>();
            rc = computeStatistics(api, fts, *fresh);
            if (rc == SQLITE_OK) {
                stats = fresh.get();
                // On failure FTS5 deletes the statistics itself.
                rc = api->xSetAuxdata(fts, fresh.release(),
                                      [](void* p) { delete static_cast<QueryStatistics*>(p); });
            }
        }
    } catch (const std::bad_alloc&) {
        rc = SQLITE_NOMEM;
    }
    int instances = 0;
    if (rc == SQLITE_OK) {
        std::fill(stats->frequency.begin(), stats->frequency.end(), 0.0);
        rc = api->xInstCount(fts, &instances);
    }
    for (int i = 0; rc == SQLITE_OK && i < instances; ++i) {
        int phrase = 0;
        int column = 0;
        int offset = 0;
        rc = api->xInst(fts, i, &phrase, &column, &offset);
        if (rc == SQLITE_OK) {
            stats->frequency[static_cast<std::size_t>(phrase)] += 1.0;
        }
    }
    double length = 0;
    if (rc == SQLITE_OK) {
        const sqlite3_int64 id = api->xRowid(fts);
        if (auto known = rank->length(id)) {
            length = *known;
        } else {
            int tokens = 0;
            rc = api->xColumnSize(fts, -1, &tokens);
            if (rc == SQLITE_OK) {
                rank->countLookup(stats->rows);
                rank->remember(id, static_cast<std::uint32_t>(std::max(tokens, 0)));
                length = tokens;
            }
        }
    }
    if (rc != SQLITE_OK) {
        sqlite3_result_error_code(context, rc);
        return;
    }
    double score = 0;
    for (std::size_t i = 0; i < stats->idf.size(); ++i) {
        const double f = stats->frequency[i];
        score += stats->idf[i] * ((f * (k1 + 1.0)) / (f + k1 * (1 - b + b * length / stats->averageLength)));
    }
    sqlite3_result_double(context, -1.0 * score);
}

fts5_api* ftsApi(sqlite3* db) {
    fts5_api* api = nullptr;
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT fts5(?1)", -1, &s, nullptr) == SQLITE_OK) {
        sqlite3_bind_pointer(s, 1, static_cast<void*>(&api), "fts5_api_ptr", nullptr);
        sqlite3_step(s);
    }
    sqlite3_finalize(s);
    return api;
}

/// The first varint of an FTS5 size record (SQLite's big-endian varint: seven bits a byte, high bit set on
/// every byte but the last); nullopt when malformed or too large for a length.
std::optional<std::uint32_t> firstVarint(const unsigned char* p, int size) {
    std::uint64_t value = 0;
    for (int i = 0; i < size && i < 5; ++i) {
        value = (value << 7) | (p[i] & 0x7f);
        if ((p[i] & 0x80) == 0) {
            return value <= 0xffffffffu ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(value))
                                        : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> dataVersion(sqlite3* db) {
    sqlite3_stmt* s = nullptr;
    std::optional<std::int64_t> version;
    if (sqlite3_prepare_v2(db, "PRAGMA data_version", -1, &s, nullptr) == SQLITE_OK &&
        sqlite3_step(s) == SQLITE_ROW) {
        version = sqlite3_column_int64(s, 0);
    }
    sqlite3_finalize(s);
    return version;
}

} // namespace

bool PassageRank::install(sqlite3* db) {
    fts5_api* api = ftsApi(db);
    if (!api || api->iVersion < 2) {
        log.warning("FTS5 ranking functions are not available; transcript search ranks with bm25()");
        return false;
    }
    if (api->xCreateFunction(api, "passage_rank", this, passageRankFunction, nullptr) != SQLITE_OK) {
        return false;
    }
    // Every change to a segment, by a statement or a cascade, makes its remembered length unknown again.
    sqlite3_update_hook(
        db,
        [](void* rank, int, const char*, const char* table, sqlite3_int64 id) {
            if (std::strcmp(table, "transcript_segments") == 0) {
                static_cast<PassageRank*>(rank)->forget(id);
            }
        },
        this);
    return true;
}

void PassageRank::prepare(sqlite3* db) {
    auto version = dataVersion(db);
    if (version != dataVersion_) {
        clear();
        dataVersion_ = version;
    }
    if (!loaded_ && indexRows_ > 0 && lookups_ * lookupCostInRows >= indexRows_) {
        load(db);
    }
}

void PassageRank::countLookup(std::int64_t indexRows) {
    ++lookups_;
    indexRows_ = indexRows;
}

void PassageRank::load(sqlite3* db) {
    loaded_ = true;
    // The index keeps each row's length in its docsize table, one size record per row in id order: one
    // sequential pass instead of a lookup per match. Rows it cannot read are left to FTS5.
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT id, sz FROM segments_fts_docsize", -1, &s, nullptr) != SQLITE_OK) {
        sqlite3_finalize(s);
        return;
    }
    while (sqlite3_step(s) == SQLITE_ROW) {
        const auto* sizes = static_cast<const unsigned char*>(sqlite3_column_blob(s, 1));
        if (auto tokens = firstVarint(sizes, sqlite3_column_bytes(s, 1))) {
            remember(sqlite3_column_int64(s, 0), *tokens);
        }
    }
    sqlite3_finalize(s);
}

void PassageRank::forget(std::int64_t id) {
    if (id >= 0 && id < static_cast<std::int64_t>(byId_.size())) {
        byId_[static_cast<std::size_t>(id)] = unknown;
    }
}

std::optional<std::uint32_t> PassageRank::length(std::int64_t id) const {
    if (id >= 0 && id < static_cast<std::int64_t>(byId_.size())) {
        const auto tokens = byId_[static_cast<std::size_t>(id)];
        if (tokens != unknown) {
            return tokens;
        }
    }
    return std::nullopt;
}

void PassageRank::remember(std::int64_t id, std::uint32_t tokens) {
    if (id < 0 || id >= maximumId || tokens >= unknown) {
        return;
    }
    const auto at = static_cast<std::size_t>(id);
    if (at >= byId_.size()) {
        try {
            byId_.resize(std::max(at + 1, byId_.size() + byId_.size() / 2), unknown);
        } catch (const std::bad_alloc&) {
            return; // called from SQLite: the length is simply looked up again next time
        }
    }
    byId_[at] = static_cast<std::uint16_t>(tokens);
}

std::size_t PassageRank::knownCount() const {
    return static_cast<std::size_t>(
        std::count_if(byId_.begin(), byId_.end(), [](std::uint16_t tokens) { return tokens != unknown; }));
}

void PassageRank::clear() {
    byId_.clear();
    byId_.shrink_to_fit();
    loaded_ = false;
    lookups_ = 0;
}

} // namespace Database
