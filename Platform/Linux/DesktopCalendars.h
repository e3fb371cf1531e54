// Opens the desktop's calendars (Evolution Data Server) for the host and the calendar commands. EDS's client
// libraries (GLib, GIO, libecal, libedataserver, NSS: some 5 MB of relocated memory and a tenth of the
// start-up once loaded) are not linked into the programs: `EdsCalendarStore` is built into the module
// vellmora-eds.so, loaded the first time the desktop calendars are opened, so that a host without a desktop
// session never carries them. The module takes everything else it needs from the program (which exports its
// symbols for it) and registers the store here when it is loaded. Where the store is linked in (the tests),
// it has registered itself already and no module is loaded.
//
// Where the module is looked for: beside the running program (a build folder), then in
// <prefix>/libexec/vellmora/ for <prefix>/bin/vellmora. Missing, or unloadable: `open` gives one sentence and
// no store. Thread-safe; the module stays loaded until the process ends.
#pragma once

#include "Platform/CalendarStore.h"
#include "Platform/Linux/EdsCalendarStore.h"

#include <memory>
#include <string>
#include <string_view>

namespace Platform::DesktopCalendars {

inline constexpr std::string_view moduleName = "vellmora-eds.so";

struct Opened {
    std::unique_ptr<CalendarStore> store;
    /// Why there is no store, one line for the user.
    std::string problem;
};

using Opener = Opened (*)(EdsCalendarStore::Options);

/// Made by the store's own source file: in the module, when it is loaded; in a program that links it.
struct Registration {
    explicit Registration(Opener opener);
};

/// Connects to the source registry (blocking at most the options' connect time-out).
Opened open(EdsCalendarStore::Options options);

} // namespace Platform::DesktopCalendars
