// `Platform::Clipboard` through the desktop's clipboard tools: wl-copy when a Wayland session is running,
// otherwise xclip or xsel when an X display is set. Each tool forks a small process that keeps serving the
// selection, so its output is not captured. Without a session or a tool, `setText` returns false.
#pragma once

#include "Platform/Clipboard.h"
#include "Platform/ProcessRunner.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

class CommandLineClipboard : public Clipboard {
public:
    using Environment = std::function<std::optional<std::string>(const char*)>;

    explicit CommandLineClipboard(std::shared_ptr<ProcessRunner> runner, Environment environment = {});
    bool setText(const std::string& text) override;

    /// The command that would be run (executable first), or nothing.
    std::optional<std::vector<std::string>> command() const;

private:
    std::optional<std::string> variable(const char* name) const;
    std::optional<std::string> findInPath(const std::string& tool) const;

    std::shared_ptr<ProcessRunner> runner_;
    Environment environment_;
};

} // namespace Platform
