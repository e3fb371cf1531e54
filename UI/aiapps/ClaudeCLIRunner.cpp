#include "UI/aiapps/ClaudeCLIRunner.h"

#include "Support/Text.h"

#include <system_error>

extern char** environ;

namespace UI {

std::string ClaudeCLIResult::failureSummary() const {
    if (timedOut) {
        return "Claude Code didn't answer in time.";
    }
    std::string summary = "Claude Code stopped with code " + std::to_string(exitStatus);
    auto said = Support::Text::trimmed(errorOutput);
    if (said.empty()) {
        said = Support::Text::trimmed(output);
    }
    if (!said.empty()) {
        auto firstLine = Support::Text::trimmed(Support::Text::lines(said).front());
        summary += ": " + Support::Text::graphemePrefix(firstLine, 300);
    }
    return summary;
}

ClaudeCLIRunner::ClaudeCLIRunner(std::shared_ptr<Platform::ProcessRunner> runner, std::filesystem::path home,
                                 std::map<std::string, std::string> baseEnvironment)
    : runner_(std::move(runner)), home_(std::move(home)), base_(std::move(baseEnvironment)) {}

std::map<std::string, std::string> ClaudeCLIRunner::environment(const std::filesystem::path& home,
                                                                std::map<std::string, std::string> base) {
    auto it = base.find("PATH");
    std::string rest = it != base.end() && !it->second.empty() ? it->second : "/usr/bin:/bin:/usr/sbin:/sbin";
    base["PATH"] = (home / ".local/bin").string() + ":/opt/homebrew/bin:/usr/local/bin:" + rest;
    return base;
}

std::map<std::string, std::string> ClaudeCLIRunner::environmentFromProcess() {
    std::map<std::string, std::string> out;
    for (char** e = environ; e && *e; ++e) {
        std::string_view entry(*e);
        auto eq = entry.find('=');
        if (eq != std::string_view::npos) {
            out.emplace(entry.substr(0, eq), entry.substr(eq + 1));
        }
    }
    return out;
}

Support::Task<ClaudeCLIResult> ClaudeCLIRunner::run(std::filesystem::path executable,
                                                    std::vector<std::string> arguments,
                                                    Support::Duration timeLimit) {
    Platform::ProcessRequest request;
    request.executable = executable.string();
    request.arguments = std::move(arguments);
    request.environment = environment(home_, base_);
    request.timeout = timeLimit;
    ClaudeCLIResult result;
    try {
        auto done = co_await runner_->run(std::move(request));
        result = ClaudeCLIResult{done.exitStatus, done.timedOut, done.standardOutput, done.standardError};
    } catch (const std::system_error& e) {
        result = ClaudeCLIResult{127, false, {}, e.code().message()};
    }
    co_return result;
}

} // namespace UI
