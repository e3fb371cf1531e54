// The reminder planner's cost per pass: the coordinator runs it at least every five minutes over every
// meeting of the fetch window. Generated: 1,000 meetings over two days, a third of them with ledger
// entries. `--data-dir DIR` plans over DIR/meetings.json instead (a JSON array as `vellmora meetings
// --json` prints it) with DIR/ledger.json when present.
#include "Support/Files.h"
#include "Support/Time.h"
#include "Support/Url.h"
#include "UI/calendar/CalendarMeetingCoding.h"
#include "UI/calendar/CalendarReminderLedger.h"
#include "UI/calendar/CalendarReminderPlanner.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace {

const Support::Date morning = Support::dateFromUnix(1795852800); // 2026-11-28T08:00:00Z
std::string dataDir;

struct Input {
    std::vector<UI::CalendarMeeting> meetings;
    UI::CalendarReminderLedger ledger;
    Support::Date now = morning;
};

Input generated(int count) {
    Input input;
    auto link = UI::MeetingLink{UI::MeetingService::zoom,
                                *Support::Url::parse("https://zoom.us/j/1234567890"), std::nullopt};
    for (int i = 0; i < count; ++i) {
        auto id = "event-" + std::to_string(i);
        // Starts every ~3 minutes over two days, some at the same minute.
        auto start = morning + Support::seconds((i * 173) % 172800 - 3600);
        UI::CalendarMeeting m{.occurrenceKey = UI::CalendarMeeting::occurrenceKeyFor(id, start),
                              .calendarItemID = id,
                              .externalID = std::nullopt,
                              .calendarID = "work",
                              .title = "Meeting " + std::to_string(i),
                              .start = start,
                              .end = start + Support::seconds(1800),
                              .link = link,
                              .notesExcerpt = std::nullopt,
                              .attendees = {},
                              .organizer = std::nullopt};
        if (i % 3 == 0) {
            input.ledger.markShown(UI::CalendarReminderStage::headsUp, m);
        }
        input.meetings.push_back(std::move(m));
    }
    return input;
}

Input fromDataDir() {
    Input input;
    auto text = Support::Files::readIfExists(std::filesystem::path(dataDir) / "meetings.json");
    if (!text) {
        std::cerr << "reminders_bench: no meetings.json in " << dataDir << "\n";
        std::exit(2);
    }
    input.meetings = UI::meetingsFromJson(nlohmann::json::parse(*text));
    if (auto ledger = Support::Files::readIfExists(std::filesystem::path(dataDir) / "ledger.json")) {
        input.ledger = UI::CalendarReminderLedger::decode(*ledger).value_or(UI::CalendarReminderLedger{});
    }
    input.now = input.meetings.empty() ? morning : input.meetings.front().start;
    return input;
}

void planningPass(benchmark::State& state) {
    auto input = dataDir.empty() ? generated(static_cast<int>(state.range(0))) : fromDataDir();
    UI::CalendarReminderSettings settings;
    settings.isEnabled = true;
    for (auto _ : state) {
        auto plan = UI::CalendarReminderPlanner::plan(input.meetings, input.now, settings, input.ledger);
        benchmark::DoNotOptimize(plan);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(input.meetings.size()));
}
BENCHMARK(planningPass)->Arg(1000)->Unit(benchmark::kMicrosecond);

void ledgerRoundTrip(benchmark::State& state) {
    auto input = generated(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        auto decoded = UI::CalendarReminderLedger::decode(input.ledger.encoded());
        benchmark::DoNotOptimize(decoded);
    }
}
BENCHMARK(ledgerRoundTrip)->Arg(1000)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--data-dir") == 0 && i + 1 < argc) {
            dataDir = argv[++i];
        } else {
            rest.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
