#include "UI/aiapps/MCPClientEnvironment.h"

#include "Platform/ProcessSpawning.h"
#include "Support/FileDescriptor.h"
#include "Support/Files.h"
#include "UI/aiapps/DesktopEntryLocator.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace UI {

namespace fs = std::filesystem;

namespace {

MCPFileRead readLive(const fs::path& path) {
    Support::FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        return errno == ENOENT || errno == ENOTDIR ? MCPFileRead::missing() : MCPFileRead::unreadable();
    }
    struct stat info {};
    std::string bytes;
    bool ok = ::fstat(fd.get(), &info) == 0 && S_ISREG(info.st_mode);
    char buffer[65536];
    while (ok) {
        ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        bytes.append(buffer, static_cast<size_t>(n));
    }
    return ok ? MCPFileRead::contents(std::move(bytes)) : MCPFileRead::unreadable();
}

} // namespace

MCPClientEnvironment MCPClientEnvironment::live() {
    return live(Support::Files::homeFolder());
}

MCPClientEnvironment MCPClientEnvironment::live(fs::path home) {
    MCPClientEnvironment env;
    env.homeDirectory = home;
    auto folders = std::make_shared<std::vector<fs::path>>(DesktopEntryLocator::applicationFolders(home));
    env.applicationURL = [folders](const std::string& id) { return DesktopEntryLocator::find(id, *folders); };
    env.fileExists = [](const fs::path& p) {
        struct stat info {};
        return ::stat(p.c_str(), &info) == 0;
    };
    env.isExecutable = Platform::isExecutableFile;
    env.readFile = readLive;
    // Not sandboxed on Linux; inside a sandbox without the home folder this is where it shows.
    env.canReadClientFiles = [home] { return ::access(home.c_str(), R_OK | X_OK) == 0; };
    return env;
}

std::optional<fs::path> MCPClientEnvironment::appURL(const MCPClient& client) const {
    for (const auto& id : client.bundleIdentifiers) {
        if (auto url = applicationURL ? applicationURL(id) : std::nullopt) {
            return url;
        }
    }
    if (client.appBundleName) {
        for (const auto& folder : {fs::path("/Applications"), homeDirectory / "Applications"}) {
            auto candidate = folder / *client.appBundleName;
            if (fileExists(candidate)) {
                return candidate;
            }
        }
    }
    return std::nullopt;
}

std::optional<fs::path> MCPClientEnvironment::executableURL(const MCPClient& client) const {
    for (const auto& path : client.executablePaths) {
        fs::path candidate = path.starts_with("~/") ? homeDirectory / path.substr(2) : fs::path(path);
        if (isExecutable(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

bool MCPClientEnvironment::isInstalled(const MCPClient& client) const {
    if (!client.executablePaths.empty()) {
        return executableURL(client).has_value();
    }
    return appURL(client).has_value();
}

} // namespace UI
