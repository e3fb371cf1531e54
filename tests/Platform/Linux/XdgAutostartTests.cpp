#include "Platform/Linux/XdgAutostart.h"

#include "Fakes/TempFolder.h"
#include "Support/Files.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>

namespace fs = std::filesystem;
using Platform::Linux::XdgAutostart;

namespace {} // namespace

TEST(XdgAutostart, ExecArgumentsAreQuotedAndEscapedAsDesktopEntriesRequire) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/usr/bin/vellmora", "/usr/bin/vellmora"},
        {"/home/ada/My Apps/vellmora", "\"/home/ada/My Apps/vellmora\""},
        {"/opt/100%/vellmora", "/opt/100%%/vellmora"},
        {"/opt/a\"b/vellmora", "\"/opt/a\\\\\"b/vellmora\""},
        {"/opt/$HOME/vellmora", "\"/opt/\\\\$HOME/vellmora\""},
        {"/opt/back\\slash/vellmora", "\"/opt/back\\\\\\\\slash/vellmora\""},
        {"/opt/it's/vellmora", "\"/opt/it's/vellmora\""},
        {"", "\"\""},
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(XdgAutostart::execArgument(path), expected) << path;
    }
    EXPECT_THROW(XdgAutostart::execArgument("/opt/new\nline"), std::invalid_argument);
}

TEST(XdgAutostart, AnEntryIsWrittenReadAndRemovedAndADesktopsOwnSwitchCountsAsOff) {
    Fakes::TempFolder temp;
    XdgAutostart autostart(temp.path / "config/autostart");
    EXPECT_EQ(autostart.status(), XdgAutostart::Status::off);
    EXPECT_FALSE(autostart.disable());

    autostart.enable("/usr/bin/vellmora");
    EXPECT_EQ(autostart.entryPath(), temp.path / "config/autostart/dev.tessadine.vellmora.desktop");
    EXPECT_EQ(autostart.status(), XdgAutostart::Status::on);
    EXPECT_EQ(Support::Files::readIfExists(autostart.entryPath()),
              XdgAutostart::entryText("/usr/bin/vellmora"));
    EXPECT_NE(XdgAutostart::entryText("/usr/bin/vellmora").find("\nExec=/usr/bin/vellmora run --no-input\n"),
              std::string::npos);
    EXPECT_EQ(fs::status(autostart.entryPath()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                  fs::perms::others_read);

    std::ofstream(autostart.entryPath(), std::ios::app) << "Hidden=true\n";
    EXPECT_EQ(autostart.status(), XdgAutostart::Status::turnedOff);
    autostart.enable("/usr/bin/vellmora");
    EXPECT_EQ(autostart.status(), XdgAutostart::Status::on);

    EXPECT_TRUE(autostart.disable());
    EXPECT_FALSE(fs::exists(autostart.entryPath()));
    EXPECT_TRUE(fs::is_directory(temp.path / "config/autostart"));
    EXPECT_FALSE(autostart.disable());
}

TEST(XdgAutostart, OnlyTheMainGroupsSwitchesTurnAnEntryOff) {
    const std::vector<std::pair<std::string, XdgAutostart::Status>> cases = {
        {"[Desktop Entry]\nExec=v\n", XdgAutostart::Status::on},
        {"[Desktop Entry]\nHidden=true\n", XdgAutostart::Status::turnedOff},
        {"[Desktop Entry]\r\nHidden = true\r\n", XdgAutostart::Status::turnedOff},
        {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n", XdgAutostart::Status::turnedOff},
        {"[Desktop Entry]\nX-GNOME-Autostart-enabled=true\nHidden=false\n", XdgAutostart::Status::on},
        {"[Desktop Entry]\nExec=v\n[Desktop Action x]\nHidden=true\n", XdgAutostart::Status::on},
        {"# Hidden=true\n[Desktop Entry]\n", XdgAutostart::Status::on},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(XdgAutostart::statusOf(text), expected) << text;
    }
}

TEST(XdgAutostart, TheFolderIsTheConfigHomesAutostartFolder) {
    auto folderWith = [](std::map<std::string, std::string> vars) {
        return XdgAutostart::defaultFolder([&](const char* name) -> std::optional<std::string> {
            auto it = vars.find(name);
            return it == vars.end() ? std::nullopt : std::optional<std::string>(it->second);
        });
    };
    EXPECT_EQ(folderWith({{"HOME", "/home/ada"}, {"XDG_CONFIG_HOME", "/cfg"}}), fs::path("/cfg/autostart"));
    EXPECT_EQ(folderWith({{"HOME", "/home/ada"}, {"XDG_CONFIG_HOME", "relative"}}),
              fs::path("/home/ada/.config/autostart"));
    EXPECT_EQ(folderWith({{"HOME", "/home/ada"}}), fs::path("/home/ada/.config/autostart"));
}
