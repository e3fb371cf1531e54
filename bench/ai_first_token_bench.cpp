// Our time to the first token beyond the provider's own: a loopback provider streams its first event at
// once, and each benchmark measures from the request to the first text fragment:
//   BM_ProviderFirstChunk     the bare HTTP stream (the provider's and the transport's share),
//   BM_EngineFirstToken       the engine: request building, SSE parsing and JSON decoding on top,
//   BM_TitleJobFirstToken     the whole title path: readiness, the library read, prompt building.
// Our overhead is the difference to BM_ProviderFirstChunk. `--data-dir DIR` uses the first transcribed
// recording of your own library for the title path instead of a generated one-hour meeting.
#include "tests/Fakes/FakeAIProvider.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/AIService.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "UI/ai/AIGenerationClient.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <fmt/format.h>

namespace {

std::optional<std::filesystem::path> dataDir;

struct World {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(0)};
    Platform::CurlHttpClient http;
    Fakes::FakeAIProvider provider;
    std::unique_ptr<Database::SqliteDatabase> database;
    std::unique_ptr<Intelligence::AIService> ai;
    Database::RecordingId recordingId = 0;

    World() {
        provider.setDefault({{"First", " rest of the answer"}});
        Intelligence::AIProviderSettings settings;
        settings.provider = Intelligence::AIProvider::openAICompatible;
        settings.openAIBaseURL = provider.baseURL();
        ai = std::make_unique<Intelligence::AIService>(http, scheduler, settings,
                                                       Intelligence::AIKeys{"k", ""});
        if (dataDir) {
            database = std::make_unique<Database::SqliteDatabase>(
                *dataDir / "library.sqlite",
                Database::SqliteDatabase::Options{Database::SqliteDatabase::Mode::readOnly, {}});
            for (const auto& r : database->allRecordings()) {
                if (r.hasTranscript) {
                    recordingId = r.id;
                    break;
                }
            }
        } else {
            database = std::make_unique<Database::SqliteDatabase>(":memory:");
            Database::DatabaseManager::Recording r;
            r.title = "Planning";
            recordingId = database->insertRecording(r);
            std::vector<Database::DatabaseManager::TranscriptSegment> segments;
            for (int s = 0; s < 3600; s += 5) {
                segments.push_back(
                    {0, 0, double(s), double(s + 5),
                     fmt::format("We should revisit the rollout plan for item {} before Friday.", s),
                     s % 10 ? "Bob" : "Alice", false});
            }
            database->saveTranscript(recordingId, segments);
        }
    }

    void waitFor(const bool& flag) {
        while (!flag) {
            loop.runOne(5);
        }
    }
};

Intelligence::AIService::Request request() {
    Intelligence::AIService::Request r;
    r.instruction = "Generate a title.";
    r.context = "Alice: let's plan the rollout.";
    r.systemPrompt = "You generate concise meeting titles.";
    r.parameters = Intelligence::LLMEngine::GenerationParameters::title();
    return r;
}

void BM_ProviderFirstChunk(benchmark::State& state) {
    World world;
    const auto http = world.ai->httpRequest(request());
    for (auto _ : state) {
        bool first = false;
        Platform::HttpStreamHandlers handlers;
        handlers.onChunk = [&first](const std::string&) { first = true; };
        auto transfer = world.http.stream(http, handlers);
        world.waitFor(first);
        state.PauseTiming();
        transfer.cancel();
        while (!transfer.isDone()) {
            world.loop.runOne(5);
        }
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ProviderFirstChunk)->Unit(benchmark::kMillisecond)->UseRealTime();

template <typename MakeStream> void firstToken(benchmark::State& state, World& world, MakeStream make) {
    for (auto _ : state) {
        bool first = false;
        auto stream = make();
        auto reader = Support::startTask([stream, &first]() -> Support::Task<void> {
            auto fragment = co_await stream.next();
            first = fragment.has_value();
            if (!first) {
                throw std::runtime_error("no first token");
            }
        });
        while (!reader.isDone()) {
            world.loop.runOne(5);
        }
        reader.get();
        state.PauseTiming();
        stream.cancel();
        world.loop.runUntilIdle();
        while (world.http.activeTransfers() > 0) {
            world.loop.runOne(5);
        }
        state.ResumeTiming();
    }
}

void BM_EngineFirstToken(benchmark::State& state) {
    World world;
    firstToken(state, world, [&] { return world.ai->generate(request()); });
}
BENCHMARK(BM_EngineFirstToken)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_TitleJobFirstToken(benchmark::State& state) {
    World world;
    auto client = UI::AIGenerationClient::live(*world.database, *world.ai);
    firstToken(state, world, [&] { return client.title(world.recordingId); });
}
BENCHMARK(BM_TitleJobFirstToken)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--data-dir") == 0 && i + 1 < argc) {
            dataDir = argv[++i];
        } else {
            args.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
