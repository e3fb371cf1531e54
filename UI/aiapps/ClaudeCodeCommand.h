// The Claude Code tool's command lines for adding and removing our MCP helper ("claude mcp add --scope user
// vellmora -- PATH"), as arguments for `ClaudeCLIRunner` and as one line the user can paste into a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct ClaudeCodeCommand {
    static std::vector<std::string> addArguments(const std::string& helperPath);
    static std::vector<std::string> removeArguments();
    /// The executable and the add arguments, each shell-quoted, joined by blanks.
    static std::string addCommandLine(const std::string& helperPath,
                                      const std::string& executable = "claude");
    static std::string removeCommandLine(const std::string& executable = "claude");
    /// `s` as one shell word that any POSIX shell reads back byte for byte: a non-empty text of letters,
    /// digits and -_./=:@+, stays as it is; anything else goes between single quotes, each single quote
    /// written as '\''.
    static std::string shellQuoted(std::string_view s);
};

} // namespace UI
