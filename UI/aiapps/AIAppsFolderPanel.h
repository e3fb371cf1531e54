// Asks the user for access to an app's settings folder, for a sandboxed build that may not read the home
// folder on its own. The Linux build is not sandboxed and has no implementation; the settings model works
// without one.
#pragma once

#include "Support/Task.h"
#include "UI/aiapps/MCPClientCatalog.h"

#include <filesystem>
#include <optional>
#include <string>

namespace UI {

class AIAppsFolderPanel {
public:
    virtual ~AIAppsFolderPanel() = default;
    /// Shows the panel at `folder` with `message`; the folder the user chose, or nothing when cancelled.
    virtual Support::Task<std::optional<std::filesystem::path>>
    choose(const MCPClient& client, const std::filesystem::path& folder, const std::string& message) = 0;
};

} // namespace UI
