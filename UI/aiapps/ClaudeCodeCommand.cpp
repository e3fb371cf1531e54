#include "UI/aiapps/ClaudeCodeCommand.h"

#include "Intelligence/ConnectSettings.h"

namespace UI {

namespace {

std::string commandLine(const std::string& executable, const std::vector<std::string>& arguments) {
    std::string line = ClaudeCodeCommand::shellQuoted(executable);
    for (const auto& a : arguments) {
        line += ' ';
        line += ClaudeCodeCommand::shellQuoted(a);
    }
    return line;
}

} // namespace

std::vector<std::string> ClaudeCodeCommand::addArguments(const std::string& helperPath) {
    return {"mcp", "add",     "--scope", "user", std::string(Intelligence::ConnectSettings::serverName),
            "--",  helperPath};
}

std::vector<std::string> ClaudeCodeCommand::removeArguments() {
    return {"mcp", "remove", "--scope", "user", std::string(Intelligence::ConnectSettings::serverName)};
}

std::string ClaudeCodeCommand::addCommandLine(const std::string& helperPath, const std::string& executable) {
    return commandLine(executable, addArguments(helperPath));
}

std::string ClaudeCodeCommand::removeCommandLine(const std::string& executable) {
    return commandLine(executable, removeArguments());
}

std::string ClaudeCodeCommand::shellQuoted(std::string_view s) {
    static constexpr std::string_view safe =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./=:@+,";
    if (!s.empty() && s.find_first_not_of(safe) == std::string_view::npos) {
        return std::string(s);
    }
    std::string out = "'";
    for (char c : s) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    out += '\'';
    return out;
}

} // namespace UI
