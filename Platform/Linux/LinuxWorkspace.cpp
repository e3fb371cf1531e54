#include "Platform/Linux/LinuxWorkspace.h"

#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <systemd/sd-bus.h>

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

extern char** environ;

namespace fs = std::filesystem;

namespace Platform {

namespace {

const Support::Logger log("workspace");

const std::map<std::string, std::vector<std::string>>& bundleTable() {
    static const std::map<std::string, std::vector<std::string>> table{
        {"us.zoom.xos", {"Zoom.desktop", "us.zoom.Zoom.desktop", "zoom.desktop"}},
        {"com.microsoft.teams2",
         {"teams-for-linux.desktop", "com.github.IsmaelMartinez.teams_for_linux.desktop", "teams.desktop",
          "teams-insiders.desktop"}},
        {"com.tinyspeck.slackmacgap", {"slack.desktop", "com.slack.Slack.desktop"}},
        {"com.hnc.Discord", {"discord.desktop", "com.discordapp.Discord.desktop"}},
        {"com.cisco.webexmeetingsapp", {"webex.desktop", "Webex.desktop"}},
        {"com.skype.skype", {"skypeforlinux.desktop", "com.skype.Client.desktop"}},
        {"net.whatsapp.WhatsApp",
         {"whatsapp-for-linux.desktop", "com.github.eneshecan.WhatsAppForLinux.desktop",
          "whatsdesk.desktop"}},
        {"com.apple.FaceTime", {}},
    };
    return table;
}

std::string env(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}

std::vector<fs::path> splitPaths(const std::string& list) {
    std::vector<fs::path> out;
    std::stringstream in(list);
    for (std::string item; std::getline(in, item, ':');) {
        if (!item.empty()) {
            out.emplace_back(item);
        }
    }
    return out;
}

fs::path dataHome() {
    return env("XDG_DATA_HOME", (Support::Files::homeFolder() / ".local/share").string());
}
fs::path configHome() {
    return env("XDG_CONFIG_HOME", (Support::Files::homeFolder() / ".config").string());
}

/// The folders that hold desktop entries, most important first.
std::vector<fs::path> applicationFolders() {
    std::vector<fs::path> out{dataHome() / "applications", dataHome() / "flatpak/exports/share/applications"};
    for (const auto& dir : splitPaths(env("XDG_DATA_DIRS", "/usr/local/share:/usr/share"))) {
        out.push_back(dir / "applications");
    }
    out.emplace_back("/var/lib/flatpak/exports/share/applications");
    return out;
}

/// The mimeapps.list files in the order the freedesktop standard reads them.
std::vector<fs::path> mimeappsFiles() {
    std::vector<fs::path> out;
    std::vector<std::string> desktops;
    std::stringstream names(env("XDG_CURRENT_DESKTOP", ""));
    for (std::string d; std::getline(names, d, ':');) {
        if (!d.empty()) {
            for (auto& c : d) {
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
            desktops.push_back(d);
        }
    }
    auto addFolder = [&](const fs::path& folder) {
        for (const auto& d : desktops) {
            out.push_back(folder / (d + "-mimeapps.list"));
        }
        out.push_back(folder / "mimeapps.list");
    };
    addFolder(configHome());
    for (const auto& dir : splitPaths(env("XDG_CONFIG_DIRS", "/etc/xdg"))) {
        addFolder(dir);
    }
    addFolder(dataHome() / "applications");
    for (const auto& dir : splitPaths(env("XDG_DATA_DIRS", "/usr/local/share:/usr/share"))) {
        addFolder(dir / "applications");
    }
    return out;
}

/// The ';'-separated values of `key` in `section` of a desktop-style file.
std::vector<std::string> valuesIn(const fs::path& file, const std::string& section, const std::string& key) {
    std::ifstream in(file);
    std::string line;
    bool inSection = false;
    std::vector<std::string> out;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!line.empty() && line.front() == '[') {
            inSection = line == "[" + section + "]";
            continue;
        }
        if (!inSection) {
            continue;
        }
        auto eq = line.find('=');
        if (eq == std::string::npos) {
            continue;
        }
        auto name = line.substr(0, eq);
        while (!name.empty() && name.back() == ' ') {
            name.pop_back();
        }
        if (name != key) {
            continue;
        }
        std::stringstream values(line.substr(eq + 1));
        for (std::string v; std::getline(values, v, ';');) {
            v.erase(0, v.find_first_not_of(' '));
            if (!v.empty()) {
                out.push_back(v);
            }
        }
    }
    return out;
}

bool isHidden(const fs::path& entry) {
    auto hidden = valuesIn(entry, "Desktop Entry", "Hidden");
    return !hidden.empty() && hidden.front() == "true";
}

/// Splits an Exec line into arguments (double quotes group), dropping the field codes.
std::vector<std::string> execArguments(const std::string& exec) {
    std::vector<std::string> args;
    std::string current;
    bool quoted = false;
    bool any = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        char c = exec[i];
        if (c == '"') {
            quoted = !quoted;
            any = true;
        } else if (c == '\\' && quoted && i + 1 < exec.size()) {
            current.push_back(exec[++i]);
        } else if (c == ' ' && !quoted) {
            if (any) {
                args.push_back(current);
            }
            current.clear();
            any = false;
        } else {
            current.push_back(c);
            any = true;
        }
    }
    if (any) {
        args.push_back(current);
    }
    std::vector<std::string> out;
    for (auto& a : args) {
        if (a.size() == 2 && a[0] == '%') {
            continue; // %u %U %f %F %i %c %k
        }
        out.push_back(a);
    }
    return out;
}

/// Starts a program without a shell; true when it started (xdg-open: when it exited with status 0).
bool spawn(const std::vector<std::string>& args, bool waitForExit) {
    if (args.empty()) {
        return false;
    }
    std::vector<char*> argv;
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = 0;
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSID);
    int rc = posix_spawnp(&pid, argv[0], nullptr, &attr, argv.data(), environ);
    posix_spawnattr_destroy(&attr);
    if (rc != 0) {
        log.warning("Cannot start {}: {}", args[0], std::strerror(rc));
        return false;
    }
    int status = 0;
    if (waitForExit) {
        if (waitpid(pid, &status, 0) < 0) {
            return false;
        }
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    // Reap the launched app later without blocking anybody.
    std::thread([pid] {
        int ignored = 0;
        waitpid(pid, &ignored, 0);
    }).detach();
    return true;
}

/// Asks the desktop portal to open `uri`; false when there is no portal (or it refused).
bool openThroughPortal(const std::string& uri) {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0 || !bus) {
        return false;
    }
    sd_bus_set_method_call_timeout(bus, 5'000'000);
    sd_bus_error error{}; // SD_BUS_ERROR_NULL, without its C compound literal
    sd_bus_message* reply = nullptr;
    int rc = sd_bus_call_method(bus, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                                "org.freedesktop.portal.OpenURI", "OpenURI", &error, &reply, "ssa{sv}", "",
                                uri.c_str(), 0);
    if (rc < 0) {
        log.info("The desktop portal did not open the link ({}); trying xdg-open",
                 error.message ? error.message : std::strerror(-rc));
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    sd_bus_flush_close_unref(bus);
    return rc >= 0;
}

} // namespace

std::vector<std::string> LinuxWorkspace::desktopEntryIDs(const std::string& bundleID) {
    auto it = bundleTable().find(bundleID);
    if (it != bundleTable().end()) {
        return it->second;
    }
    return {bundleID + ".desktop"};
}

std::string LinuxWorkspace::bundleIDForDesktopEntry(const std::string& desktopID) {
    for (const auto& [bundle, ids] : bundleTable()) {
        for (const auto& id : ids) {
            if (id == desktopID) {
                return bundle;
            }
        }
    }
    const std::string suffix = ".desktop";
    if (desktopID.size() > suffix.size() &&
        desktopID.compare(desktopID.size() - suffix.size(), suffix.size(), suffix) == 0) {
        return desktopID.substr(0, desktopID.size() - suffix.size());
    }
    return desktopID;
}

std::optional<fs::path> LinuxWorkspace::findDesktopEntry(const std::string& desktopID) {
    // A desktop id "vendor-app.desktop" may also live at "vendor/app.desktop".
    std::vector<std::string> candidates{desktopID};
    for (std::size_t dash = desktopID.find('-'); dash != std::string::npos;
         dash = desktopID.find('-', dash + 1)) {
        auto nested = desktopID;
        nested[dash] = '/';
        candidates.push_back(nested);
    }
    for (const auto& folder : applicationFolders()) {
        for (const auto& name : candidates) {
            auto path = folder / name;
            std::error_code ec;
            if (fs::is_regular_file(path, ec)) {
                if (isHidden(path)) {
                    return std::nullopt; // a user's Hidden=true entry removes the app
                }
                return path;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::string> LinuxWorkspace::defaultHandler(const std::string& mimeType) {
    for (const auto& file : mimeappsFiles()) {
        for (const auto& id : valuesIn(file, "Default Applications", mimeType)) {
            if (findDesktopEntry(id)) {
                return id;
            }
        }
    }
    for (const auto& file : mimeappsFiles()) {
        for (const auto& id : valuesIn(file, "Added Associations", mimeType)) {
            if (findDesktopEntry(id)) {
                return id;
            }
        }
    }
    for (const auto& folder : applicationFolders()) {
        for (const auto& id : valuesIn(folder / "mimeinfo.cache", "MIME Cache", mimeType)) {
            if (findDesktopEntry(id)) {
                return id;
            }
        }
    }
    return std::nullopt;
}

bool LinuxWorkspace::isAppInstalled(const std::string& bundleID) const {
    for (const auto& id : desktopEntryIDs(bundleID)) {
        if (findDesktopEntry(id)) {
            return true;
        }
    }
    return false;
}

std::optional<std::string> LinuxWorkspace::appForURL(const Support::Url& url) const {
    auto scheme = url.scheme();
    if (scheme.empty()) {
        return std::nullopt;
    }
    auto handler = defaultHandler("x-scheme-handler/" + scheme);
    if (!handler) {
        return std::nullopt;
    }
    return bundleIDForDesktopEntry(*handler);
}

// The coroutines take their arguments by value: a task starts on the next turn of the loop, after the
// caller's temporaries are gone.
static Support::Task<bool> openLink(std::string text) {
    auto job = [text] { return openThroughPortal(text) || spawn({"xdg-open", text}, true); };
    co_return co_await Support::BlockingWork::run(std::move(job));
}

static Support::Task<bool> launch(std::vector<std::string> args) {
    auto job = [args] { return spawn(args, false); };
    co_return co_await Support::BlockingWork::run(std::move(job));
}

static Support::Task<bool> ready(bool value) {
    co_return value;
}

Support::Task<bool> LinuxWorkspace::open(const Support::Url& url) {
    return openLink(url.string());
}

Support::Task<bool> LinuxWorkspace::openApp(const std::string& bundleID) {
    std::optional<fs::path> entry;
    for (const auto& id : desktopEntryIDs(bundleID)) {
        if ((entry = findDesktopEntry(id))) {
            break;
        }
    }
    auto exec = entry ? valuesIn(*entry, "Desktop Entry", "Exec") : std::vector<std::string>();
    if (exec.empty()) {
        return ready(false);
    }
    // The reader split the Exec line at ';', which belongs to the command: join the pieces back.
    std::string line = exec.front();
    for (std::size_t i = 1; i < exec.size(); ++i) {
        line += ";" + exec[i];
    }
    return launch(execArguments(line));
}

} // namespace Platform
