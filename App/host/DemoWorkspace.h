// The workspace of the demo: every app is "installed" and opening a meeting only says what would open,
// so the demo's made-up meeting links never reach a browser.
#pragma once

#include "Platform/Workspace.h"

#include <functional>

namespace App {

class DemoWorkspace final : public Platform::Workspace {
public:
    using Printer = std::function<void(const std::string&)>;
    explicit DemoWorkspace(Printer print) : print_(std::move(print)) {}

    bool isAppInstalled(const std::string&) const override { return false; }
    std::optional<std::string> appForURL(const Support::Url&) const override { return std::nullopt; }
    Support::Task<bool> open(const Support::Url& url) override;
    Support::Task<bool> openApp(const std::string& bundleID) override;

private:
    Printer print_;
};

} // namespace App
