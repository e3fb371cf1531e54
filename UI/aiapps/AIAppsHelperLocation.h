// Where our MCP helper executable ("vellmora-mcp") lies, and whether other apps can rely on that place.
// The entry we write into their settings names this path, so it must stay valid after we exit and after the
// next build: only an installed Vellmora (any prefix) has such a helper, in <prefix>/libexec/vellmora/
// beside <prefix>/bin/vellmora. A helper beside the executable is the build folder's layout (rebuilt,
// moved or deleted at will), and a copy under a temporary place (/tmp, /var/tmp, /dev/shm, $TMPDIR, an
// AppImage's mount under /tmp) vanishes: neither counts, and connecting says "Move Vellmora to
// Applications first, then connect." (on Linux: install it first). $VELLMORA_MCP_HELPER names the helper
// explicitly (packagers, tests, a developer who wants to connect a build).
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace UI {

struct AIAppsHelperLocation {
    static constexpr std::string_view helperName = "vellmora-mcp";

    /// The installed helper for the app executable at `executable`, or nothing when there is none (a build
    /// folder) or it lies under one of `temporaryRoots`.
    static std::optional<std::filesystem::path>
    helperPath(const std::filesystem::path& executable,
               const std::vector<std::filesystem::path>& temporaryRoots,
               const std::function<bool(const std::filesystem::path&)>& isExecutable);
    /// Whether `path` lies under one of `roots`.
    static bool isTemporary(const std::filesystem::path& path,
                            const std::vector<std::filesystem::path>& roots);
    /// /tmp, /var/tmp, /dev/shm and $TMPDIR.
    static std::vector<std::filesystem::path> temporaryRoots();
    /// The helper of the running process ($VELLMORA_MCP_HELPER when set and usable).
    static std::optional<std::filesystem::path> current();
};

} // namespace UI
