#include "UI/aiapps/AIAppsHelperLocation.h"
#include "UI/aiapps/DesktopEntryLocator.h"
#include "UI/aiapps/MCPClientEnvironment.h"

#include "UI/aiapps/AIAppsTestSupport.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

using namespace UI;
using namespace AIAppsTest;
namespace fs = std::filesystem;

namespace {

// An environment over scripted answers; `asked` records the bundle identifiers in the order they were tried.
struct Scripted {
    std::map<std::string, fs::path> apps;
    std::set<fs::path> files;
    std::set<fs::path> executables;
    std::vector<std::string> asked;

    MCPClientEnvironment environment() {
        MCPClientEnvironment env;
        env.homeDirectory = "/home/ada";
        env.applicationURL = [this](const std::string& id) -> std::optional<fs::path> {
            asked.push_back(id);
            auto it = apps.find(id);
            return it == apps.end() ? std::nullopt : std::optional<fs::path>(it->second);
        };
        env.fileExists = [this](const fs::path& p) { return files.count(p) > 0; };
        env.isExecutable = [this](const fs::path& p) { return executables.count(p) > 0; };
        env.readFile = [](const fs::path&) { return MCPFileRead::missing(); };
        env.canReadClientFiles = [] { return true; };
        return env;
    }
};

const MCPClient& mac(MCPClientID id) {
    return MCPClientCatalog::client(id, MCPHostSystem::macOS);
}

} // namespace

TEST(MCPClientEnvironment, FindsWarpUnderEitherBundleIdentifierTryingTheFirstFirst) {
    Scripted s;
    s.apps["dev.warp.Warp"] = "/Applications/Warp.app";
    auto env = s.environment();
    EXPECT_EQ(env.appURL(mac(MCPClientID::warp)), fs::path("/Applications/Warp.app"));
    EXPECT_EQ(s.asked, (std::vector<std::string>{"dev.warp.Warp-Stable", "dev.warp.Warp"}));

    s.apps["dev.warp.Warp-Stable"] = "/Applications/Warp Stable.app";
    s.asked.clear();
    EXPECT_EQ(env.appURL(mac(MCPClientID::warp)), fs::path("/Applications/Warp Stable.app"));
    EXPECT_EQ(s.asked, std::vector<std::string>{"dev.warp.Warp-Stable"});
}

TEST(MCPClientEnvironment, FallsBackToTheBundleNameInTheSystemThenTheUsersApplicationsFolder) {
    Scripted s;
    s.files = {"/home/ada/Applications/Cursor.app"};
    auto env = s.environment();
    EXPECT_EQ(env.appURL(mac(MCPClientID::cursor)), fs::path("/home/ada/Applications/Cursor.app"));
    EXPECT_TRUE(env.isInstalled(mac(MCPClientID::cursor)));
    s.files.insert("/Applications/Cursor.app");
    EXPECT_EQ(env.appURL(mac(MCPClientID::cursor)), fs::path("/Applications/Cursor.app"));
    EXPECT_EQ(env.appURL(mac(MCPClientID::raycast)), std::nullopt);
    EXPECT_FALSE(env.isInstalled(mac(MCPClientID::raycast)));
}

TEST(MCPClientEnvironment, FindsClaudeCodeThroughItsExecutableCandidatesInOrder) {
    Scripted s;
    s.executables = {"/home/ada/.claude/local/claude"};
    s.files = {"/usr/local/bin/claude"}; // there but not executable
    auto env = s.environment();
    const auto& claude = mac(MCPClientID::claudeCode);
    EXPECT_EQ(env.executableURL(claude), fs::path("/home/ada/.claude/local/claude"));
    EXPECT_TRUE(env.isInstalled(claude));
    s.executables.insert("/usr/local/bin/claude");
    EXPECT_EQ(env.executableURL(claude), fs::path("/usr/local/bin/claude"));
    s.executables.clear();
    EXPECT_FALSE(env.isInstalled(claude));
    EXPECT_TRUE(s.asked.empty()) << "an app found by its executable is never looked up by bundle";
}

TEST(MCPClientEnvironment, LiveFindsLinuxAppsThroughDesktopEntriesAndReadsFiles) {
    Fakes::TempFolder home;
    writeFile(home / ".local/share/applications/code.desktop", "[Desktop Entry]\nName=Code\nExec=code\n");
    ::setenv("XDG_DATA_HOME", (home / ".local/share").c_str(), 1);
    ::setenv("XDG_DATA_DIRS", (home / "system").c_str(), 1);
    auto env = MCPClientEnvironment::live(home.path);
    ::unsetenv("XDG_DATA_HOME");
    ::unsetenv("XDG_DATA_DIRS");
    const auto& code = MCPClientCatalog::client(MCPClientID::vsCode, MCPHostSystem::linuxDesktop);
    EXPECT_EQ(env.appURL(code), home / ".local/share/applications/code.desktop");
    EXPECT_FALSE(env.isInstalled(MCPClientCatalog::client(MCPClientID::cursor, MCPHostSystem::linuxDesktop)));

    auto file = env.fileURL(*code.method.location);
    EXPECT_EQ(file, home / ".config/Code/User/mcp.json");
    EXPECT_EQ(env.readFile(file), MCPFileRead::missing());
    writeFile(file, "{}");
    EXPECT_EQ(env.readFile(file), MCPFileRead::contents("{}"));
    EXPECT_EQ(env.readFile(home.path), MCPFileRead::unreadable());
    EXPECT_TRUE(env.canReadClientFiles());

    writeFile(home / "bin/claude", "#!/bin/sh\n");
    EXPECT_FALSE(env.isExecutable(home / "bin/claude"));
    fs::permissions(home / "bin/claude", fs::perms::owner_all);
    EXPECT_TRUE(env.isExecutable(home / "bin/claude"));
}

TEST(DesktopEntryLocator, SearchesTheUsersEntriesFirstAndHonoursHiddenOnes) {
    Fakes::TempFolder root;
    writeFile(root / "user/applications/cursor.desktop", "[Desktop Entry]\nHidden = true\n");
    writeFile(root / "system/applications/cursor.desktop", "[Desktop Entry]\nName=Cursor\n");
    writeFile(root / "system/applications/code.desktop",
              "[Desktop Entry]\nName=Code\n[Desktop Action x]\nHidden=true\n");
    std::map<std::string, std::string> vars = {
        {"XDG_DATA_HOME", (root / "user").string()},
        {"XDG_DATA_DIRS", (root / "none").string() + "::relative:" + (root / "system").string()}};
    auto folders = DesktopEntryLocator::applicationFolders(
        "/home/ada", [&](const char* n) -> std::optional<std::string> {
            auto it = vars.find(n);
            return it == vars.end() ? std::nullopt : std::optional<std::string>(it->second);
        });
    EXPECT_EQ(folders, (std::vector<fs::path>{root / "user/applications", root / "none/applications",
                                              root / "system/applications"}));
    EXPECT_EQ(DesktopEntryLocator::find("cursor.desktop", folders), std::nullopt);
    EXPECT_EQ(DesktopEntryLocator::find("code.desktop", folders), root / "system/applications/code.desktop");
    EXPECT_EQ(DesktopEntryLocator::find("../applications/code.desktop", folders), std::nullopt);

    auto defaults =
        DesktopEntryLocator::applicationFolders("/home/ada", [](const char*) { return std::nullopt; });
    EXPECT_EQ(defaults, (std::vector<fs::path>{"/home/ada/.local/share/applications",
                                               "/usr/local/share/applications", "/usr/share/applications"}));
}

TEST(AIAppsHelperLocation, FindsOnlyAnInstalledHelperOutsideTemporaryPlaces) {
    std::set<fs::path> executables = {"/opt/vellmora/libexec/vellmora/vellmora-mcp",
                                      "/usr/libexec/vellmora/vellmora-mcp",
                                      "/tmp/.mount_Vellm1/usr/libexec/vellmora/vellmora-mcp",
                                      "/home/ada/src/vellmora/build/App/vellmora-mcp"};
    auto isExec = [&](const fs::path& p) { return executables.count(p) > 0; };
    const std::vector<fs::path> temp = {"/tmp", "/var/tmp"};
    EXPECT_EQ(AIAppsHelperLocation::helperPath("/opt/vellmora/bin/vellmora", temp, isExec),
              fs::path("/opt/vellmora/libexec/vellmora/vellmora-mcp"));
    EXPECT_EQ(AIAppsHelperLocation::helperPath("/usr/bin/vellmora", temp, isExec),
              fs::path("/usr/libexec/vellmora/vellmora-mcp"));
    EXPECT_EQ(AIAppsHelperLocation::helperPath("/tmp/.mount_Vellm1/usr/bin/vellmora", temp, isExec),
              std::nullopt);
    // The build folder's helper lies beside the program: rebuilt or deleted at will, so never written into
    // another app's settings.
    EXPECT_EQ(AIAppsHelperLocation::helperPath("/home/ada/src/vellmora/build/App/vellmora", temp, isExec),
              std::nullopt);
    EXPECT_EQ(AIAppsHelperLocation::helperPath("/home/ada/vellmora", temp, isExec), std::nullopt);
    EXPECT_TRUE(AIAppsHelperLocation::isTemporary("/var/tmp/x/../y", temp));
    EXPECT_FALSE(AIAppsHelperLocation::isTemporary("/tmpfoo/y", temp));
    EXPECT_FALSE(AIAppsHelperLocation::isTemporary("/", temp));
}
