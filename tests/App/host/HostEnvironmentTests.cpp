#include "App/host/HostEnvironment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <unistd.h>

using App::HostEnvironment;

namespace {

/// A folder with a zoneinfo tree, an alias link into it and a system link to it, as Debian lays them out.
struct ZoneFolder {
    std::filesystem::path root =
        std::filesystem::temp_directory_path() / ("vellmora-zones-" + std::to_string(::getpid()));
    ZoneFolder() {
        std::filesystem::remove_all(root);
        std::filesystem::create_directories(root / "usr/share/zoneinfo/Europe");
        std::filesystem::create_directories(root / "usr/share/zoneinfo/US");
        std::filesystem::create_directories(root / "usr/share/zoneinfo/America");
        std::filesystem::create_directories(root / "etc");
        std::ofstream(root / "usr/share/zoneinfo/Europe/Berlin") << "TZif";
        std::ofstream(root / "usr/share/zoneinfo/America/New_York") << "TZif";
        std::filesystem::create_symlink("../America/New_York", root / "usr/share/zoneinfo/US/Eastern");
    }
    ~ZoneFolder() {
        std::error_code ec;
        std::filesystem::remove_all(root, ec);
    }
    App::HostSystemFiles linkedTo(const std::string& zone) const {
        auto link = root / "etc/localtime";
        std::filesystem::remove(link);
        std::filesystem::create_symlink(root / "usr/share/zoneinfo" / zone, link);
        return {link, root / "etc/timezone", root / "run/missing"};
    }
    App::HostSystemFiles none() const {
        return {root / "etc/missing", root / "etc/missing-too", root / "run/missing"};
    }
};

HostEnvironment::Lookup variables(std::map<std::string, std::string> values) {
    return [values = std::move(values)](const char* name) -> const char* {
        auto it = values.find(name);
        return it == values.end() ? nullptr : it->second.c_str();
    };
}

} // namespace

TEST(HostEnvironment, EveryWayLinuxNamesTheZoneGivesTheSameZone) {
    ZoneFolder zones;
    auto berlinSystem = zones.linkedTo("Europe/Berlin");
    auto localtime = berlinSystem.localtime.string();
    struct Case {
        std::optional<std::string> tz;
        App::HostSystemFiles system;
        std::string zone;
    };
    const std::vector<Case> cases = {
        {"Europe/Berlin", zones.none(), "Europe/Berlin"},
        {":Europe/Berlin", zones.none(), "Europe/Berlin"},
        {":/usr/share/zoneinfo/Europe/Berlin", zones.none(), "Europe/Berlin"},
        {"/usr/share/zoneinfo/Europe/Berlin", zones.none(), "Europe/Berlin"},
        {":/usr/share/zoneinfo/posix/Europe/Berlin", zones.none(), "Europe/Berlin"},
        {":/usr/share/zoneinfo/right/Europe/Berlin", zones.none(), "Europe/Berlin"},
        {":" + localtime, zones.none(), "Europe/Berlin"},
        {localtime, zones.none(), "Europe/Berlin"},
        {std::nullopt, berlinSystem, "Europe/Berlin"},
        {"", berlinSystem, "Europe/Berlin"},
        {":", berlinSystem, "Europe/Berlin"},
        {"UTC", berlinSystem, "UTC"},
        {std::nullopt, zones.none(), "UTC"},
        {":/nowhere/localtime", berlinSystem, "Europe/Berlin"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(HostEnvironment::timeZoneFrom(c.tz ? c.tz->c_str() : nullptr, c.system), c.zone)
            << (c.tz ? *c.tz : "(unset)");
    }
}

TEST(HostEnvironment, AnAliasLinkKeepsTheNameItWasGiven) {
    ZoneFolder zones;
    auto system = zones.linkedTo("US/Eastern");
    EXPECT_EQ(HostEnvironment::timeZoneFrom(nullptr, system), "US/Eastern");
}

TEST(HostEnvironment, TheSystemZoneComesFromEtcTimezoneWhenLocaltimeIsACopy) {
    ZoneFolder zones;
    auto system = zones.none();
    std::filesystem::copy_file(zones.root / "usr/share/zoneinfo/Europe/Berlin", zones.root / "etc/localtime");
    system.localtime = zones.root / "etc/localtime";
    system.timezone = zones.root / "etc/timezone";
    std::ofstream(system.timezone) << "Europe/Berlin\n";
    EXPECT_EQ(HostEnvironment::timeZoneFrom(nullptr, system), "Europe/Berlin");
    EXPECT_EQ(HostEnvironment::timeZoneFrom((":" + system.localtime.string()).c_str(), system),
              "Europe/Berlin");
}

TEST(HostEnvironment, TheLocaleIsTheFirstRealOneWithoutEncodingAndCMeansEnglish) {
    struct Case {
        std::map<std::string, std::string> env;
        std::string locale;
    };
    const std::vector<Case> cases = {
        {{}, "en_US"},
        {{{"LANG", "de_DE.UTF-8"}}, "de_DE"},
        {{{"LANG", "de_DE.UTF-8@euro"}}, "de_DE"},
        {{{"LANG", "C"}}, "en_US"},
        {{{"LANG", "POSIX"}}, "en_US"},
        {{{"LANG", "C.UTF-8"}}, "en_US"},
        {{{"LANG", "C.utf8"}}, "en_US"},
        {{{"LC_ALL", "C.UTF-8"}, {"LANG", "fr_FR.UTF-8"}}, "fr_FR"},
        {{{"LC_TIME", "en_GB.UTF-8"}, {"LANG", "de_DE.UTF-8"}}, "en_GB"},
        {{{"LC_ALL", "sv_SE"}, {"LC_TIME", "en_GB.UTF-8"}}, "sv_SE"},
        {{{"LANG", ""}}, "en_US"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(HostEnvironment::localeFrom(variables(c.env)), c.locale)
            << (c.env.count("LANG") ? c.env.at("LANG") : "");
    }
}

TEST(HostEnvironment, TheSessionBusDisplayAndPathAreReadOnce) {
    ZoneFolder zones;
    auto env = HostEnvironment::from(variables({{"PATH", "/usr/bin:/bin"},
                                                {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/user/1/bus"},
                                                {"WAYLAND_DISPLAY", "wayland-0"},
                                                {"TZ", "Europe/Berlin"}}),
                                     zones.none());
    EXPECT_EQ(env.searchPath, "/usr/bin:/bin");
    EXPECT_EQ(env.sessionBusAddress, "unix:path=/run/user/1/bus");
    EXPECT_TRUE(env.hasDisplay);
    EXPECT_FALSE(env.hasSystemBus);
    EXPECT_EQ(env.timeZoneID, "Europe/Berlin");
    EXPECT_EQ(env.localeID, "en_US");

    auto bare = HostEnvironment::from(variables({}), zones.none());
    EXPECT_EQ(bare.sessionBusAddress, std::nullopt);
    EXPECT_FALSE(bare.hasDisplay);
    EXPECT_EQ(bare.timeZoneID, "UTC");

    auto withSystemBus = zones.none();
    withSystemBus.systemBusSocket = zones.root / "etc";
    EXPECT_TRUE(HostEnvironment::from(variables({}), withSystemBus).hasSystemBus);
    EXPECT_TRUE(HostEnvironment::from(variables({{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/x"}}), zones.none())
                    .hasSystemBus);
}
