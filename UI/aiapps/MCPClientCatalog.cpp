#include "UI/aiapps/MCPClientCatalog.h"

#include <cstdlib>

namespace UI {

namespace {

const std::vector<std::string> claudeExecutablesMac = {"~/.local/bin/claude", "/opt/homebrew/bin/claude",
                                                       "/usr/local/bin/claude", "~/.claude/local/claude"};
// The native installer and npm's user prefix put it in ~/.local/bin; Homebrew on Linux lives under
// /home/linuxbrew; distribution packages use /usr/bin.
const std::vector<std::string> claudeExecutablesLinux = {
    "~/.local/bin/claude", "/usr/local/bin/claude", "/usr/bin/claude",
    "/home/linuxbrew/.linuxbrew/bin/claude", "~/.claude/local/claude"};

MCPClient makeClient(MCPClientID id, std::string name, std::vector<std::string> bundles,
                     std::optional<std::string> bundleName, std::vector<std::string> executables,
                     MCPConnectionMethod method, std::optional<MCPConfigLocation> statusFile = std::nullopt,
                     std::optional<std::string> pasteHint = std::nullopt) {
    return MCPClient{id,
                     std::move(name),
                     std::move(bundles),
                     std::move(bundleName),
                     std::move(executables),
                     std::move(method),
                     std::move(statusFile),
                     std::move(pasteHint)};
}

const std::string warpHint = "In Warp, add an MCP server and paste the setup.";
const std::string raycastHint = "In Raycast, run Install Server and paste the setup.";

std::vector<MCPClient> macTable() {
    using M = MCPConnectionMethod;
    return {
        makeClient(MCPClientID::claudeCode, "Claude Code", {}, std::nullopt, claudeExecutablesMac,
                   M::cliCommand(), MCPConfigLocation{".claude.json", "mcpServers"}),
        makeClient(MCPClientID::antigravity, "Antigravity", {"com.google.antigravity"}, "Antigravity.app", {},
                   M::jsonFile({".gemini/config/mcp_config.json", "mcpServers"}, MCPEntryStyle::command)),
        makeClient(
            MCPClientID::vsCode, "Visual Studio Code", {"com.microsoft.VSCode"}, "Visual Studio Code.app", {},
            M::jsonFile({"Library/Application Support/Code/User/mcp.json", "servers"}, MCPEntryStyle::stdio)),
        makeClient(MCPClientID::cursor, "Cursor", {"com.todesktop.230313mzl4w4u92"}, "Cursor.app", {},
                   M::jsonFile({".cursor/mcp.json", "mcpServers"}, MCPEntryStyle::command)),
        makeClient(
            MCPClientID::claudeDesktop, "Claude Desktop", {"com.anthropic.claudefordesktop"}, "Claude.app",
            {},
            M::jsonFile({"Library/Application Support/Claude/claude_desktop_config.json", "mcpServers"},
                        MCPEntryStyle::command)),
        makeClient(MCPClientID::warp, "Warp", {"dev.warp.Warp-Stable", "dev.warp.Warp"}, "Warp.app", {},
                   M::paste(), std::nullopt, warpHint),
        makeClient(MCPClientID::raycast, "Raycast", {"com.raycast.macos"}, "Raycast.app", {}, M::paste(),
                   std::nullopt, raycastHint),
    };
}

// Desktop-entry ids of the distribution, snap and Flatpak packages; settings under ~/.config as the
// Electron builds of these apps keep them.
std::vector<MCPClient> linuxTable() {
    using M = MCPConnectionMethod;
    return {
        makeClient(MCPClientID::claudeCode, "Claude Code", {}, std::nullopt, claudeExecutablesLinux,
                   M::cliCommand(), MCPConfigLocation{".claude.json", "mcpServers"}),
        makeClient(MCPClientID::antigravity, "Antigravity",
                   {"antigravity.desktop", "antigravity_antigravity.desktop"}, std::nullopt, {},
                   M::jsonFile({".gemini/config/mcp_config.json", "mcpServers"}, MCPEntryStyle::command)),
        makeClient(MCPClientID::vsCode, "Visual Studio Code",
                   {"code.desktop", "code_code.desktop", "com.visualstudio.code.desktop"}, std::nullopt, {},
                   M::jsonFile({".config/Code/User/mcp.json", "servers"}, MCPEntryStyle::stdio)),
        makeClient(MCPClientID::cursor, "Cursor", {"cursor.desktop", "cursor_cursor.desktop"}, std::nullopt,
                   {}, M::jsonFile({".cursor/mcp.json", "mcpServers"}, MCPEntryStyle::command)),
        makeClient(
            MCPClientID::claudeDesktop, "Claude Desktop", {"claude-desktop.desktop", "claude.desktop"},
            std::nullopt, {},
            M::jsonFile({".config/Claude/claude_desktop_config.json", "mcpServers"}, MCPEntryStyle::command)),
        makeClient(MCPClientID::warp, "Warp", {"dev.warp.Warp.desktop", "dev.warp.Warp-Stable.desktop"},
                   std::nullopt, {}, M::paste(), std::nullopt, warpHint),
        // No Linux build: never found installed, still listed so the screen and the command line match.
        makeClient(MCPClientID::raycast, "Raycast", {}, std::nullopt, {}, M::paste(), std::nullopt,
                   raycastHint),
    };
}

} // namespace

std::string_view rawValue(MCPClientID id) {
    switch (id) {
    case MCPClientID::claudeCode:
        return "claudeCode";
    case MCPClientID::antigravity:
        return "antigravity";
    case MCPClientID::vsCode:
        return "vsCode";
    case MCPClientID::cursor:
        return "cursor";
    case MCPClientID::claudeDesktop:
        return "claudeDesktop";
    case MCPClientID::warp:
        return "warp";
    case MCPClientID::raycast:
        return "raycast";
    }
    return "";
}

std::optional<MCPClientID> mcpClientID(std::string_view raw) {
    for (auto id : allMCPClientIDs) {
        if (rawValue(id) == raw) {
            return id;
        }
    }
    return std::nullopt;
}

const std::vector<MCPClient>& MCPClientCatalog::all(MCPHostSystem system) {
    static const std::vector<MCPClient> mac = macTable();
    static const std::vector<MCPClient> linux_ = linuxTable();
    return system == MCPHostSystem::macOS ? mac : linux_;
}

const std::vector<MCPClient>& MCPClientCatalog::all() {
    return all(currentSystem());
}

const MCPClient& MCPClientCatalog::client(MCPClientID id, MCPHostSystem system) {
    const auto& table = all(system);
    for (const auto& c : table) {
        if (c.id == id) {
            return c;
        }
    }
    std::abort(); // every id has a row
}

const MCPClient& MCPClientCatalog::client(MCPClientID id) {
    return client(id, currentSystem());
}

MCPHostSystem MCPClientCatalog::currentSystem() {
#if defined(__APPLE__)
    return MCPHostSystem::macOS;
#else
    return MCPHostSystem::linuxDesktop;
#endif
}

} // namespace UI
