#include "UI/aiapps/AIAppsHelperLocation.h"

#include "Platform/ProcessSpawning.h"
#include "Support/RunningProgram.h"

#include <cstdlib>

namespace UI {

namespace fs = std::filesystem;

bool AIAppsHelperLocation::isTemporary(const fs::path& path, const std::vector<fs::path>& roots) {
    auto normal = path.lexically_normal();
    for (const auto& root : roots) {
        auto rel = normal.lexically_relative(root.lexically_normal());
        if (!rel.empty() && *rel.begin() != "..") {
            return true;
        }
    }
    return false;
}

std::optional<fs::path>
AIAppsHelperLocation::helperPath(const fs::path& executable, const std::vector<fs::path>& temporaryRoots,
                                 const std::function<bool(const fs::path&)>& isExecutable) {
    auto candidate = executable.parent_path().parent_path() / "libexec" / "vellmora" / helperName;
    if (!isExecutable(candidate) || isTemporary(candidate, temporaryRoots)) {
        return std::nullopt;
    }
    return candidate.lexically_normal();
}

std::vector<fs::path> AIAppsHelperLocation::temporaryRoots() {
    std::vector<fs::path> roots = {"/tmp", "/var/tmp", "/dev/shm"};
    if (const char* tmp = std::getenv("TMPDIR"); tmp && fs::path(tmp).is_absolute()) {
        roots.emplace_back(tmp);
    }
    return roots;
}

std::optional<fs::path> AIAppsHelperLocation::current() {
    if (const char* explicitPath = std::getenv("VELLMORA_MCP_HELPER"); explicitPath && *explicitPath) {
        fs::path p(explicitPath);
        return p.is_absolute() && Platform::isExecutableFile(p) ? std::optional<fs::path>(p) : std::nullopt;
    }
    auto self = Support::runningProgram();
    if (self.empty()) {
        return std::nullopt;
    }
    return helperPath(self, temporaryRoots(), Platform::isExecutableFile);
}

} // namespace UI
