// `vellmora meetings`: the online meetings of the fetch window (an hour ago to the end of tomorrow) read from
// the user's calendars, as the reminders see them; `--explain` also lists every event of the window that is
// no meeting, with the rule that dropped it, and where each meeting's link was found.
#include "App/Cli.h"
#include "App/host/HostEnvironment.h"

#include "App/cli/CalendarCliSupport.h"
#include "Support/MainLoop.h"
#include "Support/Time.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarFetchWindow.h"
#include "UI/calendar/CalendarMeetingCoding.h"
#include "UI/calendar/CalendarMeetingFilter.h"
#include "UI/calendar/CalendarReminderSettings.h"
#include "UI/calendar/CalendarSource.h"

#include <nlohmann/json.hpp>

#include <memory>

namespace App {

namespace {

struct MeetingsOptions {
    std::vector<std::string> calendars;
    std::vector<std::string> excluded;
    std::string now;
    std::string timeZone;
    bool json = false;
    bool explain = false;
    bool noDesktop = false;
};

std::string dump(const nlohmann::json& value) {
    return value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string eventLine(Support::Date start, const std::string& title, const std::string& calendarID) {
    return Support::formatISO8601(start) + "\t" + (title.empty() ? std::string("(no title)") : title) + "\t" +
           calendarID;
}

/// "time zone 'X' not known: read as local time" for an event whose zone was not understood.
std::optional<std::string> zoneNote(const UI::CalendarEventFields& event) {
    if (!event.unknownTimeZone) {
        return std::nullopt;
    }
    return "time zone '" + *event.unknownTimeZone + "' not known: read as local time";
}

void run(CliContext& ctx, const MeetingsOptions& o) {
    auto now = Support::systemNow();
    if (!o.now.empty()) {
        auto parsed = Support::parseISO8601(o.now);
        if (!parsed) {
            throw UsageError("--now: \"" + o.now + "\" is not an ISO 8601 date such as 2026-11-27T09:00:00Z");
        }
        now = *parsed;
    }
    auto zone = o.timeZone.empty() ? HostEnvironment::read().timeZoneID : o.timeZone;
    Support::MainLoop loop;
    auto stores = openCliCalendars(ctx, loop, {o.calendars, !o.noDesktop, zone});
    if (!stores.hasAny()) {
        throw UsageError(
            "no calendars: pass --calendar SOURCE or set the user default \"calendar.sources\"" +
            std::string(stores.desktopProblem.empty() ? "" : " (desktop calendars are not read)"));
    }
    auto& store = *stores.all;
    UI::CalendarSource source(store);
    auto window = UI::CalendarFetchWindow::interval(now, zone);
    // The calendars excluded in the settings, as the reminders leave them out, and those of --exclude.
    auto excluded = UI::CalendarReminderSettings::load(ctx.defaults()).excludedCalendarIDs;
    excluded.insert(o.excluded.begin(), o.excluded.end());

    if (!o.explain) {
        auto meetings = runToEnd(loop, source.meetings(window, excluded));
        reportUnreadableCalendars(ctx, store);
        if (o.json) {
            ctx.out() << dump(UI::toJson(meetings)) << "\n";
            return;
        }
        for (const auto& m : meetings) {
            ctx.out() << Support::formatISO8601(m.start) << "\t" << Support::formatISO8601(m.end) << "\t"
                      << UI::rawValue(m.link.service) << "\t" << m.displayTitle() << "\t"
                      << m.link.webURL.string() << "\n";
        }
        return;
    }

    // Every event of the window, so that the excluded calendars' events are explained too.
    auto events = runToEnd(loop, source.events(window));
    reportUnreadableCalendars(ctx, store);
    auto decisions = UI::CalendarMeetingFilter::decideAll(events, excluded);
    std::vector<std::size_t> order(events.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return events[a].start < events[b].start; });
    if (o.json) {
        auto meetings = nlohmann::json::array();
        auto dropped = nlohmann::json::array();
        for (auto i : order) {
            const auto& d = decisions[i];
            if (d.meeting) {
                auto m = UI::toJson(*d.meeting);
                m["linkSource"] = std::string(UI::rawValue(*d.linkSource));
                if (auto note = zoneNote(events[i])) {
                    m["timeZoneNote"] = *note;
                }
                meetings.push_back(std::move(m));
            } else {
                nlohmann::json entry{{"calendarItemID", events[i].calendarItemID},
                                     {"calendarID", events[i].calendarID},
                                     {"title", events[i].title},
                                     {"start", Support::formatISO8601(events[i].start)},
                                     {"rule", std::string(UI::rawValue(*d.droppedBy))},
                                     {"reason", std::string(UI::explanation(*d.droppedBy))}};
                if (auto note = zoneNote(events[i])) {
                    entry["timeZoneNote"] = *note;
                }
                dropped.push_back(std::move(entry));
            }
        }
        ctx.out() << dump({{"meetings", meetings}, {"dropped", dropped}}) << "\n";
        return;
    }
    ctx.out() << "Meetings:\n";
    for (auto i : order) {
        if (const auto& d = decisions[i]; d.meeting) {
            ctx.out() << "  " << eventLine(d.meeting->start, d.meeting->displayTitle(), d.meeting->calendarID)
                      << "\t" << UI::rawValue(d.meeting->link.service) << " link from "
                      << UI::rawValue(*d.linkSource) << "\t" << d.meeting->link.webURL.string()
                      << (zoneNote(events[i]) ? "\t" + *zoneNote(events[i]) : std::string()) << "\n";
        }
    }
    ctx.out() << "Not meetings:\n";
    for (auto i : order) {
        if (const auto& d = decisions[i]; !d.meeting) {
            ctx.out() << "  " << eventLine(events[i].start, events[i].title, events[i].calendarID) << "\t"
                      << UI::rawValue(*d.droppedBy) << ": " << UI::explanation(*d.droppedBy)
                      << (zoneNote(events[i]) ? "\t" + *zoneNote(events[i]) : std::string()) << "\n";
        }
    }
}

const CommandRegistration meetings{
    "meetings", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand("meetings",
                                        "List the online meetings from an hour ago to the end of tomorrow");
        auto o = std::make_shared<MeetingsOptions>();
        cmd->add_option(
               "--calendar", o->calendars,
               "Read only this calendar source: a vdir folder, an .ics file or an https:// subscription "
               "(repeatable; default: the desktop's calendars and the user default \"calendar.sources\")")
            ->option_text("SOURCE");
        cmd->add_option("--now", o->now, "Take this moment as now (default: the real now)")
            ->option_text("ISO8601");
        cmd->add_option("--exclude", o->excluded,
                        "Leave out the calendar with this id (repeatable; the calendars excluded with "
                        "`vellmora calendars exclude` are always left out)")
            ->option_text("CALENDAR_ID");
        cmd->add_option("--time-zone", o->timeZone,
                        "The time zone of \"today\" and of floating times (default: the system's)")
            ->option_text("ZONE");
        cmd->add_flag("--json", o->json, "Print the meetings as JSON");
        cmd->add_flag("--no-desktop-calendars", o->noDesktop,
                      "Leave out the desktop's calendars (GNOME Online Accounts and Evolution)");
        cmd->add_flag(
            "--explain", o->explain,
            "Also list every event that is no meeting, with the rule that dropped it (outOfRange, "
            "allDay, canceled, excludedCalendar, notAfterStart, declined, noLink, duplicate), where "
            "each link was found (url, conference, location, notes, htmlNotes) and any time zone "
            "that was not known");
        cmd->callback([&ctx, o] { run(ctx, *o); });
    }};

} // namespace

} // namespace App
