// Speed of finding meeting links in notes and of the notes excerpt, over generated invitations of all three
// services (HTML, dial-in blocks, safe-links, redirects), or over the files of --data-dir DIR (one note per
// file). Goals: links(in:) at least 100 MB/s, excerpt at least 50 MB/s, on one core.
#include "MeetingNotesGenerator.h"

#include "UI/calendar/CalendarNotesSanitizer.h"
#include "UI/calendar/LinkDetector.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::vector<std::string>& corpus() {
    static std::vector<std::string> notes;
    return notes;
}

std::size_t totalBytes() {
    std::size_t n = 0;
    for (const auto& s : corpus()) {
        n += s.size();
    }
    return n;
}

void linksInNotes(benchmark::State& state) {
    std::size_t found = 0;
    for (auto _ : state) {
        for (const auto& notes : corpus()) {
            found += UI::MeetingLinkExtractor::links(notes).size();
        }
    }
    benchmark::DoNotOptimize(found);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * totalBytes()));
}
BENCHMARK(linksInNotes)->Unit(benchmark::kMillisecond);

// The detector's part of linksInNotes: finding the link-like tokens, before any is parsed or classified.
void detectorScan(benchmark::State& state) {
    std::size_t found = 0;
    for (auto _ : state) {
        for (const auto& notes : corpus()) {
            UI::LinkDetector::forEachLink(notes, [&found](const UI::DetectedLink&) {
                ++found;
                return true;
            });
        }
    }
    benchmark::DoNotOptimize(found);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * totalBytes()));
}
BENCHMARK(detectorScan)->Unit(benchmark::kMillisecond);

void notesExcerpt(benchmark::State& state) {
    std::size_t length = 0;
    for (auto _ : state) {
        for (const auto& notes : corpus()) {
            length += UI::CalendarNotesSanitizer::excerpt(notes).value_or("").size();
        }
    }
    benchmark::DoNotOptimize(length);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * totalBytes()));
}
BENCHMARK(notesExcerpt)->Unit(benchmark::kMillisecond);

void linksInOneMegabyteLine(benchmark::State& state) {
    std::string line;
    while (line.size() < 1'000'000) {
        line += "https://zoom.us/j/1234567890?pwd=x&q=" + std::string(50, 'a') + ")";
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(UI::MeetingLinkExtractor::links(line));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * line.size()));
}
BENCHMARK(linksInOneMegabyteLine)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest;
    std::string dataDir;
    for (int i = 0; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--data-dir" && i + 1 < argc) {
            dataDir = argv[++i];
        } else {
            rest.push_back(argv[i]);
        }
    }
    if (!dataDir.empty()) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dataDir)) {
            if (entry.is_regular_file()) {
                std::ifstream in(entry.path(), std::ios::binary);
                std::ostringstream s;
                s << in.rdbuf();
                corpus().push_back(s.str());
            }
        }
    } else {
        corpus() = Bench::invitationCorpus(2000);
    }
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
