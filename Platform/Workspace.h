// The desktop workspace: which apps are installed, which app opens a link, and opening links and apps.
// Used by the join flow (native app or browser), the meeting-app settings and the AI-apps settings.
//
// Apps are named by their bundle identifiers ("us.zoom.xos", "com.microsoft.teams2"): those are the
// identifiers the decision logic reasons with on every platform. An implementation maps them to its own app
// ids (the Linux workspace maps them to desktop entry ids); an app it cannot map is reported under its own
// id, so the answers stay usable in logs and settings.
#pragma once

#include "Support/Task.h"
#include "Support/Url.h"

#include <optional>
#include <string>

namespace Platform {

class Workspace {
public:
    virtual ~Workspace() = default;

    /// True when an app with that bundle identifier is installed.
    virtual bool isAppInstalled(const std::string& bundleID) const = 0;
    /// The bundle identifier of the app that would open `url` (by its scheme: "https", "zoommtg", ...), or
    /// nothing when no app handles it.
    virtual std::optional<std::string> appForURL(const Support::Url& url) const = 0;
    /// Opens `url` in the app that handles it; true when the request was handed over.
    virtual Support::Task<bool> open(const Support::Url& url) = 0;
    /// Launches the app with that bundle identifier; true when it was started.
    virtual Support::Task<bool> openApp(const std::string& bundleID) = 0;
};

} // namespace Platform
