// What other AI apps need to reach our MCP helper: the name under which the helper's entry is listed in an
// app's MCP settings (and passed to `claude mcp add`). Used by the settings-file merger, the Claude Code
// command and the helper itself, which announces the same name in its `initialize` answer.
#pragma once

#include <string_view>

namespace Intelligence::ConnectSettings {

inline constexpr std::string_view serverName = "vellmora";

} // namespace Intelligence::ConnectSettings
