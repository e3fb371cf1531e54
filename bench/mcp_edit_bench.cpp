// Adding and removing our MCP entry in a large AI-app settings file.
//
//   mcp_edit_bench                      benchmarks on a generated 20 MB file (thousands of keys, nested
//                                       objects, long strings, numbers such as 1.10 and 2^64+1)
//   mcp_edit_bench --data-dir DIR       also on every *.json file in DIR (copied first; yours stay untouched)
//   mcp_edit_bench --write-sample FILE  writes the generated file and exits (for timing `vellmora mcp edit`)
//   mcp_edit_bench --verify OLD NEW     exits 0 when NEW has exactly the numbers of OLD, each with the same
//                                       text, in the same order (our entry holds no number)
#include "UI/aiapps/MCPConfigFileWriter.h"
#include "UI/aiapps/MCPConfigMerger.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string generatedSettings(size_t targetBytes) {
    std::mt19937_64 random(42);
    std::string s = "{\n  \"version\": 1.10,\n  \"big\": 18446744073709551617,\n  \"tiny\": 1e-320,\n";
    s += "  \"mcpServers\": {\n";
    for (int i = 0; i < 200; ++i) {
        s += "    \"server" + std::to_string(i) + "\": {\"command\": \"/usr/bin/tool" + std::to_string(i) +
             "\", \"args\": [\"--port\", \"" + std::to_string(8000 + i) +
             "\"], \"timeout\": " + std::to_string(i) + ".50},\n";
    }
    s += "    \"last\": {\"command\": \"x\"}\n  },\n  \"projects\": {\n";
    size_t n = 0;
    while (s.size() < targetBytes) {
        s += "    \"/home/ada/project" + std::to_string(n) + "\": {\"history\": [";
        for (int j = 0; j < 8; ++j) {
            s += (j ? ", " : "") + std::string("{\"display\": \"") +
                 std::string(200 + random() % 400, 'a' + j) +
                 " caf\\u00e9 \\/ \\\"q\\\"\", \"cost\": " + std::to_string(random() % 1000) + "." +
                 std::to_string(random() % 100) + "0, \"id\": " + std::to_string(random()) + "}";
        }
        s += "], \"trusted\": true, \"ratio\": -0.0, \"big\": 18446744073709551617},\n";
        ++n;
    }
    s += "    \"end\": null\n  }\n}\n";
    return s;
}

/// The number tokens of a JSON text, in order (strings skipped).
std::vector<std::string_view> numbers(std::string_view text) {
    std::vector<std::string_view> out;
    for (size_t i = 0; i < text.size();) {
        char c = text[i];
        if (c == '"') {
            for (++i; i < text.size() && text[i] != '"'; ++i) {
                i += text[i] == '\\';
            }
            ++i;
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            size_t start = i;
            while (i < text.size() && std::strchr("+-0123456789.eE", text[i])) {
                ++i;
            }
            out.push_back(text.substr(start, i - start));
        } else {
            ++i;
        }
    }
    return out;
}

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

const UI::MCPConfigLocation location{"settings.json", "mcpServers"};

void editFile(benchmark::State& state, const fs::path& original) {
    auto dir = fs::temp_directory_path() / ("vellmora-mcp-bench-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    auto file = dir / original.filename();
    fs::copy_file(original, file, fs::copy_options::overwrite_existing);
    bool add = true;
    for (auto _ : state) {
        auto result = UI::MCPConfigFileWriter::update(
            file, location, UI::MCPEntryStyle::command, "/opt/vellmora/bin/vellmora-mcp",
            add ? UI::MCPConfigFileWriter::Kind::add : UI::MCPConfigFileWriter::Kind::remove);
        benchmark::DoNotOptimize(result);
        add = !add;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * fs::file_size(original)));
    fs::remove_all(dir);
}

void mergeInMemory(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        auto out = UI::MCPConfigMerger::upserting("/opt/vellmora/bin/vellmora-mcp",
                                                  UI::MCPEntryStyle::command, "mcpServers", text);
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest = {argv[0]};
    std::optional<fs::path> dataDir;
    for (int i = 1; i < argc; ++i) {
        std::string_view a = argv[i];
        if (a == "--write-sample" && i + 1 < argc) {
            std::ofstream(argv[i + 1], std::ios::binary) << generatedSettings(20 * 1024 * 1024);
            return 0;
        }
        if (a == "--verify" && i + 2 < argc) {
            auto before = slurp(argv[i + 1]), after = slurp(argv[i + 2]);
            bool same = numbers(before) == numbers(after);
            std::cout << (same ? "every number's text is unchanged" : "numbers differ") << " ("
                      << numbers(before).size() << " numbers)\n";
            return same ? 0 : 1;
        }
        if (a == "--data-dir" && i + 1 < argc) {
            dataDir = argv[++i];
            continue;
        }
        rest.push_back(argv[i]);
    }

    static const std::string sample = generatedSettings(20 * 1024 * 1024);
    auto samplePath =
        fs::temp_directory_path() / ("vellmora-mcp-sample-" + std::to_string(::getpid()) + ".json");
    std::ofstream(samplePath, std::ios::binary) << sample;
    benchmark::RegisterBenchmark("MergeInMemory/generated20MB", mergeInMemory, sample)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("EditFile/generated20MB", editFile, samplePath)
        ->Unit(benchmark::kMillisecond);
    if (dataDir) {
        for (const auto& e : fs::directory_iterator(*dataDir)) {
            if (e.path().extension() == ".json") {
                benchmark::RegisterBenchmark(("EditFile/" + e.path().filename().string()).c_str(), editFile,
                                             e.path())
                    ->Unit(benchmark::kMillisecond);
            }
        }
    }
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fs::remove(samplePath);
    return 0;
}
