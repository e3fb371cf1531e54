// What the host and the commands learn from the process environment, read once at start as a value: the
// user's time zone and ICU locale, the program search path, the session bus, whether there is a display
// and a system bus.
// `read()` reads the real environment; `from()` takes the variables and the system's zone link as
// parameters (tests).
//
// Time zone, as every Linux system names it: $TZ as a zone name ("Europe/Berlin", ":Europe/Berlin"), as a
// file under a zoneinfo folder (":/usr/share/zoneinfo/Europe/Berlin", also posix/ and right/ trees), or as
// a link to one (":/etc/localtime"); without $TZ, the zone /etc/localtime links to, else the name in
// /etc/timezone, else "UTC". A $TZ naming a file whose zone cannot be told falls back to the system's zone.
// Locale: the first of $LC_ALL, $LC_TIME, $LANG that names a real locale, without its encoding and
// modifier ("de_DE.UTF-8@euro" → "de_DE"); "C", "POSIX" and their encodings ("C.UTF-8") mean "en_US".
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace App {

/// The system files the host reads its zone and system bus from (tests point them elsewhere).
struct HostSystemFiles {
    std::filesystem::path localtime = "/etc/localtime";
    std::filesystem::path timezone = "/etc/timezone";
    std::filesystem::path systemBusSocket = "/run/dbus/system_bus_socket";
};

struct HostEnvironment {
    std::string timeZoneID = "UTC";
    std::string localeID = "en_US";
    /// $PATH, where the helper programs (pactl, pw-record, ffmpeg) are looked for.
    std::string searchPath;
    /// $DBUS_SESSION_BUS_ADDRESS: a desktop session (notifications, tray) may be there.
    std::optional<std::string> sessionBusAddress;
    /// $DISPLAY or $WAYLAND_DISPLAY is set.
    bool hasDisplay = false;
    /// $DISPLAY: the X11 display (global hot keys).
    std::optional<std::string> x11Display;
    /// $DBUS_SYSTEM_BUS_ADDRESS is set or the system bus's socket is there (logind: sleep, wake locks).
    bool hasSystemBus = false;

    /// A variable's value, or null when unset.
    using Lookup = std::function<const char*(const char*)>;

    static HostEnvironment read();
    static HostEnvironment from(const Lookup& variable, const HostSystemFiles& system = {});

    /// The zone of $TZ (`tz`, null when unset) or of the system.
    static std::string timeZoneFrom(const char* tz, const HostSystemFiles& system = {});
    /// The zone a zoneinfo path names ("/usr/share/zoneinfo/posix/Europe/Berlin" → "Europe/Berlin"), or
    /// nothing when it is not under a zoneinfo folder.
    static std::optional<std::string> zoneInPath(std::string_view path);
    static std::string localeFrom(const Lookup& variable);
};

} // namespace App
