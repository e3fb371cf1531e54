// Where our MCP helper executable ("vellmora-mcp") lies, and whether other apps can rely on that place.
// The entry we write into their settings names this path, so it must stay valid after we exit: the helper
// is looked for beside the running `vellmora` executable, then in ../libexec/vellmora/ (the installed
// layout), and a copy running from a temporary place (/tmp, /var/tmp, /dev/shm, $TMPDIR, an AppImage's
// mount under /tmp) does not count. $VELLMORA_MCP_HELPER names the helper explicitly (packagers, tests).
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace UI {

struct AIAppsHelperLocation {
    static constexpr std::string_view helperName = "vellmora-mcp";

    /// The helper for the app executable at `executable`, or nothing when there is none or it lies under one
    /// of `temporaryRoots`.
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
