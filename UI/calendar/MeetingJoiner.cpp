#include "UI/calendar/MeetingJoiner.h"

#include "Support/Text.h"

namespace UI {

namespace {

bool handlerStartsWith(const std::optional<std::string>& bundleID, std::string_view prefix) {
    return bundleID && Support::Text::startsWith(Support::Text::asciiLowercased(*bundleID), prefix);
}

} // namespace

JoinTarget MeetingJoiner::target(const MeetingLink& link) const {
    auto browser = [&] {
        return JoinTarget{link.webURL, std::string(browserDetectorID), workspace_.appForURL(link.webURL),
                          false};
    };
    switch (link.service) {
    case MeetingService::zoom: {
        bool installed = workspace_.isAppInstalled(std::string(zoomBundleID));
        if (installed && link.nativeURL &&
            handlerStartsWith(workspace_.appForURL(*link.nativeURL), "us.zoom")) {
            return JoinTarget{*link.nativeURL, std::string(zoomDetectorID), std::string(zoomBundleID), true};
        }
        if (installed) {
            return JoinTarget{link.webURL, std::string(zoomDetectorID), std::string(zoomBundleID), false};
        }
        return browser();
    }
    case MeetingService::teams:
        if (workspace_.isAppInstalled(std::string(teamsBundleID)) && link.nativeURL &&
            handlerStartsWith(workspace_.appForURL(*link.nativeURL), "com.microsoft.teams")) {
            return JoinTarget{*link.nativeURL, std::string(teamsDetectorID), std::string(teamsBundleID),
                              true};
        }
        return browser();
    case MeetingService::meet:
        return browser();
    }
    return browser();
}

} // namespace UI
