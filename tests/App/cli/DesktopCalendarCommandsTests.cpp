// `vellmora calendars` and `vellmora meetings` over the desktop's calendars: the real Evolution Data Server
// on a private session bus, with calendars and events made through libecal.
#if VELLMORA_HAVE_EDS

#include "App/CommandLineRun.h"
#include "Platform/Linux/EdsTestDesktop.h"
#include "Platform/Linux/EdsTestEvents.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

struct DesktopCalendarCommands : ::testing::Test {
    static inline EdsTest::Calendars* calendars = nullptr;
    fs::path config;

    void SetUp() override {
        auto& desktop = EdsTest::Desktop::shared();
        if (!desktop.problem().empty()) {
            GTEST_SKIP() << "Evolution Data Server cannot run here: " << desktop.problem();
        }
        if (!calendars) {
            calendars = new EdsTest::Calendars(EdsTest::Calendars::make(desktop));
        }
        char pattern[] = "/tmp/vellmora-cli-eds-XXXXXX";
        config = ::mkdtemp(pattern);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(config, ec);
    }
    CliTest::CommandResult run(std::vector<std::string> args) {
        args.insert(args.begin(),
                    {"--config-dir", config.string(), "--cache-dir", (config / "cache").string()});
        return CliTest::runVellmora(std::move(args));
    }
    nlohmann::json calendarNamed(const nlohmann::json& list, const std::string& id) {
        for (const auto& c : list) {
            if (c["id"] == id) {
                return c;
            }
        }
        return nullptr;
    }
    /// The dropped events' rules and the meetings' link sources by title, for `meetings --explain --json`.
    std::map<std::string, std::string> explain(const std::string& now) {
        auto r = run({"meetings", "--explain", "--json", "--now", now, "--time-zone", "Europe/Berlin"});
        EXPECT_EQ(r.status, 0) << r.err;
        auto json = nlohmann::json::parse(r.out);
        std::map<std::string, std::string> out;
        for (const auto& m : json["meetings"]) {
            out[m["title"]] = "meeting from " + m["linkSource"].get<std::string>();
        }
        for (const auto& d : json["dropped"]) {
            out[d["title"]] = d["rule"];
        }
        return out;
    }
};

TEST_F(DesktopCalendarCommands, CalendarsListsEveryDesktopCalendarAndExcludesAndIncludesOne) {
    auto r = run({"calendars", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto work = calendarNamed(nlohmann::json::parse(r.out), calendars->workID);
    ASSERT_FALSE(work.is_null()) << r.out;
    EXPECT_EQ(work["title"], "Work");
    EXPECT_EQ(work["account"], "On This Computer");
    EXPECT_EQ(work["accountKind"], "onMyMac");
    EXPECT_EQ(work["kind"], "local");
    EXPECT_EQ(work["colorHex"], "#3465A4");
    EXPECT_EQ(work["excluded"], false);

    ASSERT_EQ(run({"calendars", "exclude", calendars->homeID}).status, 0);
    auto home = calendarNamed(nlohmann::json::parse(run({"calendars", "--json"}).out), calendars->homeID);
    EXPECT_EQ(home["excluded"], true);
    r = run({"calendars"});
    EXPECT_NE(r.out.find("On This Computer (On My Mac)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  Home\tlocal\t#73D216\t" + calendars->homeID + "\texcluded\n"), std::string::npos)
        << r.out;

    ASSERT_EQ(run({"calendars", "include", calendars->homeID}).status, 0);
    home = calendarNamed(nlohmann::json::parse(run({"calendars", "--json"}).out), calendars->homeID);
    EXPECT_EQ(home["excluded"], false);
    EXPECT_TRUE(
        calendarNamed(nlohmann::json::parse(run({"calendars", "--json", "--no-desktop-calendars"}).out),
                      calendars->workID)
            .is_null());
}

TEST_F(DesktopCalendarCommands, MeetingsReadsTheDesktopCalendarsAndSaysWhyEachOtherEventIsNoMeeting) {
    ASSERT_EQ(run({"calendars", "exclude", calendars->homeID}).status, 0);
    auto day = explain("2026-12-02T09:00:00Z");
    EXPECT_EQ(day["Design review"], "meeting from url");
    EXPECT_EQ(day["Dentist call"], "excludedCalendar");
    EXPECT_EQ(day["Holiday"], "allDay");
    EXPECT_EQ(day["Vendor pitch"], "declined");

    EXPECT_EQ(explain("2026-12-08T07:00:00Z")["Standup"], "meeting from location"); // the moved occurrence
    EXPECT_EQ(explain("2026-12-15T07:00:00Z").count("Standup"), 0u);                // EXDATE
    EXPECT_EQ(explain("2026-12-22T07:00:00Z")["Standup"], "canceled");
    EXPECT_EQ(explain("2026-12-04T07:00:00Z")["Board sync"], "meeting from htmlNotes");

    auto r = run({"meetings", "--now", "2026-12-08T07:00:00Z", "--time-zone", "Europe/Berlin"});
    EXPECT_EQ(
        r.out,
        "2026-12-08T10:00:00Z\t2026-12-08T10:15:00Z\tmeet\tStandup\thttps://meet.google.com/abc-defg-hij\n");
    r = run({"meetings", "--now", "2026-12-08T07:00:00Z", "--no-desktop-calendars"});
    EXPECT_EQ(r.status, 2) << "no calendars are left";
}

TEST_F(DesktopCalendarCommands, WithoutTheDesktopServiceOneLineSaysSoAndTheFileCalendarsStillServe) {
    std::ofstream(config / "a.ics")
        << "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:x\r\nDTSTART:20261127T090000Z\r\n"
           "DURATION:PT30M\r\nSUMMARY:Sync\r\nURL:https://zoom.us/j/1234567890\r\n"
           "END:VEVENT\r\nEND:VCALENDAR\r\n";
    std::ofstream(config / "defaults.json")
        << nlohmann::json({{"calendar.sources", {(config / "a.ics").string()}}});
    auto command = "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (config / "no-bus").string() + " " +
                   std::string(VELLMORA_BINARY) + " --config-dir " + config.string() + " --cache-dir " +
                   (config / "cache").string() + " meetings --now 2026-11-27T08:00:00Z --time-zone UTC 2>" +
                   (config / "err").string();
    std::string out;
    if (FILE* p = ::popen(command.c_str(), "r")) {
        char buffer[512];
        while (auto n = std::fread(buffer, 1, sizeof buffer, p)) {
            out.append(buffer, n);
        }
        EXPECT_EQ(::pclose(p), 0);
    }
    std::ifstream errFile(config / "err");
    std::string err((std::istreambuf_iterator<char>(errFile)), {});
    EXPECT_EQ(out, "2026-11-27T09:00:00Z\t2026-11-27T09:30:00Z\tzoom\tSync\thttps://zoom.us/j/1234567890\n");
    EXPECT_EQ(err.rfind("vellmora: desktop calendars are not available: ", 0), 0u) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
}

// The program itself has no EDS in it: it loads the store from vellmora-eds.so beside it.
TEST_F(DesktopCalendarCommands, TheProgramReadsTheDesktopCalendarsThroughItsModule) {
    auto command = std::string(VELLMORA_BINARY) + " --config-dir " + config.string() + " --cache-dir " +
                   (config / "cache").string() + " calendars --json 2>&1";
    std::string output;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
            output.append(buffer, n);
        }
        EXPECT_EQ(::pclose(pipe), 0) << output;
    }
    EXPECT_EQ(output.find("not available"), std::string::npos) << output;
    EXPECT_NE(output.find(calendars->workID), std::string::npos) << output;
}

} // namespace

#endif
