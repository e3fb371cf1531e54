#include "App/Cli.h"
#include "App/CommandLineRun.h"

#include "Support/Files.h"
#include "Support/Time.h"
#include "Support/Url.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarMeetingCoding.h"
#include "UI/calendar/CalendarReminderLedger.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>

namespace {

const Support::Date ten = Support::dateFromUnix(1795860000); // 2026-11-28T10:00:00Z

UI::CalendarMeeting meeting(const std::string& id, Support::Date start) {
    return UI::CalendarMeeting{.occurrenceKey = UI::CalendarMeeting::occurrenceKeyFor(id, start),
                               .calendarItemID = id,
                               .externalID = std::nullopt,
                               .calendarID = "work",
                               .title = "Meeting " + id,
                               .start = start,
                               .end = start + Support::seconds(1800),
                               .link = UI::MeetingLink{UI::MeetingService::zoom,
                                                       *Support::Url::parse("https://zoom.us/j/1234567890"),
                                                       std::nullopt},
                               .notesExcerpt = std::nullopt,
                               .attendees = {},
                               .organizer = std::nullopt};
}

struct ReminderCommands : ::testing::Test {
    std::filesystem::path folder;
    std::string out, err;

    ReminderCommands() {
        folder = std::filesystem::temp_directory_path() /
                 ("vellmora-reminders-" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(folder);
        ::setenv("VELLMORA_CONFIG_HOME", (folder / "config").c_str(), 1);
        Support::Files::writeAtomically(
            folder / "meetings.json",
            UI::toJson(
                std::vector<UI::CalendarMeeting>{meeting("B", ten + Support::seconds(60)), meeting("A", ten)})
                .dump());
    }
    ~ReminderCommands() override {
        std::filesystem::remove_all(folder);
        ::unsetenv("VELLMORA_CONFIG_HOME");
    }
    int run(std::vector<std::string> args) {
        auto result = CliTest::runVellmora(std::move(args));
        out = result.out;
        err = result.err;
        return result.status;
    }
    std::string meetingsFile() const { return (folder / "meetings.json").string(); }
};

} // namespace

TEST_F(ReminderCommands, PrintsThePlanAsJsonWithTheMainMeetingFirst) {
    ASSERT_EQ(run({"reminders", "plan", "--meetings", meetingsFile(), "--now", "2026-11-28T09:59:00Z"}), 0)
        << err;
    auto plan = nlohmann::json::parse(out);
    EXPECT_EQ(plan, nlohmann::json::parse(R"({"actions": [{"stage": "overlay",
        "occurrenceKeys": ["A|1795860000", "B|1795860060"]}], "withdrawnKeys": [], "nextWake": "2026-11-28T10:00:00Z"})"));
    EXPECT_LT(out.find("\"actions\""), out.find("\"withdrawnKeys\""));
    EXPECT_LT(out.find("\"withdrawnKeys\""), out.find("\"nextWake\""));
}

TEST_F(ReminderCommands, ReadsTheLeadTimesAndTheLedgerFromItsOptions) {
    UI::CalendarReminderLedger ledger;
    ledger.markShown(UI::CalendarReminderStage::headsUp, meeting("A", ten));
    ledger.markShown(UI::CalendarReminderStage::headsUp, meeting("Gone", ten));
    Support::Files::writeAtomically(folder / "ledger.json", ledger.encoded());
    ASSERT_EQ(run({"reminders", "plan", "--meetings", meetingsFile(), "--now", "2026-11-28T09:45:00Z",
                   "--overlay-minutes", "off", "--ledger", (folder / "ledger.json").string()}),
              0)
        << err;
    auto plan = nlohmann::json::parse(out);
    EXPECT_EQ(plan["actions"], nlohmann::json::parse(R"([])"));
    EXPECT_EQ(plan["withdrawnKeys"], nlohmann::json::parse(R"(["Gone|1795860000"])"));
    EXPECT_EQ(plan["nextWake"], "2026-11-28T09:46:00Z");

    ASSERT_EQ(run({"reminders", "plan", "--meetings", meetingsFile(), "--now", "2026-11-28T11:00:00Z",
                   "--heads-up-minutes", "off"}),
              0);
    EXPECT_EQ(nlohmann::json::parse(out)["nextWake"], nullptr);
}

TEST_F(ReminderCommands, RejectsBadInputWithAClearErrorAndStatusTwo) {
    Support::Files::writeAtomically(folder / "bad.json", "{\"entries\": 3}");
    struct Case {
        std::vector<std::string> extra;
        const char* message;
    } cases[] = {
        {{"--now", "yesterday"}, "--now: \"yesterday\" is not an ISO 8601 date"},
        {{"--now", "2026-11-28T09:45:00Z", "--heads-up-minutes", "soon"}, "--heads-up-minutes: \"soon\""},
        {{"--now", "2026-11-28T09:45:00Z", "--ledger", (folder / "bad.json").string()},
         "is not a reminder ledger"},
        {{"--now", "2026-11-28T09:45:00Z", "--ledger", (folder / "none.json").string()}, "does not exist"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = {"reminders", "plan", "--meetings", meetingsFile()};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        EXPECT_EQ(run(args), 2) << c.message;
        EXPECT_NE(err.find(c.message), std::string::npos) << err;
    }
    Support::Files::writeAtomically(folder / "meetings.json", "[{\"title\": 1}]");
    EXPECT_EQ(run({"reminders", "plan", "--meetings", meetingsFile(), "--now", "2026-11-28T09:45:00Z"}), 2);
    EXPECT_NE(err.find("--meetings:"), std::string::npos);
}

TEST_F(ReminderCommands, ShowsTheSettingsAndTheComingLedgerEntries) {
    {
        Support::JsonFileUserDefaults defaults(Support::JsonFileUserDefaults::defaultPath());
        defaults.setBool("calendar.remindersEnabled", true);
        defaults.setInteger("calendar.headsUpMinutes", 30);
        defaults.setInteger("calendar.overlayMinutes", -1);
        UI::CalendarReminderLedger ledger;
        ledger.markShown(UI::CalendarReminderStage::headsUp, meeting("A", ten));
        ledger.snooze(UI::CalendarReminderStage::headsUp, meeting("A", ten), ten - Support::seconds(300));
        ledger.markShown(UI::CalendarReminderStage::headsUp, meeting("Old", ten - Support::seconds(7200)));
        ledger.save(defaults);
    }
    ASSERT_EQ(run({"reminders", "status", "--now", "2026-11-28T09:40:00Z"}), 0) << err;
    EXPECT_NE(out.find("Reminders: on\nHeads-up: 30 minutes before\nOverlay: Off\n"), std::string::npos)
        << out;
    EXPECT_NE(out.find("A|1795860000\theads-up shown, headsUp snoozed until 2026-11-28T09:55:00Z"),
              std::string::npos)
        << out;
    EXPECT_EQ(out.find("Old|"), std::string::npos);
    ASSERT_EQ(run({"reminders", "status", "--json", "--now", "2026-11-28T09:40:00Z"}), 0) << err;
    auto status = nlohmann::json::parse(out);
    EXPECT_EQ(status["overlayMinutes"], nullptr);
    EXPECT_EQ(status["entries"]["A|1795860000"]["snoozedUntil"], "2026-11-28T09:55:00Z");
}
