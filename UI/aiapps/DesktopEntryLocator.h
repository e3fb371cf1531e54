// Finds an installed Linux application by its desktop-entry id ("code.desktop") the way menus do: the
// "applications" folder of $XDG_DATA_HOME (default ~/.local/share) first, then of each folder in
// $XDG_DATA_DIRS (default /usr/local/share:/usr/share); the first file with that id wins, and an entry
// marked Hidden=true there means the application was removed. Used by `MCPClientEnvironment::live`.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

class DesktopEntryLocator {
public:
    using Environment = std::function<std::optional<std::string>(const char* name)>;

    /// The folders searched, highest priority first. `environment` gives the variables (default: the
    /// process's own).
    static std::vector<std::filesystem::path> applicationFolders(const std::filesystem::path& home,
                                                                 const Environment& environment = {});
    /// The desktop entry with that id, or nothing (not there, hidden, or an id with a path in it).
    static std::optional<std::filesystem::path> find(std::string_view desktopId,
                                                     const std::vector<std::filesystem::path>& folders);
};

} // namespace UI
