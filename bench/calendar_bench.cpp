// Speed of reading a large calendar: a generated two-year calendar of 10,000 events (weekly and daily series
// with moved and cancelled occurrences, events in several time zones, invitations of all three services in
// their notes) expanded over the fetch window and filtered into meetings.
//
//   calendar_bench                       run the benchmarks on the generated calendar
//   calendar_bench --write-ics FILE      write the generated calendar and stop (for timing the whole
//                                        `vellmora meetings --json --calendar FILE --now
//                                        2026-06-15T08:00:00Z`)
//   calendar_bench --data-dir DIR        run on the .ics files of DIR instead
#include "MeetingNotesGenerator.h"

#include "Platform/Linux/ICalendarStore.h"
#include "UI/calendar/CalendarMeetingFilter.h"
#include "UI/calendar/CalendarSource.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

const Support::Date windowStart = *Support::parseISO8601("2026-06-15T07:00:00Z");
const Support::Date windowEnd = *Support::parseISO8601("2026-06-17T00:00:00Z");

std::string escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\n') {
            out += "\\n";
        } else if (c == ',' || c == ';' || c == '\\') {
            out += '\\';
            out += c;
        } else {
            out += c;
        }
    }
    return out;
}

/// Content lines folded at 75 octets, as calendar servers write them.
void appendLine(std::string& out, const std::string& line) {
    std::size_t pos = 0;
    while (line.size() - pos > 75) {
        std::size_t cut = pos + (pos == 0 ? 75 : 74);
        while (cut > pos + 1 && (static_cast<unsigned char>(line[cut]) & 0xC0) == 0x80) {
            --cut;
        }
        out.append(line, pos, cut - pos);
        out += "\r\n ";
        pos = cut;
    }
    out.append(line, pos, std::string::npos);
    out += "\r\n";
}

std::string stamp(int dayOffset, int hour, int minute) {
    // Days counted from 2025-07-01.
    std::tm tm{};
    tm.tm_year = 125;
    tm.tm_mon = 6;
    tm.tm_mday = 1 + dayOffset;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    timegm(&tm);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d%02d%02dT%02d%02d00", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min);
    return buf;
}

std::string generatedCalendar(int events) {
    std::mt19937 rng(7);
    const char* zones[] = {"Europe/Berlin", "America/New_York", "Asia/Tokyo"};
    std::string out =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Vellmora//bench//EN\r\nX-WR-CALNAME:Work\r\n";
    for (int i = 0; i < events; ++i) {
        std::string uid = "event-" + std::to_string(i) + "@bench.example";
        int day = static_cast<int>(rng() % 730);
        int hour = 8 + static_cast<int>(rng() % 9);
        const char* zone = zones[rng() % 3];
        bool series = i % 20 == 0;
        auto emit = [&](const std::string& extra, const std::string& start, const std::string& title) {
            out += "BEGIN:VEVENT\r\n";
            appendLine(out, "UID:" + uid);
            out += "DTSTAMP:20250601T000000Z\r\n";
            appendLine(out, std::string("DTSTART;TZID=") + zone + ":" + start);
            out += "DURATION:PT" + std::to_string(30 + 30 * (rng() % 2)) + "M\r\n";
            appendLine(out, "SUMMARY:" + escaped(title));
            appendLine(out, "ORGANIZER;CN=Jane Roe:mailto:jane@bench.example");
            appendLine(out, "ATTENDEE;CN=Me;PARTSTAT=ACCEPTED:mailto:me@bench.example");
            appendLine(out, "ATTENDEE;CN=Sam Poe;PARTSTAT=TENTATIVE:mailto:sam@bench.example");
            appendLine(out, "DESCRIPTION:" + escaped(Bench::invitationNotes(rng)));
            out += extra;
            out += "END:VEVENT\r\n";
        };
        if (series) {
            bool daily = i % 40 == 0;
            auto start = stamp(day % 200, hour, 0);
            emit(std::string(daily ? "RRULE:FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR\r\n" : "RRULE:FREQ=WEEKLY\r\n") +
                     "EXDATE;TZID=" + zone + ":" + stamp(day % 200 + 14, hour, 0) + "\r\n",
                 start, "Series " + std::to_string(i));
            // A moved and a cancelled occurrence.
            std::string moved =
                "RECURRENCE-ID;TZID=" + std::string(zone) + ":" + stamp(day % 200 + 7, hour, 0) + "\r\n";
            emit(moved, stamp(day % 200 + 7, hour + 1, 30), "Series " + std::to_string(i) + " (moved)");
            emit("RECURRENCE-ID;TZID=" + std::string(zone) + ":" + stamp(day % 200 + 21, hour, 0) +
                     "\r\nSTATUS:CANCELLED\r\n",
                 stamp(day % 200 + 21, hour, 0), "Series " + std::to_string(i));
            i += 2;
        } else {
            emit("", stamp(day, hour, 15 * static_cast<int>(rng() % 4)), "Meeting " + std::to_string(i));
        }
    }
    out += "END:VCALENDAR\r\n";
    return out;
}

std::vector<std::string>& calendars() {
    static std::vector<std::string> texts;
    return texts;
}

void expandWindow(benchmark::State& state) {
    std::size_t count = 0;
    for (auto _ : state) {
        for (const auto& text : calendars()) {
            count += Platform::ICalendarStore::occurrencesInText(text, "bench", windowStart, windowEnd,
                                                                 "Europe/Berlin", {"me@bench.example"})
                         .size();
        }
    }
    state.counters["occurrences"] = static_cast<double>(count) / static_cast<double>(state.iterations());
}
BENCHMARK(expandWindow)->Unit(benchmark::kMillisecond);

void meetingsOfWindow(benchmark::State& state) {
    std::vector<UI::CalendarEventFields> fields;
    for (const auto& text : calendars()) {
        for (const auto& e : Platform::ICalendarStore::occurrencesInText(
                 text, "bench", windowStart, windowEnd, "Europe/Berlin", {"me@bench.example"})) {
            fields.push_back(UI::CalendarSource::fields(e));
        }
    }
    std::size_t count = 0;
    for (auto _ : state) {
        count += UI::CalendarMeetingFilter::meetings(fields, {}).size();
    }
    state.counters["events"] = static_cast<double>(fields.size());
    benchmark::DoNotOptimize(count);
}
BENCHMARK(meetingsOfWindow)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest;
    std::string dataDir;
    std::string writeTo;
    for (int i = 0; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--data-dir" && i + 1 < argc) {
            dataDir = argv[++i];
        } else if (arg == "--write-ics" && i + 1 < argc) {
            writeTo = argv[++i];
        } else {
            rest.push_back(argv[i]);
        }
    }
    if (!writeTo.empty()) {
        std::ofstream(writeTo, std::ios::binary) << generatedCalendar(10000);
        return 0;
    }
    if (!dataDir.empty()) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dataDir)) {
            if (entry.is_regular_file() && entry.path().extension() == ".ics") {
                std::ifstream in(entry.path(), std::ios::binary);
                std::ostringstream s;
                s << in.rdbuf();
                calendars().push_back(s.str());
            }
        }
    } else {
        calendars().push_back(generatedCalendar(10000));
    }
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
