// The update check's persisted preferences, over the user defaults. Automatic checks are on when the user
// never chose otherwise. A stored value of the wrong type reads as absent.
#pragma once

#include "Support/Time.h"
#include "Support/UserDefaults.h"

#include <optional>
#include <string>

namespace UI {

class UpdateCheckPreferences {
public:
    static constexpr const char* enabledKey = "updateCheck.enabled";
    static constexpr const char* lastCheckDateKey = "updateCheck.lastCheckDate";
    static constexpr const char* skippedVersionKey = "updateCheck.skippedVersion";
    static constexpr const char* snoozeUntilKey = "updateCheck.snoozeUntil";

    explicit UpdateCheckPreferences(Support::UserDefaults& defaults) : defaults_(defaults) {}

    bool isEnabled() const { return defaults_.boolean(enabledKey).value_or(true); }
    void setEnabled(bool enabled) { defaults_.setBool(enabledKey, enabled); }

    std::optional<Support::Date> lastCheckDate() const { return defaults_.date(lastCheckDateKey); }
    void setLastCheckDate(Support::Date date) {
        defaults_.set(lastCheckDateKey, Support::DefaultsValue(date));
    }

    std::optional<std::string> skippedVersion() const { return defaults_.string(skippedVersionKey); }
    void setSkippedVersion(const std::optional<std::string>& version) {
        setOrRemove(skippedVersionKey, version);
    }

    std::optional<Support::Date> snoozeUntil() const { return defaults_.date(snoozeUntilKey); }
    void setSnoozeUntil(const std::optional<Support::Date>& date) { setOrRemove(snoozeUntilKey, date); }

    Support::UserDefaults& defaults() const { return defaults_; }

private:
    template <typename T> void setOrRemove(const char* key, const std::optional<T>& value) {
        if (value) {
            defaults_.set(key, Support::DefaultsValue(*value));
        } else {
            defaults_.remove(key);
        }
    }
    Support::UserDefaults& defaults_;
};

} // namespace UI
