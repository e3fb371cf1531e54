#include "UI/calendar/CustomMeetingAppsManager.h"

#include "Support/Log.h"
#include "Support/Text.h"
#include "Support/Uuid.h"
#include "UI/calendar/CalendarMeetingCoding.h"
#include "UI/calendar/MeetingAppInfo.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace UI {

namespace {
const Support::Logger log("meetingApps");
}

CustomMeetingAppsManager::CustomMeetingAppsManager(Support::UserDefaults& defaults,
                                                   std::function<Support::Date()> now)
    : defaults_(defaults), now_(std::move(now)) {
    load();
}

void CustomMeetingAppsManager::load() {
    std::vector<CustomMeetingApp> apps;
    if (auto bytes = defaults_.data(customAppsKey)) {
        try {
            auto json = nlohmann::json::parse(bytes->begin(), bytes->end());
            if (!json.is_array()) {
                throw CalendarMeetingCodingError("not a list");
            }
            for (const auto& item : json) {
                apps.push_back(customMeetingAppFromJson(item));
            }
        } catch (const std::exception& e) {
            log.warning("The stored custom meeting apps cannot be read ({}); treating them as none",
                        e.what());
            apps.clear();
        }
    }
    customApps.set(std::move(apps));
}

bool CustomMeetingAppsManager::addApp(const std::string& bundleId, const std::string& displayName) {
    if (isCustomApp(bundleId)) {
        return false;
    }
    auto apps = customApps.get();
    apps.push_back(CustomMeetingApp{Support::Uuid::generate(), bundleId, displayName, now_()});
    customApps.set(std::move(apps));
    saveCustomApps();
    addToEnabledApps(bundleId);
    return true;
}

void CustomMeetingAppsManager::removeApp(const std::string& id) {
    auto apps = customApps.get();
    auto it = std::find_if(apps.begin(), apps.end(), [&](const CustomMeetingApp& a) { return a.id == id; });
    if (it == apps.end()) {
        return;
    }
    auto bundleId = it->bundleId;
    apps.erase(it);
    customApps.set(std::move(apps));
    saveCustomApps();
    removeFromEnabledApps(bundleId);
}

std::vector<std::string> CustomMeetingAppsManager::getAllBundleIds() const {
    std::vector<std::string> ids;
    for (const auto& app : customApps.get()) {
        ids.push_back(app.bundleId);
    }
    return ids;
}

bool CustomMeetingAppsManager::isCustomApp(const std::string& bundleId) const {
    const auto& apps = customApps.get();
    return std::any_of(apps.begin(), apps.end(),
                       [&](const CustomMeetingApp& a) { return a.bundleId == bundleId; });
}

bool CustomMeetingAppsManager::isEnabled(const std::string& bundleId) const {
    auto enabled = getEnabledApps();
    return std::find(enabled.begin(), enabled.end(), bundleId) != enabled.end();
}

void CustomMeetingAppsManager::saveCustomApps() {
    nlohmann::json array = nlohmann::json::array();
    for (const auto& app : customApps.get()) {
        array.push_back(toJson(app));
    }
    defaults_.setString(customAppsKey, array.dump());
}

std::vector<std::string> CustomMeetingAppsManager::getEnabledApps() const {
    auto stored = defaults_.string(enabledAppsKey).value_or(std::string(MeetingAppInfo::defaultEnabledApps));
    std::vector<std::string> apps;
    for (auto& piece : Support::Text::split(stored, ',')) {
        if (!piece.empty() && std::find(apps.begin(), apps.end(), piece) == apps.end()) {
            apps.push_back(std::move(piece));
        }
    }
    return apps;
}

void CustomMeetingAppsManager::addToEnabledApps(const std::string& bundleId) {
    auto apps = getEnabledApps();
    if (std::find(apps.begin(), apps.end(), bundleId) == apps.end()) {
        apps.push_back(bundleId);
        writeEnabledApps(apps);
    }
}

void CustomMeetingAppsManager::removeFromEnabledApps(const std::string& bundleId) {
    auto apps = getEnabledApps();
    auto it = std::find(apps.begin(), apps.end(), bundleId);
    if (it != apps.end()) {
        apps.erase(it);
        writeEnabledApps(apps);
    }
}

void CustomMeetingAppsManager::writeEnabledApps(const std::vector<std::string>& apps) {
    defaults_.setString(enabledAppsKey, Support::Text::joined(apps, ","));
}

} // namespace UI
