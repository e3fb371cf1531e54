#include "UI/aiapps/MCPClientCatalog.h"

#include <gtest/gtest.h>

using namespace UI;

namespace {
using Strings = std::vector<std::string>;
const MCPConfigLocation noFile{"", ""};
} // namespace

TEST(MCPClientCatalog, TheMacTableIsTheKnownAppsInScreenOrder) {
    struct Row {
        MCPClientID id;
        const char* name;
        Strings bundles;
        std::optional<std::string> bundleName;
        Strings executables;
        MCPConnectionMethod method;
        std::optional<MCPConfigLocation> statusFile;
        std::optional<std::string> hint;
    };
    using M = MCPConnectionMethod;
    const Row expected[] = {
        {MCPClientID::claudeCode,
         "Claude Code",
         {},
         std::nullopt,
         {"~/.local/bin/claude", "/opt/homebrew/bin/claude", "/usr/local/bin/claude",
          "~/.claude/local/claude"},
         M::cliCommand(),
         MCPConfigLocation{".claude.json", "mcpServers"},
         std::nullopt},
        {MCPClientID::antigravity,
         "Antigravity",
         {"com.google.antigravity"},
         "Antigravity.app",
         {},
         M::jsonFile({".gemini/config/mcp_config.json", "mcpServers"}, MCPEntryStyle::command),
         std::nullopt,
         std::nullopt},
        {MCPClientID::vsCode,
         "Visual Studio Code",
         {"com.microsoft.VSCode"},
         "Visual Studio Code.app",
         {},
         M::jsonFile({"Library/Application Support/Code/User/mcp.json", "servers"}, MCPEntryStyle::stdio),
         std::nullopt,
         std::nullopt},
        {MCPClientID::cursor,
         "Cursor",
         {"com.todesktop.230313mzl4w4u92"},
         "Cursor.app",
         {},
         M::jsonFile({".cursor/mcp.json", "mcpServers"}, MCPEntryStyle::command),
         std::nullopt,
         std::nullopt},
        {MCPClientID::claudeDesktop,
         "Claude Desktop",
         {"com.anthropic.claudefordesktop"},
         "Claude.app",
         {},
         M::jsonFile({"Library/Application Support/Claude/claude_desktop_config.json", "mcpServers"},
                     MCPEntryStyle::command),
         std::nullopt,
         std::nullopt},
        {MCPClientID::warp,
         "Warp",
         {"dev.warp.Warp-Stable", "dev.warp.Warp"},
         "Warp.app",
         {},
         M::paste(),
         std::nullopt,
         "In Warp, add an MCP server and paste the setup."},
        {MCPClientID::raycast,
         "Raycast",
         {"com.raycast.macos"},
         "Raycast.app",
         {},
         M::paste(),
         std::nullopt,
         "In Raycast, run Install Server and paste the setup."},
    };
    const auto& table = MCPClientCatalog::all(MCPHostSystem::macOS);
    ASSERT_EQ(table.size(), std::size(expected));
    for (size_t i = 0; i < table.size(); ++i) {
        const auto& e = expected[i];
        EXPECT_EQ(table[i], (MCPClient{e.id, e.name, e.bundles, e.bundleName, e.executables, e.method,
                                       e.statusFile, e.hint}))
            << e.name;
    }
}

TEST(MCPClientCatalog, TheLinuxTableHasTheSameAppsWithLinuxPlacesAndDesktopEntries) {
    const auto& mac = MCPClientCatalog::all(MCPHostSystem::macOS);
    const auto& linux_ = MCPClientCatalog::all(MCPHostSystem::linuxDesktop);
    ASSERT_EQ(linux_.size(), mac.size());
    for (size_t i = 0; i < mac.size(); ++i) {
        EXPECT_EQ(linux_[i].id, mac[i].id);
        EXPECT_EQ(linux_[i].displayName, mac[i].displayName);
        EXPECT_EQ(linux_[i].method.kind, mac[i].method.kind);
        EXPECT_EQ(linux_[i].method.style, mac[i].method.style);
        EXPECT_EQ(linux_[i].pasteHint, mac[i].pasteHint);
        EXPECT_FALSE(linux_[i].appBundleName);
        for (const auto& id : linux_[i].bundleIdentifiers) {
            EXPECT_TRUE(id.ends_with(".desktop")) << id;
        }
        if (auto loc = linux_[i].method.location) {
            EXPECT_EQ(loc->rootKey, mac[i].method.location->rootKey);
            EXPECT_EQ(loc->relativePath.find("Library/"), std::string::npos) << loc->relativePath;
        }
    }
    EXPECT_EQ(MCPClientCatalog::client(MCPClientID::vsCode, MCPHostSystem::linuxDesktop).method.location,
              (MCPConfigLocation{".config/Code/User/mcp.json", "servers"}));
    EXPECT_EQ(
        MCPClientCatalog::client(MCPClientID::claudeCode, MCPHostSystem::linuxDesktop).executablePaths.back(),
        "~/.claude/local/claude");
    EXPECT_EQ(&MCPClientCatalog::all(), &linux_);
}

TEST(MCPClientCatalog, LooksUpEveryIdAndRawValuesRoundTrip) {
    for (auto system : {MCPHostSystem::macOS, MCPHostSystem::linuxDesktop}) {
        for (auto id : allMCPClientIDs) {
            EXPECT_EQ(MCPClientCatalog::client(id, system).id, id);
            EXPECT_EQ(mcpClientID(rawValue(id)), id);
        }
        EXPECT_EQ(&MCPClientCatalog::client(MCPClientID::raycast, system),
                  &MCPClientCatalog::all(system).back());
    }
    EXPECT_EQ(rawValue(MCPClientID::claudeDesktop), "claudeDesktop");
    EXPECT_EQ(mcpClientID("ClaudeCode"), std::nullopt);
}

TEST(MCPConfigLocation, ResolvesUnderTheHomeFolderAsAFile) {
    EXPECT_EQ((MCPConfigLocation{".cursor/mcp.json", "mcpServers"}).resolved("/home/ada"),
              std::filesystem::path("/home/ada/.cursor/mcp.json"));
}
