#include "Platform/Linux/CommandLineClipboard.h"

#include "Platform/ProcessSpawning.h"

#include <cstdlib>
#include <unistd.h>

namespace Platform {

CommandLineClipboard::CommandLineClipboard(std::shared_ptr<ProcessRunner> runner, Environment environment)
    : runner_(std::move(runner)), environment_(std::move(environment)) {}

std::optional<std::string> CommandLineClipboard::variable(const char* name) const {
    if (environment_) {
        return environment_(name);
    }
    const char* v = std::getenv(name);
    return v ? std::optional<std::string>(v) : std::nullopt;
}

std::optional<std::string> CommandLineClipboard::findInPath(const std::string& tool) const {
    auto found = findExecutable(tool, variable("PATH").value_or("/usr/bin:/bin"));
    return found ? std::optional<std::string>(found->string()) : std::nullopt;
}

std::optional<std::vector<std::string>> CommandLineClipboard::command() const {
    auto set = [this](const char* name) {
        auto v = variable(name);
        return v && !v->empty();
    };
    if (set("WAYLAND_DISPLAY")) {
        if (auto tool = findInPath("wl-copy")) {
            return std::vector<std::string>{*tool};
        }
    }
    if (set("DISPLAY")) {
        if (auto tool = findInPath("xclip")) {
            return std::vector<std::string>{*tool, "-selection", "clipboard", "-in"};
        }
        if (auto tool = findInPath("xsel")) {
            return std::vector<std::string>{*tool, "--clipboard", "--input"};
        }
    }
    return std::nullopt;
}

bool CommandLineClipboard::setText(const std::string& text) {
    auto cmd = command();
    if (!cmd) {
        return false;
    }
    ProcessRequest request;
    request.executable = cmd->front();
    request.arguments.assign(cmd->begin() + 1, cmd->end());
    request.standardInput = text;
    request.captureOutput = false;
    request.timeout = std::chrono::seconds(5);
    try {
        return runner_->runBlocking(request).succeeded();
    } catch (const std::system_error&) {
        return false;
    }
}

} // namespace Platform
