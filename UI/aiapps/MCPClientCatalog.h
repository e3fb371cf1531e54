// The AI apps that can run our MCP helper: which ones we know, how each is connected (we edit its JSON
// settings file, run its command-line tool, or the user pastes a snippet), where their files are. Pure data;
// the settings model and the command line list them in catalog order.
//
// There are two tables of the same apps: the macOS one (bundle identifiers, .app bundles, Library folders)
// and the Linux one, where `bundleIdentifiers` holds desktop-entry ids ("code.desktop") and the settings
// files sit where the Linux builds of these apps keep them. `MCPClientCatalog::all()` picks the table of the
// system we run on; an app with no Linux build keeps its row but is never found installed there.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

enum class MCPClientID { claudeCode, antigravity, vsCode, cursor, claudeDesktop, warp, raycast };

inline constexpr std::array<MCPClientID, 7> allMCPClientIDs = {
    MCPClientID::claudeCode,    MCPClientID::antigravity, MCPClientID::vsCode, MCPClientID::cursor,
    MCPClientID::claudeDesktop, MCPClientID::warp,        MCPClientID::raycast};

/// The raw value ("claudeCode", ...), and back (nothing for an unknown text).
std::string_view rawValue(MCPClientID id);
std::optional<MCPClientID> mcpClientID(std::string_view raw);

/// How our entry is written: `command` holds only "command"; `stdio` holds "type": "stdio" and "command".
enum class MCPEntryStyle { command, stdio };

/// A settings file relative to the user's home folder, and the top-level key of the servers object.
struct MCPConfigLocation {
    std::string relativePath;
    std::string rootKey;

    /// The file under `home` (relativePath appended as a file).
    std::filesystem::path resolved(const std::filesystem::path& home) const { return home / relativePath; }
    friend bool operator==(const MCPConfigLocation&, const MCPConfigLocation&) = default;
};

struct MCPConnectionMethod {
    enum class Kind { jsonFile, cliCommand, paste };
    Kind kind = Kind::paste;
    /// Set for `jsonFile` only.
    std::optional<MCPConfigLocation> location;
    MCPEntryStyle style = MCPEntryStyle::command;

    static MCPConnectionMethod jsonFile(MCPConfigLocation location, MCPEntryStyle style) {
        return {Kind::jsonFile, std::move(location), style};
    }
    static MCPConnectionMethod cliCommand() {
        return {Kind::cliCommand, std::nullopt, MCPEntryStyle::command};
    }
    static MCPConnectionMethod paste() { return {Kind::paste, std::nullopt, MCPEntryStyle::command}; }
    friend bool operator==(const MCPConnectionMethod&, const MCPConnectionMethod&) = default;
};

struct MCPClient {
    MCPClientID id = MCPClientID::claudeCode;
    std::string displayName;
    /// Tried in order. On Linux: desktop-entry ids.
    std::vector<std::string> bundleIdentifiers;
    /// The .app bundle's name in an Applications folder (macOS only).
    std::optional<std::string> appBundleName;
    /// Candidate command-line executables, tried in order; "~/" means the home folder.
    std::vector<std::string> executablePaths;
    MCPConnectionMethod method;
    /// Read only to tell whether a client that is not connected through a file already has our entry.
    std::optional<MCPConfigLocation> statusFile;
    std::optional<std::string> pasteHint;

    friend bool operator==(const MCPClient&, const MCPClient&) = default;
};

/// The system whose table is used.
enum class MCPHostSystem { macOS, linuxDesktop };

class MCPClientCatalog {
public:
    /// The table of the system we run on, in the order of the settings screen.
    static const std::vector<MCPClient>& all();
    static const std::vector<MCPClient>& all(MCPHostSystem system);
    /// The row with that id (every id has one).
    static const MCPClient& client(MCPClientID id);
    static const MCPClient& client(MCPClientID id, MCPHostSystem system);
    static MCPHostSystem currentSystem();
};

/// Reading a client's settings file.
struct MCPFileRead {
    enum class Kind { contents, missing, unreadable };
    Kind kind = Kind::missing;
    std::string data;

    static MCPFileRead contents(std::string bytes) { return {Kind::contents, std::move(bytes)}; }
    static MCPFileRead missing() { return {Kind::missing, {}}; }
    static MCPFileRead unreadable() { return {Kind::unreadable, {}}; }
    friend bool operator==(const MCPFileRead&, const MCPFileRead&) = default;
};

/// What the settings screen shows for a client.
enum class MCPClientStatus { needsUpdate, notInstalled, notConnected, connected, unknown };

} // namespace UI
