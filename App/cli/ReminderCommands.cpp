// `vellmora reminders plan`: runs the reminder planner once over meetings from a file, at a given moment,
// and prints what it would present, take back and when it would look again, changing nothing.
// `vellmora reminders status`: the user's reminder settings, the ledger entries of the coming meetings and
// the next moment the reminders change, read from the user's defaults and calendars.
#include "App/Cli.h"
#include "App/host/HostEnvironment.h"

#include "App/cli/CalendarCliSupport.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"
#include "Support/Time.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarFetchWindow.h"
#include "UI/calendar/CalendarMeetingCoding.h"
#include "UI/calendar/CalendarReminderLedger.h"
#include "UI/calendar/CalendarReminderPlanner.h"
#include "UI/calendar/CalendarReminderSettings.h"
#include "UI/calendar/CalendarSource.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <memory>

namespace App {

namespace {

using ordered = nlohmann::ordered_json;

struct PlanOptions {
    std::string meetingsFile;
    std::string now;
    std::string headsUp = "15";
    std::string overlay = "1";
    std::string ledgerFile;
};

struct StatusOptions {
    bool json = false;
    std::string now;
    bool noDesktop = false;
};

Support::Date parseNow(const std::string& text) {
    auto parsed = Support::parseISO8601(text);
    if (!parsed) {
        throw UsageError("--now: \"" + text + "\" is not an ISO 8601 date such as 2026-11-23T09:45:00Z");
    }
    return *parsed;
}

/// "off" or a whole number of minutes from 0 to 1440.
std::optional<int> parseLead(const std::string& flag, const std::string& text) {
    if (text == "off") {
        return std::nullopt;
    }
    int minutes = -1;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), minutes);
    if (error != std::errc() || end != text.data() + text.size() || minutes < 0 || minutes > 1440) {
        throw UsageError(flag + ": \"" + text + "\" is neither a number of minutes (0 to 1440) nor \"off\"");
    }
    return minutes;
}

std::string readFile(const std::string& flag, const std::string& path) {
    std::optional<std::string> text;
    try {
        text = Support::Files::readIfExists(path);
    } catch (const std::exception& e) {
        throw CommandFailed(flag + ": couldn't read " + path + ": " + e.what());
    }
    if (!text) {
        throw UsageError(flag + ": " + path + " does not exist");
    }
    return *text;
}

ordered planJson(const UI::CalendarReminderPlan& plan) {
    auto actions = ordered::array();
    for (const auto& action : plan.actions) {
        auto keys = ordered::array();
        for (const auto& meeting : action.meetings()) {
            keys.push_back(meeting.occurrenceKey);
        }
        actions.push_back({{"stage", std::string(UI::rawValue(action.stage()))}, {"occurrenceKeys", keys}});
    }
    ordered out;
    out["actions"] = actions;
    out["withdrawnKeys"] = plan.withdrawnKeys;
    out["nextWake"] = plan.nextWake ? ordered(Support::formatISO8601(*plan.nextWake)) : ordered(nullptr);
    return out;
}

void runPlan(CliContext& ctx, const PlanOptions& o) {
    auto now = parseNow(o.now);
    UI::CalendarReminderSettings settings;
    settings.isEnabled = true;
    settings.headsUpMinutes = parseLead("--heads-up-minutes", o.headsUp);
    settings.overlayMinutes = parseLead("--overlay-minutes", o.overlay);

    auto meetingsText = readFile("--meetings", o.meetingsFile);
    auto meetingsJson = nlohmann::json::parse(meetingsText, nullptr, false);
    if (meetingsJson.is_discarded() || !meetingsJson.is_array()) {
        throw UsageError("--meetings: " + o.meetingsFile + " is not a JSON array of meetings");
    }
    std::vector<UI::CalendarMeeting> meetings;
    try {
        meetings = UI::meetingsFromJson(meetingsJson);
    } catch (const std::exception& e) {
        throw UsageError("--meetings: " + o.meetingsFile + ": " + e.what());
    }
    UI::CalendarReminderLedger ledger;
    if (!o.ledgerFile.empty()) {
        auto decoded = UI::CalendarReminderLedger::decode(readFile("--ledger", o.ledgerFile));
        if (!decoded) {
            throw UsageError("--ledger: " + o.ledgerFile +
                             " is not a reminder ledger ({\"entries\": {key: {\"start\": ..., ...}}})");
        }
        ledger = *decoded;
    }
    ledger.prune(now);
    auto plan = UI::CalendarReminderPlanner::plan(meetings, now, settings, ledger);
    ctx.out() << planJson(plan).dump(2) << "\n";
}

std::string leadText(const std::optional<int>& minutes, bool headsUp) {
    int value = minutes.value_or(UI::CalendarReminderSettings::off);
    const auto& choices =
        headsUp ? UI::CalendarReminderSettings::headsUpChoices : UI::CalendarReminderSettings::overlayChoices;
    for (const auto& choice : choices) {
        if (choice.minutes == value) {
            return std::string(choice.label);
        }
    }
    return std::to_string(value) + " minutes before";
}

std::string entryText(const UI::CalendarReminderLedger::Entry& entry) {
    std::vector<std::string> parts;
    if (entry.headsUpShown) {
        parts.emplace_back("heads-up shown");
    }
    if (entry.overlayShown) {
        parts.emplace_back("overlay shown");
    }
    if (entry.snoozedUntil && entry.snoozedStage) {
        parts.push_back(std::string(UI::rawValue(*entry.snoozedStage)) + " snoozed until " +
                        Support::formatISO8601(*entry.snoozedUntil));
    }
    if (entry.dismissed) {
        parts.emplace_back("dismissed");
    }
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text.empty() ? std::string("nothing shown yet") : text;
}

/// The meetings of the fetch window from the user's calendars, or nothing when none are set up.
std::optional<std::vector<UI::CalendarMeeting>>
userMeetings(CliContext& ctx, Support::Date now, const UI::CalendarReminderSettings& settings, bool desktop) {
    auto zone = HostEnvironment::read().timeZoneID;
    Support::MainLoop loop;
    auto stores = openCliCalendars(ctx, loop, {{}, desktop, zone});
    if (!stores.hasAny()) {
        return std::nullopt;
    }
    UI::CalendarSource source(*stores.all);
    auto meetings = runToEnd(
        loop, source.meetings(UI::CalendarFetchWindow::interval(now, zone), settings.excludedCalendarIDs));
    reportUnreadableCalendars(ctx, *stores.all);
    return meetings;
}

void runStatus(CliContext& ctx, const StatusOptions& o) {
    auto now = o.now.empty() ? Support::systemNow() : parseNow(o.now);
    auto& defaults = ctx.defaults();
    auto settings = UI::CalendarReminderSettings::load(defaults);
    auto ledger = UI::CalendarReminderLedger::load(defaults);
    ledger.prune(now);
    // Entries stay of interest while their reminders could still be taken back.
    std::vector<std::pair<std::string, UI::CalendarReminderLedger::Entry>> coming;
    for (const auto& [key, entry] : ledger.entries) {
        if (entry.start + Support::seconds(UI::CalendarReminderPlanner::overlaySnoozeCutoff) > now) {
            coming.emplace_back(key, entry);
        }
    }
    std::sort(coming.begin(), coming.end(),
              [](const auto& a, const auto& b) { return a.second.start < b.second.start; });
    std::optional<Support::Date> nextWake;
    bool haveCalendars = false;
    if (settings.isEnabled) {
        if (auto meetings = userMeetings(ctx, now, settings, !o.noDesktop)) {
            haveCalendars = true;
            nextWake = UI::CalendarReminderPlanner::plan(*meetings, now, settings, ledger).nextWake;
        }
    }

    if (o.json) {
        ordered out;
        out["enabled"] = settings.isEnabled;
        out["headsUpMinutes"] =
            settings.headsUpMinutes ? ordered(*settings.headsUpMinutes) : ordered(nullptr);
        out["overlayMinutes"] =
            settings.overlayMinutes ? ordered(*settings.overlayMinutes) : ordered(nullptr);
        out["excludedCalendarIDs"] = settings.excludedCalendarIDs;
        auto entries = ordered::object();
        for (const auto& [key, entry] : coming) {
            ordered e;
            e["start"] = Support::formatISO8601(entry.start);
            e["headsUpShown"] = entry.headsUpShown;
            e["overlayShown"] = entry.overlayShown;
            e["snoozedUntil"] =
                entry.snoozedUntil ? ordered(Support::formatISO8601(*entry.snoozedUntil)) : ordered();
            e["snoozedStage"] =
                entry.snoozedStage ? ordered(std::string(UI::rawValue(*entry.snoozedStage))) : ordered();
            e["dismissed"] = entry.dismissed;
            entries[key] = e;
        }
        out["entries"] = entries;
        out["nextWake"] = nextWake ? ordered(Support::formatISO8601(*nextWake)) : ordered(nullptr);
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    auto& out = ctx.out();
    out << "Reminders: " << (settings.isEnabled ? "on" : "off") << "\n";
    out << "Heads-up: " << leadText(settings.headsUpMinutes, true)
        << (settings.isEnabled && settings.headsUpMinutes && !settings.showsHeadsUp()
                ? " (not before the overlay: not shown)"
                : "")
        << "\n";
    out << "Overlay: " << leadText(settings.overlayMinutes, false) << "\n";
    std::string excluded;
    for (const auto& id : settings.excludedCalendarIDs) {
        excluded += (excluded.empty() ? "" : ", ") + id;
    }
    out << "Excluded calendars: " << (excluded.empty() ? std::string("none") : excluded) << "\n";
    if (!settings.isEnabled) {
        out << "Next reminder: none (reminders are off)\n";
    } else if (!haveCalendars) {
        out << "Next reminder: unknown (no calendars: add an account in GNOME's Online Accounts or set "
               "the user default \"calendar.sources\")\n";
    } else {
        out << "Next reminder: " << (nextWake ? Support::formatISO8601(*nextWake) : std::string("none"))
            << "\n";
    }
    out << "Coming meetings in the ledger:" << (coming.empty() ? " none" : "") << "\n";
    for (const auto& [key, entry] : coming) {
        out << "  " << Support::formatISO8601(entry.start) << "\t" << key << "\t" << entryText(entry) << "\n";
    }
}

const CommandRegistration reminders{
    "reminders", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand("reminders", "Plan and inspect meeting reminders");
        cmd->require_subcommand(1);

        auto* plan = cmd->add_subcommand(
            "plan", "Run the reminder planner once over meetings from a file and print the plan as JSON, "
                    "changing nothing");
        auto p = std::make_shared<PlanOptions>();
        plan->add_option("--meetings", p->meetingsFile,
                         "A JSON array of meetings as `vellmora meetings --json` "
                         "prints them")
            ->required()
            ->option_text("FILE");
        plan->add_option("--now", p->now, "The moment to plan for, ISO 8601 in UTC (2026-11-23T09:45:00Z)")
            ->required()
            ->option_text("ISO8601");
        plan->add_option("--heads-up-minutes", p->headsUp,
                         "Heads-up lead time in minutes, or off (default 15)")
            ->option_text("N|off");
        plan->add_option("--overlay-minutes", p->overlay, "Overlay lead time in minutes, or off (default 1)")
            ->option_text("N|off");
        plan->add_option("--ledger", p->ledgerFile,
                         "The ledger as JSON ({\"entries\": {key: entry}}); default: empty")
            ->option_text("FILE");
        plan->callback([&ctx, p] { runPlan(ctx, *p); });

        auto* status = cmd->add_subcommand(
            "status",
            "Show the reminder settings, the ledger entries of the coming meetings and the next reminder");
        auto s = std::make_shared<StatusOptions>();
        status->add_flag("--json", s->json, "Print JSON");
        status->add_flag("--no-desktop-calendars", s->noDesktop,
                         "Leave out the desktop's calendars (GNOME Online Accounts and Evolution)");
        status->add_option("--now", s->now, "Pretend it is this moment (ISO 8601 in UTC)")
            ->option_text("ISO8601");
        status->callback([&ctx, s] { runStatus(ctx, *s); });
    }};

} // namespace

} // namespace App
