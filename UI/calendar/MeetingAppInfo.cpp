#include "UI/calendar/MeetingAppInfo.h"

namespace UI {

const std::vector<MeetingAppInfo>& MeetingAppInfo::all() {
    static const std::vector<MeetingAppInfo> apps{
        {"zoom", "Zoom", "video.fill", "us.zoom.xos", false},
        {"teams", "Microsoft Teams", "person.3.fill", "com.microsoft.teams2", false},
        {"meet", "Browser calls", "globe", std::nullopt, true},
        {"slack", "Slack", "bubble.left.fill", "com.tinyspeck.slackmacgap", false},
        {"discord", "Discord", "headphones", "com.hnc.Discord", false},
        {"webex", "Webex", "video.circle.fill", "com.cisco.webexmeetingsapp", false},
        {"facetime", "FaceTime", "video.fill", "com.apple.FaceTime", false},
        {"skype", "Skype", "phone.fill", "com.skype.skype", false},
        {"whatsapp", "WhatsApp", "phone.fill", "net.whatsapp.WhatsApp", false},
    };
    return apps;
}

std::optional<MeetingAppInfo> MeetingAppInfo::withID(std::string_view id) {
    for (const auto& app : all()) {
        if (app.id == id) {
            return app;
        }
    }
    return std::nullopt;
}

const std::vector<std::string>& MeetingAppInfo::defaultBundleIDs() {
    static const std::vector<std::string> ids = [] {
        std::vector<std::string> out;
        for (const auto& app : all()) {
            if (app.bundleID) {
                out.push_back(*app.bundleID);
            }
        }
        return out;
    }();
    return ids;
}

} // namespace UI
