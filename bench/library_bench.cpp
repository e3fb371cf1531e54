// The library's text search over 100,000 recordings: the folded keys built at load, and one keystroke's
// text stage (scan the keys, copy the matching recordings). With --data-dir DIR it runs on
// DIR/library.sqlite instead of generated titles.
#include "BenchData.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "UI/library/RecordingTextIndex.h"

#include <benchmark/benchmark.h>

namespace {

std::vector<Database::DatabaseManager::Recording> recordings;

void generate(std::size_t count) {
    std::mt19937 rng(42);
    recordings.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto& r = recordings[i];
        r.id = static_cast<Database::RecordingId>(i + 1);
        r.title = BenchData::sentence(rng, 2, 6);
        if (i % 3 == 0) {
            r.notes = BenchData::sentence(rng, 5, 20);
        }
        r.startDate = Support::dateFromUnix(1'700'000'000.0 + static_cast<double>(i) * 3600);
    }
}

void BM_BuildFoldedKeys(benchmark::State& state) {
    for (auto _ : state) {
        UI::RecordingTextIndex index;
        index.rebuild(recordings);
        benchmark::DoNotOptimize(index.size());
    }
    state.counters["recordings"] = static_cast<double>(recordings.size());
}

void BM_TextStageQuery(benchmark::State& state, const char* query) {
    UI::RecordingTextIndex index;
    index.rebuild(recordings);
    std::size_t kept = 0;
    for (auto _ : state) {
        const auto positions = index.matching(query, false);
        std::vector<Database::DatabaseManager::Recording> matches;
        matches.reserve(positions.size());
        for (auto i : positions) {
            matches.push_back(recordings[i]);
        }
        kept = matches.size();
        benchmark::DoNotOptimize(matches.data());
    }
    state.counters["matches"] = static_cast<double>(kept);
}

// The scan alone, without copying the matching recordings out.
void BM_TextStageScanOnly(benchmark::State& state, const char* query) {
    UI::RecordingTextIndex index;
    index.rebuild(recordings);
    for (auto _ : state) {
        auto positions = index.matching(query, false);
        benchmark::DoNotOptimize(positions.data());
    }
}

BENCHMARK(BM_BuildFoldedKeys)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TextStageQuery, rare_word, "zebra")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TextStageQuery, accent_folded, "cafe roadmap")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TextStageQuery, common_word, "budget")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TextStageScanOnly, common_word, "budget")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    auto dataDir = BenchData::takeDataDir(argc, argv);
    if (dataDir) {
        Database::SqliteDatabase db(std::filesystem::path(*dataDir) / "library.sqlite",
                                    {Database::SqliteDatabase::Mode::readOnly, std::nullopt});
        recordings = db.allRecordings();
    } else {
        generate(100'000);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
