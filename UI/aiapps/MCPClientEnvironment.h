// The operating-system operations the catalog logic needs, held as replaceable functions so that the logic
// runs in tests against a temporary folder and scripted answers. `live()` uses the real file system and, on
// Linux, the freedesktop desktop entries for "is this app installed".
//
// `appURL(for:)`, `executableURL(for:)` and `isInstalled` never throw; a lookup that fails is "not found".
#pragma once

#include "UI/aiapps/MCPClientCatalog.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace UI {

struct MCPClientEnvironment {
    /// The user's real home folder.
    std::filesystem::path homeDirectory;
    /// The installed application for a bundle identifier (on Linux: a desktop-entry id), or nothing.
    std::function<std::optional<std::filesystem::path>(const std::string&)> applicationURL;
    std::function<bool(const std::filesystem::path&)> fileExists;
    /// Whether the path is an executable file.
    std::function<bool(const std::filesystem::path&)> isExecutable;
    std::function<MCPFileRead(const std::filesystem::path&)> readFile;
    /// False while a sandboxed process lacks the grant to the user's home folder.
    std::function<bool()> canReadClientFiles;

    /// The real system, with `home` as the home folder (default: the user's).
    static MCPClientEnvironment live();
    static MCPClientEnvironment live(std::filesystem::path home);

    /// Bundle identifiers in order, then the bundle name in /Applications and in ~/Applications.
    std::optional<std::filesystem::path> appURL(const MCPClient& client) const;
    /// The first candidate executable that is executable ("~/" resolved against the home folder).
    std::optional<std::filesystem::path> executableURL(const MCPClient& client) const;
    /// A client with executable candidates is installed when one is found; any other when its app is.
    bool isInstalled(const MCPClient& client) const;
    /// The file of a location under this environment's home folder.
    std::filesystem::path fileURL(const MCPConfigLocation& location) const {
        return location.resolved(homeDirectory);
    }
};

} // namespace UI
