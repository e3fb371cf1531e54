#include "App/Cli.h"
#include "App/CommandLineRun.h"

#include "Support/UserDefaults.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using Result = CliTest::CommandResult;

struct CalendarCommands : ::testing::Test {
    fs::path home;
    CalendarCommands() {
        char pattern[] = "/tmp/vellmora-cli-XXXXXX";
        home = ::mkdtemp(pattern);
    }
    ~CalendarCommands() override {
        std::error_code ec;
        fs::remove_all(home, ec);
    }
    Result run(std::vector<std::string> args, const std::string& input = "") {
        args.insert(args.begin(),
                    {"--config-dir", (home / "config").string(), "--cache-dir", (home / "cache").string()});
        return CliTest::runVellmora(std::move(args), input);
    }
    void write(const fs::path& relative, const std::string& text) {
        fs::create_directories((home / relative).parent_path());
        std::ofstream(home / relative, std::ios::binary) << text;
    }
};

const std::string invitation = "Hi all,\nJoin Zoom Meeting\nhttps://us02web.zoom.us/j/86512345678?pwd=abc\n"
                               "Or meet.google.com/abc-defg-hij\n";

std::string event(const std::string& uid, const std::string& start, const std::string& extra) {
    return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTART:" + start + "\r\nDURATION:PT30M\r\nSUMMARY:" + uid +
           "\r\n" + extra + "END:VEVENT\r\n";
}

} // namespace

TEST_F(CalendarCommands, LinksPrintsOneTabSeparatedLinePerLink) {
    auto r = run({"links"}, invitation);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "zoom\thttps://us02web.zoom.us/j/86512345678?pwd=abc\t"
                     "zoommtg://us02web.zoom.us/join?action=join&confno=86512345678&pwd=abc\n"
                     "meet\thttps://meet.google.com/abc-defg-hij\t-\n");
}

TEST_F(CalendarCommands, LinksPrintsJsonAndOneArrayPerNulSeparatedText) {
    auto r = run({"links", "--json"}, invitation);
    auto json = nlohmann::json::parse(r.out);
    ASSERT_EQ(json.size(), 2u);
    EXPECT_EQ(json[1]["service"], "meet");
    EXPECT_TRUE(json[1]["nativeURL"].is_null());

    r = run({"links", "--nul"}, std::string("https://zoom.us/j/1234567890\0nothing\0", 37));
    EXPECT_EQ(r.out,
              "[{\"nativeURL\":\"zoommtg://zoom.us/join?action=join&confno=1234567890\",\"service\":\"zoom\","
              "\"webURL\":\"https://zoom.us/j/1234567890\"}]\n[]\n");
}

TEST_F(CalendarCommands, ClassifyPrintsTheLinkOrNoneForEachUrl) {
    auto r = run({"classify", "https://teams.live.com/meet/123", "https://example.com", "not a url"});
    EXPECT_EQ(r.out, "teams\thttps://teams.live.com/meet/123\tmsteams:/meet/123\nnone\nnone\n");
}

TEST_F(CalendarCommands, NotesExcerptExitsWithOneWhenThereIsNoExcerpt) {
    auto r = run({"notes-excerpt"}, "Agenda\n" + invitation);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Agenda\nHi all,\n\nOr\n");
    r = run({"notes-excerpt"}, "Join Zoom Meeting\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
}

TEST_F(CalendarCommands, MeetingsListsTheWindowsMeetingsAsJson) {
    write("cal/a.ics",
          "BEGIN:VCALENDAR\r\n" +
              event("standup", "20261127T090000Z", "LOCATION:https://zoom.us/j/1234567890\r\n") +
              event("lunch", "20261127T120000Z", "LOCATION:Canteen\r\n") +
              event("later", "20261203T090000Z", "URL:https://meet.google.com/abc-defg-hij\r\n") +
              "END:VCALENDAR\r\n");
    auto r = run({"meetings", "--calendar", (home / "cal").string(), "--now", "2026-11-27T08:00:00Z",
                  "--time-zone", "UTC", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto json = nlohmann::json::parse(r.out);
    ASSERT_EQ(json.size(), 1u);
    EXPECT_EQ(json[0]["occurrenceKey"], "standup|1795770000");
    EXPECT_EQ(json[0]["start"], "2026-11-27T09:00:00Z");
    EXPECT_EQ(json[0]["calendarID"], (home / "cal").string());
    EXPECT_EQ(json[0]["link"]["service"], "zoom");
}

TEST_F(CalendarCommands, MeetingsExplainsWhyAnEventIsNoMeeting) {
    write("cal/a.ics", "BEGIN:VCALENDAR\r\n" +
                           event("standup", "20261127T090000Z", "LOCATION:https://zoom.us/j/1234567890\r\n") +
                           event("lunch", "20261127T120000Z", "LOCATION:Canteen\r\n") + "END:VCALENDAR\r\n");
    write("config/defaults.json", "{\"calendar.sources\": [\"" + (home / "cal").string() + "\"]}");
    auto r = run({"meetings", "--now", "2026-11-27T08:00:00Z", "--time-zone", "UTC", "--explain",
                  "--no-desktop-calendars"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("standup\t" + (home / "cal").string() + "\tzoom link from location"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("lunch\t" + (home / "cal").string() + "\tnoLink: "), std::string::npos) << r.out;

    r = run({"meetings", "--now", "2026-11-27T08:00:00Z", "--time-zone", "UTC", "--explain", "--json",
             "--no-desktop-calendars", "--exclude", (home / "cal").string()});
    auto json = nlohmann::json::parse(r.out);
    EXPECT_TRUE(json["meetings"].empty());
    EXPECT_EQ(json["dropped"][0]["rule"], "excludedCalendar");
}

TEST_F(CalendarCommands, MeetingsReportsUnreadableCalendarsAndBadInput) {
    write("bad.ics", "not a calendar");
    auto r = run({"meetings", "--calendar", (home / "bad.ics").string(), "--now", "2026-11-27T08:00:00Z"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("cannot be read"), std::string::npos);
    EXPECT_EQ(run({"meetings", "--now", "yesterday", "--calendar", "x"}).status, 2);
    EXPECT_EQ(run({"meetings", "--no-desktop-calendars"}).status, 2); // no calendars configured
}

TEST_F(CalendarCommands, WithoutASessionBusTheDesktopCalendarsAreNotTriedAndOneLineSaysSo) {
    write("cal/a.ics", "BEGIN:VCALENDAR\r\n" +
                           event("Sync", "20261127T090000Z", "URL:https://zoom.us/j/1234567890\r\n") +
                           "END:VCALENDAR\r\n");
    const char* bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const std::optional<std::string> saved = bus ? std::optional<std::string>(bus) : std::nullopt;
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    auto r = run({"meetings", "--now", "2026-11-27T08:00:00Z", "--time-zone", "UTC"});
    auto withCalendar = run({"meetings", "--now", "2026-11-27T08:00:00Z", "--time-zone", "UTC", "--calendar",
                             (home / "cal/a.ics").string()});
    if (saved) {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", saved->c_str(), 1);
    }
    EXPECT_EQ(r.status, 2) << "no calendars are left";
    EXPECT_EQ(r.err.rfind("vellmora: desktop calendars are not available: there is no session bus "
                          "(DBUS_SESSION_BUS_ADDRESS is not set)\n",
                          0),
              0u)
        << r.err;
    EXPECT_EQ(withCalendar.status, 0) << withCalendar.err;
    EXPECT_EQ(withCalendar.err, "") << "explicit sources leave the desktop calendars out";
    EXPECT_EQ(withCalendar.out,
              "2026-11-27T09:00:00Z\t2026-11-27T09:30:00Z\tzoom\tSync\thttps://zoom.us/j/1234567890\n");
}

TEST_F(CalendarCommands, MeetingsPutsAFloatingMeetingInTheZoneTzNamesHoweverItIsSpelled) {
    if (!fs::exists("/usr/share/zoneinfo/Europe/Berlin")) {
        GTEST_SKIP() << "no zoneinfo (package tzdata)";
    }
    write("cal/a.ics", "BEGIN:VCALENDAR\r\n" +
                           event("review", "20261127T150000", "LOCATION:https://zoom.us/j/1234567890\r\n") +
                           "END:VCALENDAR\r\n");
    const char* saved = std::getenv("TZ");
    std::optional<std::string> before = saved ? std::optional<std::string>(saved) : std::nullopt;
    for (const char* tz : {"Europe/Berlin", ":Europe/Berlin", ":/usr/share/zoneinfo/Europe/Berlin",
                           "/usr/share/zoneinfo/Europe/Berlin"}) {
        ::setenv("TZ", tz, 1);
        auto r = run(
            {"meetings", "--calendar", (home / "cal").string(), "--now", "2026-11-27T08:00:00Z", "--json"});
        ASSERT_EQ(r.status, 0) << r.err;
        auto json = nlohmann::json::parse(r.out);
        ASSERT_EQ(json.size(), 1u) << tz;
        EXPECT_EQ(json[0]["start"], "2026-11-27T14:00:00Z") << tz;
    }
    if (before) {
        ::setenv("TZ", before->c_str(), 1);
    } else {
        ::unsetenv("TZ");
    }
}

TEST_F(CalendarCommands, MeetingsExplainsConferenceLinksUnknownZonesAndImpossibleTimes) {
    write("cal/a.ics",
          "BEGIN:VCALENDAR\r\n" +
              event("google", "20261127T090000Z",
                    "X-GOOGLE-CONFERENCE:https://meet.google.com/abc-defg-hij\r\n") +
              "BEGIN:VEVENT\r\nUID:mars\r\nDTSTART;TZID=Mars/Olympus_Mons:20261127T100000\r\n"
              "DURATION:PT30M\r\nSUMMARY:mars\r\nCONFERENCE;VALUE=URI;FEATURE=VIDEO:https://zoom.us/j/"
              "1234567890\r\n"
              "END:VEVENT\r\n"
              "BEGIN:VEVENT\r\nUID:forever\r\nDTSTART:20261127T110000Z\r\nDURATION:P99999999W\r\n"
              "SUMMARY:forever\r\nURL:https://zoom.us/j/1234567890\r\nEND:VEVENT\r\n"
              "END:VCALENDAR\r\n");
    auto cal = (home / "cal").string();
    auto r = run(
        {"meetings", "--calendar", cal, "--now", "2026-11-27T08:00:00Z", "--time-zone", "UTC", "--explain"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("google\t" + cal + "\tmeet link from conference"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2026-11-27T10:00:00Z\tmars\t" + cal +
                         "\tzoom link from conference\thttps://zoom.us/j/1234567890\ttime zone "
                         "'Mars/Olympus_Mons' not known: read as local time"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("forever\t" + cal + "\toutOfRange: "), std::string::npos) << r.out;

    r = run({"meetings", "--calendar", cal, "--now", "2026-11-27T08:00:00Z", "--time-zone", "UTC",
             "--explain", "--json"});
    auto json = nlohmann::json::parse(r.out);
    ASSERT_EQ(json["meetings"].size(), 2u);
    EXPECT_EQ(json["meetings"][0]["linkSource"], "conference");
    EXPECT_EQ(json["meetings"][1]["timeZoneNote"],
              "time zone 'Mars/Olympus_Mons' not known: read as local time");
    ASSERT_EQ(json["dropped"].size(), 1u);
    EXPECT_EQ(json["dropped"][0]["rule"], "outOfRange");
}
