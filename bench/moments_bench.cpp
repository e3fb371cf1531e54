// Moment search (full-text transcript search, ranked, capped per recording) over 1,000 hours of
// transcripts: 1,000 one-hour recordings of 720 five-second segments, in a temporary SQLite file. With
// --data-dir DIR it searches DIR/library.sqlite (read-only) instead.
#include "BenchData.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/UnifiedSearchEngine.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <unistd.h>

namespace {

std::unique_ptr<Database::SqliteDatabase> db;

void generate(const std::filesystem::path& file) {
    db = std::make_unique<Database::SqliteDatabase>(file);
    std::mt19937 rng(11);
    for (int r = 0; r < 1000; ++r) {
        Database::DatabaseManager::Recording rec;
        rec.title = BenchData::sentence(rng, 2, 5);
        rec.startDate = Support::dateFromUnix(1'700'000'000.0 + r * 86400.0);
        rec.duration = 3600;
        auto id = db->insertRecording(rec);
        std::vector<Database::DatabaseManager::TranscriptSegment> segs(720);
        for (int s = 0; s < 720; ++s) {
            segs[s].startTime = s * 5.0;
            segs[s].endTime = s * 5.0 + 5;
            segs[s].text = BenchData::sentence(rng, 8, 14);
            segs[s].speaker = s % 2 ? "Ana" : "Ben";
        }
        // A few distinctive phrases, as real meetings have.
        segs[static_cast<std::size_t>(r % 720)].text += " kubernetes migration";
        db->saveTranscript(id, segs);
    }
}

void BM_MomentSearch(benchmark::State& state, const char* query) {
    Intelligence::UnifiedSearchEngine engine(*db);
    std::size_t hits = 0;
    for (auto _ : state) {
        auto results = engine.search(query);
        hits = results.hits.size();
        benchmark::DoNotOptimize(results.hits.data());
    }
    state.counters["hits"] = static_cast<double>(hits);
}

// A fresh connection's first search (what one `vellmora library search` pays): the lengths of the matching
// segments are not in memory yet and are looked up one by one.
void BM_FirstSearchAfterOpen(benchmark::State& state, const char* query) {
    std::size_t hits = 0;
    for (auto _ : state) {
        Database::SqliteDatabase fresh(
            db->path(),
            Database::SqliteDatabase::Options{Database::SqliteDatabase::Mode::readOnly, std::nullopt});
        hits = Intelligence::UnifiedSearchEngine(fresh).search(query).hits.size();
    }
    state.counters["hits"] = static_cast<double>(hits);
}

// Reading every segment's length in one pass, which a connection does once lookups one by one have cost as
// much.
void BM_ReadAllSegmentLengths(benchmark::State& state) {
    sqlite3* raw = nullptr;
    sqlite3_open_v2(db->path().c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
    std::size_t known = 0;
    for (auto _ : state) {
        Database::PassageRank rank;
        rank.load(raw);
        known = rank.knownCount();
    }
    sqlite3_close(raw);
    state.counters["segments"] = static_cast<double>(known);
}

BENCHMARK(BM_ReadAllSegmentLengths)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FirstSearchAfterOpen, rare_phrase, "kubernetes migration")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_FirstSearchAfterOpen, common_word, "budget")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_MomentSearch, rare_phrase, "kubernetes migration")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_MomentSearch, two_words, "budget roadmap")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_MomentSearch, accented_prefix, "cafe")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_MomentSearch, common_word, "budget")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    auto dataDir = BenchData::takeDataDir(argc, argv);
    std::filesystem::path temp;
    if (dataDir) {
        db = std::make_unique<Database::SqliteDatabase>(
            std::filesystem::path(*dataDir) / "library.sqlite",
            Database::SqliteDatabase::Options{Database::SqliteDatabase::Mode::readOnly, std::nullopt});
    } else {
        temp =
            std::filesystem::temp_directory_path() / ("vellmora-moments-bench-" + std::to_string(::getpid()));
        std::fprintf(stderr, "Generating 1,000 hours of transcripts in %s...\n", temp.c_str());
        generate(temp / "library.sqlite");
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    db.reset();
    if (!temp.empty()) {
        std::filesystem::remove_all(temp);
    }
}
