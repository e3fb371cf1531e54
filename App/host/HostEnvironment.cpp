#include "App/host/HostEnvironment.h"

#include <cstdlib>
#include <fstream>

namespace App {

namespace {

/// The zone of a zone file: its own path when that says, else where its links lead.
std::optional<std::string> zoneOfFile(const std::filesystem::path& file) {
    if (auto zone = HostEnvironment::zoneInPath(file.string())) {
        return zone;
    }
    std::error_code ec;
    auto path = file;
    // Link by link, so that a link into an alias folder ("US/Eastern") keeps the name it was given.
    for (int hops = 0; hops < 16; ++hops) {
        auto target = std::filesystem::read_symlink(path, ec);
        if (ec) {
            break;
        }
        path = target.is_absolute() ? target : (path.parent_path() / target).lexically_normal();
        if (auto zone = HostEnvironment::zoneInPath(path.string())) {
            return zone;
        }
    }
    return std::nullopt;
}

std::optional<std::string> zoneOfSystem(const HostSystemFiles& system) {
    if (auto zone = zoneOfFile(system.localtime)) {
        return zone;
    }
    std::ifstream in(system.timezone);
    std::string line;
    if (in && std::getline(in, line)) {
        auto first = line.find_first_not_of(" \t");
        auto last = line.find_last_not_of(" \t\r");
        if (first != std::string::npos) {
            return line.substr(first, last - first + 1);
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> HostEnvironment::zoneInPath(std::string_view path) {
    constexpr std::string_view folder = "zoneinfo/";
    auto pos = path.rfind(folder);
    if (pos == std::string_view::npos) {
        return std::nullopt;
    }
    auto zone = path.substr(pos + folder.size());
    for (std::string_view tree : {"posix/", "right/"}) {
        if (zone.substr(0, tree.size()) == tree) {
            zone.remove_prefix(tree.size());
        }
    }
    if (zone.empty()) {
        return std::nullopt;
    }
    return std::string(zone);
}

std::string HostEnvironment::timeZoneFrom(const char* tz, const HostSystemFiles& system) {
    if (tz && *tz) {
        std::string_view value = tz[0] == ':' ? tz + 1 : tz;
        if (!value.empty() && value.front() == '/') {
            if (auto zone = zoneOfFile(std::filesystem::path(value))) {
                return *zone;
            }
        } else if (!value.empty()) {
            return zoneInPath(value).value_or(std::string(value));
        }
    }
    return zoneOfSystem(system).value_or("UTC");
}

std::string HostEnvironment::localeFrom(const Lookup& variable) {
    for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* value = variable(name);
        if (!value || !*value) {
            continue;
        }
        std::string id = value;
        id = id.substr(0, id.find_first_of(".@"));
        if (!id.empty() && id != "C" && id != "POSIX") {
            return id;
        }
    }
    return "en_US";
}

HostEnvironment HostEnvironment::from(const Lookup& variable, const HostSystemFiles& system) {
    HostEnvironment env;
    env.timeZoneID = timeZoneFrom(variable("TZ"), system);
    env.localeID = localeFrom(variable);
    const char* path = variable("PATH");
    env.searchPath = path ? path : "";
    if (const char* bus = variable("DBUS_SESSION_BUS_ADDRESS"); bus && *bus) {
        env.sessionBusAddress = bus;
    }
    for (const char* display : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        if (const char* v = variable(display); v && *v) {
            env.hasDisplay = true;
        }
    }
    if (const char* display = variable("DISPLAY"); display && *display) {
        env.x11Display = display;
    }
    if (const char* bus = variable("DBUS_SYSTEM_BUS_ADDRESS"); bus && *bus) {
        env.hasSystemBus = true;
    } else {
        std::error_code ec;
        env.hasSystemBus = std::filesystem::exists(system.systemBusSocket, ec);
    }
    return env;
}

HostEnvironment HostEnvironment::read() {
    return from([](const char* name) -> const char* { return std::getenv(name); });
}

} // namespace App
