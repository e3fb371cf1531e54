// The calendars the calendar commands read (`meetings`, `calendars`, `reminders status`): the desktop's
// calendars (Evolution Data Server) beside the iCalendar sources of "calendar.sources", as one store.
//
// The desktop calendars are read unless the command says not to (`--no-desktop-calendars`), the user default
// "calendar.desktopCalendars" is false, or explicit sources were given; when they cannot be read (no session
// bus, which is not tried then, no EDS, no module), one line on standard error says why ("vellmora: desktop
// calendars are not available: …") and the file sources still serve. Unreadable calendars are named on
// standard error, one line each.
#pragma once

#include "App/Cli.h"
#include "Platform/CompositeCalendarStore.h"
#include "Platform/Linux/DesktopCalendars.h"
#include "Platform/Linux/ICalendarStore.h"
#include "Support/MainLoop.h"

#include <memory>
#include <string>
#include <vector>

namespace App {

struct CliCalendarOptions {
    /// Explicit sources (`--calendar`): only these are read, and the desktop calendars are left out.
    std::vector<std::string> sources;
    bool desktop = true;
    std::string timeZone;
};

struct CliCalendars {
    std::unique_ptr<Platform::ICalendarStore> files;
    std::unique_ptr<Platform::CalendarStore> desktop;
    std::unique_ptr<Platform::CompositeCalendarStore> all;
    /// Why the desktop calendars are not read ("" when they are, or when they were not asked for).
    std::string desktopProblem;

    bool hasAny() const { return files || desktop; }
};

/// Opens the stores (downloading stale subscriptions on `loop`).
CliCalendars openCliCalendars(CliContext& ctx, Support::MainLoop& loop, const CliCalendarOptions& options);

/// Names each unreadable calendar on standard error ("vellmora: calendar ID cannot be read: why").
void reportUnreadableCalendars(CliContext& ctx, const Platform::CalendarStore& store);

template <typename T> T runToEnd(Support::MainLoop& loop, Support::Task<T> task) {
    while (!task.isDone()) {
        loop.runOne(100);
    }
    return task.get();
}

} // namespace App
