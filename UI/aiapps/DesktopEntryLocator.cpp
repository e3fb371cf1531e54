#include "UI/aiapps/DesktopEntryLocator.h"

#include "Support/Text.h"

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>

namespace UI {

namespace fs = std::filesystem;

namespace {

/// Whether the entry's [Desktop Entry] group says Hidden=true.
bool isHidden(const fs::path& entry) {
    std::ifstream in(entry);
    std::string line;
    bool inMainGroup = false;
    while (std::getline(in, line)) {
        auto text = Support::Text::trimmedSpacesOnly(line);
        if (text.starts_with("[")) {
            inMainGroup = text == "[Desktop Entry]";
        } else if (inMainGroup && text.starts_with("Hidden")) {
            auto eq = text.find('=');
            if (eq != std::string::npos && Support::Text::trimmedSpacesOnly(text.substr(0, eq)) == "Hidden") {
                return Support::Text::trimmedSpacesOnly(text.substr(eq + 1)) == "true";
            }
        }
    }
    return false;
}

} // namespace

std::vector<fs::path> DesktopEntryLocator::applicationFolders(const fs::path& home,
                                                              const Environment& environment) {
    auto get = [&](const char* name) -> std::optional<std::string> {
        if (environment) {
            return environment(name);
        }
        const char* v = std::getenv(name);
        return v ? std::optional<std::string>(v) : std::nullopt;
    };
    std::vector<fs::path> folders;
    auto dataHome = get("XDG_DATA_HOME");
    folders.push_back((dataHome && !dataHome->empty() && fs::path(*dataHome).is_absolute()
                           ? fs::path(*dataHome)
                           : home / ".local/share") /
                      "applications");
    auto dataDirs = get("XDG_DATA_DIRS");
    std::string dirs = dataDirs && !dataDirs->empty() ? *dataDirs : "/usr/local/share:/usr/share";
    for (const auto& dir : Support::Text::split(dirs, ':')) {
        if (!dir.empty() && fs::path(dir).is_absolute()) {
            folders.push_back(fs::path(dir) / "applications");
        }
    }
    return folders;
}

std::optional<fs::path> DesktopEntryLocator::find(std::string_view desktopId,
                                                  const std::vector<fs::path>& folders) {
    if (desktopId.empty() || desktopId.find('/') != std::string_view::npos || desktopId == "." ||
        desktopId == "..") {
        return std::nullopt;
    }
    for (const auto& folder : folders) {
        auto entry = folder / desktopId;
        struct stat info {};
        if (::stat(entry.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            if (isHidden(entry)) {
                return std::nullopt;
            }
            return entry;
        }
    }
    return std::nullopt;
}

} // namespace UI
