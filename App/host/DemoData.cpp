#include "App/host/DemoData.h"

#include "Support/Files.h"
#include "UI/library/RecordingImporter.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <ctime>

namespace App::DemoData {

namespace {

std::string icsTime(Support::Date date) {
    std::time_t t = static_cast<std::time_t>(Support::unixSeconds(date));
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y%m%dT%H%M%SZ", &tm);
    return buf;
}

Support::Date nextWholeMinute(Support::Date d) {
    auto secs = static_cast<long long>(Support::unixSeconds(d));
    return Support::dateFromUnix(static_cast<double>((secs / 60 + 1) * 60));
}

struct DemoEvent {
    const char* uid;
    const char* title;
    Support::Date start;
    Support::Date end;
    const char* location;
    const char* description;
};

} // namespace

std::string calendarText(Support::Date now, std::optional<Support::Duration> meetingIn) {
    using namespace std::chrono;
    // Starts on the next whole minute at least a minute away, so its overlay (one minute before) is due
    // within the first minute of the demo.
    auto soon = meetingIn ? Support::dateFromUnix(static_cast<double>(
                                static_cast<long long>(Support::unixSeconds(now + *meetingIn))))
                          : nextWholeMinute(now + seconds(59));
    const DemoEvent events[] = {
        {"demo-design-review", "Design review", soon, soon + minutes(30),
         "https://zoom.us/j/81234567890?pwd=demo",
         "Join Zoom Meeting\\nhttps://zoom.us/j/81234567890?pwd=demo\\n\\nMeeting ID: 812 3456 7890"},
        {"demo-product-sync", "Weekly product sync", nextWholeMinute(now - minutes(11)),
         nextWholeMinute(now + minutes(19)), "", "Google Meet: https://meet.google.com/abc-defg-hij"},
        // Its heads-up (five minutes before) is due a few seconds into the demo.
        {"demo-customer-call", "Customer call: Northwind", now + seconds(320),
         now + seconds(320) + minutes(45), "Microsoft Teams Meeting",
         "Join on your computer: https://teams.microsoft.com/l/meetup-join/19%3ameeting_demo%40thread.v2/0"},
        {"demo-retro", "Sprint retro", nextWholeMinute(now + hours(3)),
         nextWholeMinute(now + hours(3) + minutes(45)), "", "https://meet.google.com/xyz-abcd-efg"},
        {"demo-one-on-one", "1:1 with Sam", nextWholeMinute(now + hours(24)),
         nextWholeMinute(now + hours(24) + minutes(30)), "https://zoom.us/j/85550001111", ""},
    };
    std::string out =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Vellmora//Demo//EN\r\nX-WR-CALNAME:Work\r\n";
    for (const auto& e : events) {
        out += "BEGIN:VEVENT\r\n";
        out += fmt::format("UID:{}\r\nDTSTAMP:{}\r\nDTSTART:{}\r\nDTEND:{}\r\nSUMMARY:{}\r\n", e.uid,
                           icsTime(now), icsTime(e.start), icsTime(e.end), e.title);
        if (*e.location) {
            out += fmt::format("LOCATION:{}\r\n", e.location);
        }
        if (*e.description) {
            out += fmt::format("DESCRIPTION:{}\r\n", e.description);
        }
        out += "ORGANIZER;CN=Alex Kim:mailto:alex@example.com\r\n";
        out += "ATTENDEE;CN=You;PARTSTAT=ACCEPTED:mailto:you@example.com\r\n";
        out += "ATTENDEE;CN=Sam Patel;PARTSTAT=ACCEPTED:mailto:sam@example.com\r\n";
        out += "END:VEVENT\r\n";
    }
    out += "END:VCALENDAR\r\n";
    return out;
}

void installCalendar(const std::filesystem::path& folder, Support::Date now, Support::UserDefaults& defaults,
                     std::optional<Support::Duration> meetingIn) {
    auto calendar = folder / "calendars" / "work";
    Support::Files::writeAtomically(calendar / "demo.ics", calendarText(now, meetingIn));
    Support::Files::writeAtomically(calendar / "displayname", "Work");
    defaults.set("calendar.sources", std::vector<std::string>{calendar.string()});
    defaults.set("calendar.userEmails", std::vector<std::string>{"you@example.com"});
    defaults.setBool("calendar.remindersEnabled", true);
    defaults.setInteger("calendar.headsUpMinutes", 5);
    defaults.setInteger("calendar.overlayMinutes", 1);
}

void installLibrary(Database::DatabaseManager& database, Support::Date now) {
    if (!database.allRecordings().empty()) {
        return;
    }
    using namespace std::chrono;
    struct Sample {
        const char* title;
        Support::Date start;
        const char* summary;
        std::vector<std::array<const char*, 2>> lines; // speaker, text
        std::vector<std::string> actionItems;
    };
    const Sample samples[] = {
        {"Quarterly planning",
         now - hours(26),
         "The team agreed on three goals for the quarter: ship offline mode, cut onboarding to one screen, "
         "and "
         "halve crash reports. Sam owns offline mode; Ana owns onboarding.",
         {{"Alex", "Let's start with the goals for the quarter."},
          {"Sam", "Offline mode is the one customers ask about most."},
          {"Ana", "Onboarding has five screens today; I think we can get it down to one."},
          {"Alex", "And crash reports should drop by half. Sam, can you own offline mode?"},
          {"Sam", "Yes, I'll write the plan by Friday."}},
         {"Sam writes the offline mode plan by Friday", "Ana drafts the one-screen onboarding"}},
        {"Café menu tasting",
         now - hours(50),
         "Tasting of the new café menu: the crème brûlée stays, the smørrebrød goes back to the kitchen.",
         {{"Mia", "The crème brûlée is perfect as it is."},
          {"Jon", "The smørrebrød needs more dill."},
          {"Mia", "Let's taste it again next week."}},
         {"Jon reworks the smørrebrød recipe"}},
        {"Customer call: Contoso",
         now - hours(24 * 8),
         "Contoso wants single sign-on before they roll out to 400 seats. Pricing was accepted.",
         {{"Lee", "We'd like single sign-on before the rollout."},
          {"Alex", "That's planned for next month."},
          {"Lee", "Then the pricing works for us, for 400 seats."}},
         {"Alex sends the single sign-on timeline to Lee"}},
    };
    for (const auto& s : samples) {
        nlohmann::json doc;
        doc["title"] = s.title;
        doc["startDate"] = Support::formatISO8601(s.start);
        doc["summary"] = s.summary;
        auto& segments = doc["segments"] = nlohmann::json::array();
        double t = 2;
        for (const auto& [speaker, text] : s.lines) {
            segments.push_back({{"start", t},
                                {"end", t + 6},
                                {"text", text},
                                {"speaker", speaker},
                                {"isFromMicrophone", std::string(speaker) == "Alex"}});
            t += 7;
        }
        auto imported = UI::RecordingImporter::parse(doc.dump());
        auto id = UI::RecordingImporter::store(database, imported);
        database.saveActionItems(id, s.actionItems);
    }
}

} // namespace App::DemoData
