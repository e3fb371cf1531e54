// A scripted workspace for tests: installed apps and URL-scheme handlers are set by the test, and every
// open request is recorded (and succeeds unless `failOpens` is set).
#pragma once

#include "Platform/Workspace.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Fakes {

class FakeWorkspace final : public Platform::Workspace {
public:
    std::set<std::string> installedApps;
    /// URL scheme ("https", "zoommtg", "msteams") → bundle identifier of its handler.
    std::map<std::string, std::string> handlers;
    std::vector<std::string> openedURLs;
    std::vector<std::string> openedApps;
    bool failOpens = false;

    bool isAppInstalled(const std::string& bundleID) const override {
        return installedApps.count(bundleID) > 0;
    }
    std::optional<std::string> appForURL(const Support::Url& url) const override {
        auto it = handlers.find(url.scheme());
        return it == handlers.end() ? std::nullopt : std::optional<std::string>(it->second);
    }
    // Recorded at once (the caller's arguments may be temporaries); the answer comes on the next turn.
    Support::Task<bool> open(const Support::Url& url) override {
        openedURLs.push_back(url.string());
        return answer(!failOpens);
    }
    Support::Task<bool> openApp(const std::string& bundleID) override {
        openedApps.push_back(bundleID);
        return answer(!failOpens);
    }

private:
    // Out of line: clang 14 with AddressSanitizer cannot assemble this coroutine when it is an inline
    // (COMDAT) function ("Cannot represent a difference across sections").
    static Support::Task<bool> answer(bool value);
};

} // namespace Fakes
