#include "App/cli/CalendarCliSupport.h"

#include "App/host/HostEnvironment.h"

namespace App {

CliCalendars openCliCalendars(CliContext& ctx, Support::MainLoop& loop, const CliCalendarOptions& o) {
    CliCalendars c;
    auto fileOptions = Platform::ICalendarStore::optionsFromDefaults(ctx.defaults(), o.timeZone);
    bool desktop = o.desktop && o.sources.empty() &&
                   ctx.defaults().boolean(Platform::EdsCalendarStore::enabledKey).value_or(true);
    if (!o.sources.empty()) {
        fileOptions.sources = o.sources;
    }
    if (desktop && !HostEnvironment::read().sessionBusAddress) {
        // EDS lives on the session bus. Without one GLib would try to start a bus of its own (with
        // dbus-launch, under X11) rather than fail.
        c.desktopProblem = "desktop calendars are not available: there is no session bus "
                           "(DBUS_SESSION_BUS_ADDRESS is not set)";
        ctx.err() << "vellmora: " << c.desktopProblem << "\n";
    } else if (desktop) {
        Platform::EdsCalendarStore::Options options;
        options.userEmails = fileOptions.userEmails;
        options.timeZoneID = o.timeZone;
        options.watchForChanges = false;
        auto opened = Platform::DesktopCalendars::open(std::move(options));
        c.desktop = std::move(opened.store);
        c.desktopProblem = opened.problem;
        if (!c.desktop) {
            ctx.err() << "vellmora: " << c.desktopProblem << "\n";
        }
    }
    if (!fileOptions.sources.empty()) {
        fileOptions.watchForChanges = false;
        c.files = std::make_unique<Platform::ICalendarStore>(fileOptions);
        runToEnd(loop, c.files->refreshSubscriptions(true));
    }
    std::vector<Platform::CalendarStore*> stores;
    if (c.desktop) {
        stores.push_back(c.desktop.get());
    }
    if (c.files) {
        stores.push_back(c.files.get());
    }
    c.all = std::make_unique<Platform::CompositeCalendarStore>(std::move(stores));
    return c;
}

void reportUnreadableCalendars(CliContext& ctx, const Platform::CalendarStore& store) {
    for (const auto& calendar : store.calendars()) {
        if (!calendar.isReadable) {
            ctx.err() << "vellmora: calendar " << calendar.id << " (" << calendar.title
                      << ") cannot be read: " << calendar.problem << "\n";
        }
    }
}

} // namespace App
