// The transcript formatter over a 1,000,000-segment transcript (about 1,400 hours of speech), the text
// "Copy All" produces. With --data-dir DIR it formats the longest transcript of DIR/library.sqlite.
#include "BenchData.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Database/TranscriptTextFormatter.h"

#include <benchmark/benchmark.h>

namespace {

std::vector<Database::DatabaseManager::TranscriptSegment> segments;

void generate(std::size_t count) {
    std::mt19937 rng(7);
    const char* speakers[] = {"Ana", "Ben", "", "Chloé"};
    segments.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto& s = segments[i];
        s.id = static_cast<std::int64_t>(i + 1);
        s.startTime = static_cast<double>(i) * 5.0;
        s.text = BenchData::sentence(rng, 4, 16);
        if (i % 50 == 0) {
            s.text = "<|en|> " + s.text;
        }
        s.speaker = speakers[(i / 3) % 4];
        s.isFromMicrophone = i % 7 == 0;
    }
}

void BM_FormatterLines(benchmark::State& state) {
    std::size_t lines = 0;
    for (auto _ : state) {
        auto out = Database::TranscriptTextFormatter::lines(segments);
        lines = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["segments"] = static_cast<double>(segments.size());
    state.counters["lines"] = static_cast<double>(lines);
}

BENCHMARK(BM_FormatterLines)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char** argv) {
    auto dataDir = BenchData::takeDataDir(argc, argv);
    if (dataDir) {
        Database::SqliteDatabase db(std::filesystem::path(*dataDir) / "library.sqlite",
                                    {Database::SqliteDatabase::Mode::readOnly, std::nullopt});
        for (const auto& r : db.allRecordings()) {
            auto all = db.allSegments(r.id);
            if (all.size() > segments.size()) {
                segments = std::move(all);
            }
        }
    } else {
        generate(1'000'000);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
