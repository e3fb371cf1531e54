// A scripted notification centre for tests: the notifications shown now (by identifier, in order of
// adding), every request ever added, removals, the categories, authorisation (and a failing request),
// and `respond` to play a user's answer.
#pragma once

#include "Platform/UserNotificationCenter.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace Fakes {

class FakeUserNotificationCenter final : public Platform::UserNotificationCenter {
public:
    bool authorized = true;
    bool authorizationThrows = false;
    bool addFails = false;
    bool actions = true;
    std::vector<Platform::NotificationCategory> categories;
    std::vector<Platform::NotificationRequest> added;
    std::vector<std::string> removed;
    /// Identifier → request, for the notifications on screen.
    std::map<std::string, Platform::NotificationRequest> shown;

    Support::Task<bool> requestAuthorization() override {
        if (authorizationThrows) {
            throw Platform::NotificationError("the notification service is not running");
        }
        co_return authorized;
    }
    Support::Task<bool> isAuthorized() override { co_return authorized; }
    void setCategories(std::vector<Platform::NotificationCategory> list) override {
        categories = std::move(list);
    }
    Support::Task<void> add(Platform::NotificationRequest request) override {
        if (addFails) {
            throw Platform::NotificationError("no notification server");
        }
        added.push_back(request);
        shown[request.identifier] = request;
        co_return;
    }
    void remove(std::vector<std::string> identifiers) override {
        for (auto& id : identifiers) {
            shown.erase(id);
            removed.push_back(std::move(id));
        }
    }
    bool supportsActions() const override { return actions; }
    Support::Subscription
    observeResponses(std::function<void(const Platform::NotificationResponse&)> f) override {
        return responses_.connect(std::move(f));
    }

    /// Plays the user's answer to a shown notification (`action` "default" for a body click).
    void respond(const std::string& identifier, const std::string& action) {
        auto it = shown.find(identifier);
        if (it == shown.end()) {
            return;
        }
        Platform::NotificationResponse response{identifier,
                                                it->second.content.categoryIdentifier.value_or(""), action,
                                                it->second.content.userInfo};
        responses_.emit(response);
    }
    std::vector<std::string> shownIdentifiers() const {
        std::vector<std::string> ids;
        for (const auto& [id, request] : shown) {
            ids.push_back(id);
        }
        return ids;
    }
    /// How many requests were added with this identifier.
    std::size_t addCount(const std::string& identifier) const {
        return static_cast<std::size_t>(std::count_if(
            added.begin(), added.end(), [&](const auto& r) { return r.identifier == identifier; }));
    }

private:
    Support::Signal<const Platform::NotificationResponse&> responses_;
};

} // namespace Fakes
