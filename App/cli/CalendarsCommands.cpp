// `vellmora calendars`: every calendar Vellmora reads (the desktop's and those of "calendar.sources"), by
// account, with its kind, colour, id and whether reminders leave it out; `calendars exclude ID` and
// `calendars include ID` change that (the user default "calendar.excludedCalendarIDs").
#include "App/Cli.h"

#include "App/cli/CalendarCliSupport.h"
#include "App/host/HostEnvironment.h"
#include "UI/calendar/CalendarAccounts.h"
#include "UI/calendar/CalendarFetchWindow.h"
#include "UI/calendar/CalendarReminderSettings.h"
#include "UI/calendar/CalendarSource.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace App {

namespace {

struct CalendarsOptions {
    bool json = false;
    bool noDesktop = false;
    std::string id;
};

void list(CliContext& ctx, const CalendarsOptions& o) {
    Support::MainLoop loop;
    auto stores = openCliCalendars(ctx, loop, {{}, !o.noDesktop, HostEnvironment::read().timeZoneID});
    auto descriptors = stores.all->calendars();
    auto excluded = UI::CalendarReminderSettings::load(ctx.defaults()).excludedCalendarIDs;
    std::vector<UI::CalendarInfo> infos;
    for (const auto& d : descriptors) {
        infos.push_back(UI::CalendarSource::info(d));
    }
    auto descriptorOf = [&](const std::string& id) -> const Platform::CalendarDescriptor& {
        return *std::find_if(descriptors.begin(), descriptors.end(),
                             [&](const auto& d) { return d.id == id; });
    };
    auto accounts = UI::CalendarAccounts::accounts(infos);
    if (o.json) {
        auto out = nlohmann::json::array();
        for (const auto& account : accounts) {
            for (const auto& c : account.calendars) {
                const auto& d = descriptorOf(c.id);
                out.push_back({{"id", c.id},
                               {"title", c.title},
                               {"account", account.label},
                               {"accountKind", std::string(UI::rawValue(account.kind))},
                               {"sourceID", c.sourceID},
                               {"sourceTitle", c.sourceTitle},
                               {"kind", std::string(UI::rawValue(c.sourceKind))},
                               {"colorHex", c.colorHex},
                               {"excluded", excluded.count(c.id) > 0},
                               {"readable", d.isReadable},
                               {"problem", d.problem}});
            }
        }
        ctx.out() << out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
        return;
    }
    if (accounts.empty()) {
        ctx.out() << "No calendars.\n";
        return;
    }
    for (const auto& account : accounts) {
        ctx.out() << account.label << " (" << UI::displayName(account.kind) << ")\n";
        for (const auto& c : account.calendars) {
            const auto& d = descriptorOf(c.id);
            ctx.out() << "  " << c.title << "\t" << UI::rawValue(c.sourceKind) << "\t"
                      << (c.colorHex.empty() ? std::string("-") : c.colorHex) << "\t" << c.id << "\t"
                      << (excluded.count(c.id) ? "excluded" : "included");
            if (!d.isReadable) {
                ctx.out() << "\tcannot be read: " << d.problem;
            }
            ctx.out() << "\n";
        }
    }
}

void setExcluded(CliContext& ctx, const CalendarsOptions& o, bool exclude) {
    auto& defaults = ctx.defaults();
    auto settings = UI::CalendarReminderSettings::load(defaults);
    bool changed = exclude ? settings.excludedCalendarIDs.insert(o.id).second
                           : settings.excludedCalendarIDs.erase(o.id) > 0;
    if (exclude) {
        Support::MainLoop loop;
        auto stores = openCliCalendars(ctx, loop, {{}, !o.noDesktop, HostEnvironment::read().timeZoneID});
        auto calendars = stores.all->calendars();
        if (std::none_of(calendars.begin(), calendars.end(), [&](const auto& c) { return c.id == o.id; })) {
            ctx.err() << "vellmora: no calendar has the id " << o.id
                      << " now; it is excluded all the same (see `vellmora calendars`)\n";
        }
    }
    if (changed) {
        settings.save(defaults);
    }
    ctx.out() << o.id << (exclude ? ": excluded from reminders and meetings\n" : ": included\n");
}

const CommandRegistration calendars{
    "calendars", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand(
            "calendars",
            "List the calendars (desktop accounts and calendar.sources), or exclude and include one");
        auto o = std::make_shared<CalendarsOptions>();
        cmd->add_flag("--json", o->json, "Print the calendars as JSON");
        cmd->add_flag("--no-desktop-calendars", o->noDesktop,
                      "Leave out the desktop's calendars (GNOME Online Accounts and Evolution)");
        cmd->callback([&ctx, o, cmd] {
            if (cmd->get_subcommands().empty()) {
                list(ctx, *o);
            }
        });
        auto* exclude = cmd->add_subcommand("exclude", "Leave a calendar out of reminders and meetings");
        exclude->add_option("ID", o->id, "The calendar's id (see `vellmora calendars`)")->required();
        exclude->callback([&ctx, o] { setExcluded(ctx, *o, true); });
        auto* include = cmd->add_subcommand("include", "Take an excluded calendar back");
        include->add_option("ID", o->id, "The calendar's id")->required();
        include->callback([&ctx, o] { setExcluded(ctx, *o, false); });
    }};

} // namespace

} // namespace App
