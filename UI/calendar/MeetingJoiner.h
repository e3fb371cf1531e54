// Decides how one meeting is joined: in the service's desktop app when it is installed and is what the
// system would open the app link with, else in the browser; and which call detector watches for the call.
// Runs on the main loop (it asks the workspace about installed apps and link handlers).
#pragma once

#include "Platform/Workspace.h"
#include "UI/calendar/JoinTarget.h"
#include "UI/calendar/MeetingLink.h"

#include <string_view>

namespace UI {

class MeetingJoiner {
public:
    static constexpr std::string_view zoomDetectorID = "zoom";
    static constexpr std::string_view teamsDetectorID = "teams";
    static constexpr std::string_view browserDetectorID = "meet";
    static constexpr std::string_view zoomBundleID = "us.zoom.xos";
    static constexpr std::string_view teamsBundleID = "com.microsoft.teams2";

    explicit MeetingJoiner(const Platform::Workspace& workspace) : workspace_(workspace) {}

    JoinTarget target(const MeetingLink& link) const;

private:
    const Platform::Workspace& workspace_;
};

} // namespace UI
