// The in-process notification centre: components tell each other about events by name
// ("Vellmora.startRecordingRequested", "Vellmora.recordingDidDelete") with text user info, instead of holding
// references to each other.
//
// `post` on the main loop delivers synchronously to every observer of that name, in the order they
// subscribed; `postFromAnyThread` hands the post to the main loop. Observers subscribed during a delivery
// are not called for it; observers whose subscription ends during a delivery are not called after.
// `defaultCenter()` is the process-wide centre the host wires; tests make their own.
#pragma once

#include "Support/Signal.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Support {

using UserInfo = std::map<std::string, std::string>;

struct Notification {
    std::string name;
    UserInfo userInfo;

    /// The user-info value for `key`, or nothing.
    std::optional<std::string> value(const std::string& key) const {
        auto it = userInfo.find(key);
        return it == userInfo.end() ? std::nullopt : std::optional<std::string>(it->second);
    }
};

class NotificationCenter {
public:
    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    static NotificationCenter& defaultCenter();

    void post(const std::string& name, UserInfo userInfo = {});
    void postFromAnyThread(std::string name, UserInfo userInfo = {});

    [[nodiscard]] Subscription observe(const std::string& name,
                                       std::function<void(const Notification&)> observer);

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace Support
