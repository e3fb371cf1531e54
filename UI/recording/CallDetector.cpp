#include "UI/recording/CallDetector.h"

#include "Support/Text.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace UI {

namespace {

struct App {
    CallDetector::Call call;
    /// Names that are this app's, as the whole name or its first part ("firefox" is "firefox-esr" too).
    std::vector<std::string_view> names;
    /// A word that anywhere in a name makes it this app's ("teams-for-linux", "Microsoft Teams").
    std::string_view anywhere;
};

// Meeting apps before browsers: an app built on Chromium may call its stream "Chromium input", but its
// program name says which app it is, and program names are looked at first.
const std::vector<App>& knownApps() {
    static const std::vector<App> apps{
        {{"zoom", "us.zoom.xos", "Zoom", false}, {"zoom", "zoomlauncher", "zoom.real"}, {}},
        {{"teams", "com.microsoft.teams2", "Microsoft Teams", false}, {}, "teams"},
        {{"slack", "com.tinyspeck.slackmacgap", "Slack", false}, {"slack"}, {}},
        {{"discord", "com.hnc.Discord", "Discord", false}, {"discord", "discordptb", "discordcanary"}, {}},
        {{"webex", "com.cisco.webexmeetingsapp", "Webex", false}, {"webex", "ciscowebex"}, {}},
        {{"skype", "com.skype.skype", "Skype", false}, {"skype", "skypeforlinux"}, {}},
        {{"whatsapp", "net.whatsapp.WhatsApp", "WhatsApp", false}, {"whatsapp", "whatsdesk"}, {}},
        {{"meet", "org.mozilla.firefox", "Firefox", true}, {"firefox"}, {}},
        {{"meet", "org.chromium.Chromium", "Chromium", true}, {"chromium", "chromium-browser"}, {}},
        {{"meet", "com.google.chrome", "Google Chrome", true},
         {"chrome", "google-chrome", "google chrome"},
         {}},
        {{"meet", "com.brave.Browser", "Brave", true}, {"brave", "brave-browser"}, {}},
        {{"meet", "com.microsoft.Edge", "Microsoft Edge", true},
         {"msedge", "microsoft-edge", "microsoft edge"},
         {}},
        {{"meet", "com.vivaldi.Vivaldi", "Vivaldi", true}, {"vivaldi"}, {}},
        {{"meet", "com.opera.Opera", "Opera", true}, {"opera"}, {}},
    };
    return apps;
}

/// `name` is `key`, or starts with it followed by something that is not a letter or digit.
bool namedAs(std::string_view name, std::string_view key) {
    if (!name.starts_with(key)) {
        return false;
    }
    return name.size() == key.size() || !std::isalnum(static_cast<unsigned char>(name[key.size()]));
}

const App* appNamed(const std::string& rawName) {
    if (rawName.empty()) {
        return nullptr;
    }
    auto name = Support::Text::lowercased(rawName);
    for (const auto& app : knownApps()) {
        bool named =
            std::any_of(app.names.begin(), app.names.end(), [&](auto key) { return namedAs(name, key); });
        if (named || (!app.anywhere.empty() && name.find(app.anywhere) != std::string::npos)) {
            return &app;
        }
    }
    return nullptr;
}

} // namespace

std::optional<CallDetector::Call> CallDetector::classify(const Platform::MicrophoneClient& client,
                                                         const std::set<int>& ownProcessIds) {
    if ((client.processId && ownProcessIds.count(*client.processId)) ||
        Support::Text::lowercased(client.applicationName) == "vellmora") {
        return std::nullopt;
    }
    const App* app = appNamed(client.processBinary);
    if (!app) {
        app = appNamed(client.applicationName);
    }
    if (!app) {
        return std::nullopt;
    }
    return app->call;
}

std::vector<CallDetector::Call> CallDetector::callsIn(const std::vector<Platform::MicrophoneClient>& clients,
                                                      const std::set<int>& ownProcessIds) {
    std::vector<Call> calls;
    for (const auto& client : clients) {
        auto call = classify(client, ownProcessIds);
        if (call && std::none_of(calls.begin(), calls.end(),
                                 [&](const Call& c) { return c.bundleID == call->bundleID; })) {
            calls.push_back(std::move(*call));
        }
    }
    return calls;
}

CallDetector::Changes CallDetector::diff(const std::vector<Call>& before, const std::vector<Call>& after) {
    auto inList = [](const std::vector<Call>& list, const Call& call) {
        return std::any_of(list.begin(), list.end(),
                           [&](const Call& c) { return c.bundleID == call.bundleID; });
    };
    Changes changes;
    for (const auto& call : after) {
        if (!inList(before, call)) {
            changes.started.push_back(call);
        }
        changes.microphoneHolders.insert(call.bundleID);
    }
    for (const auto& call : before) {
        if (!inList(after, call)) {
            changes.ended.push_back(call);
        }
    }
    return changes;
}

CallDetector::Changes CallDetector::update(const std::vector<Platform::MicrophoneClient>& clients,
                                           const std::set<int>& ownProcessIds) {
    auto now = callsIn(clients, ownProcessIds);
    auto changes = diff(calls_, now);
    calls_ = std::move(now);
    return changes;
}

} // namespace UI
