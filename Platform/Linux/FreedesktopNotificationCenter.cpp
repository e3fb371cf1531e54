#include "Platform/Linux/FreedesktopNotificationCenter.h"

#include "Platform/Linux/SdBusCall.h"
#include "Support/Log.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <map>
#include <set>

namespace Platform::Linux {

namespace {

constexpr const char* service = "org.freedesktop.Notifications";
constexpr const char* objectPath = "/org/freedesktop/Notifications";
constexpr const char* interface = "org.freedesktop.Notifications";
/// NotificationClosed reasons.
constexpr uint32_t closedByUser = 2;

} // namespace

struct FreedesktopNotificationCenter::Impl : std::enable_shared_from_this<Impl> {
    std::unique_ptr<SdBusConnection> bus;
    std::map<std::string, NotificationCategory> categories;
    /// Our identifier → the server's id, and back with what the notification was added with.
    std::map<std::string, uint32_t> serverIDs;
    std::map<uint32_t, NotificationRequest> shown;
    /// Notify calls under way per identifier, and identifiers removed while one was.
    std::map<std::string, int> pendingAdds;
    std::set<std::string> removedWhilePending;
    std::optional<bool> actions;
    sd_bus_slot* actionSlot = nullptr;
    sd_bus_slot* closedSlot = nullptr;
    Support::Signal<const NotificationResponse&> responses;
    Support::Logger log{"notifications"};

    ~Impl() {
        sd_bus_slot_unref(actionSlot);
        sd_bus_slot_unref(closedSlot);
    }

    void respond(uint32_t id, std::string action) {
        auto it = shown.find(id);
        if (it == shown.end()) {
            return; // not ours, or already gone
        }
        NotificationResponse response{it->second.identifier,
                                      it->second.content.categoryIdentifier.value_or(""), std::move(action),
                                      it->second.content.userInfo};
        responses.emit(response);
    }
    void finishAdd(const std::string& identifier) {
        if (--pendingAdds[identifier] <= 0) {
            pendingAdds.erase(identifier);
        }
    }
    void forget(uint32_t id) {
        auto it = shown.find(id);
        if (it == shown.end()) {
            return;
        }
        auto mapped = serverIDs.find(it->second.identifier);
        if (mapped != serverIDs.end() && mapped->second == id) {
            serverIDs.erase(mapped);
        }
        shown.erase(it);
    }

    static int onActionInvoked(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<Impl*>(userdata);
        uint32_t id = 0;
        const char* key = nullptr;
        if (sd_bus_message_read(m, "us", &id, &key) < 0 || !key) {
            return 0;
        }
        self->respond(id, key);
        return 0;
    }
    static int onClosed(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<Impl*>(userdata);
        uint32_t id = 0;
        uint32_t reason = 0;
        if (sd_bus_message_read(m, "uu", &id, &reason) < 0) {
            return 0;
        }
        if (reason == closedByUser) {
            self->respond(id, dismissActionIdentifier);
        }
        self->forget(id);
        return 0;
    }

    void closeOnServer(uint32_t id) {
        sd_bus_message* m = nullptr;
        if (sd_bus_message_new_method_call(bus->get(), &m, service, objectPath, interface,
                                           "CloseNotification") < 0) {
            return;
        }
        sd_bus_message_append(m, "u", id);
        bus->sendAndForget(m);
        sd_bus_message_unref(m);
    }

    Support::Task<bool> loadCapabilities() {
        if (actions) {
            co_return *actions;
        }
        auto self = shared_from_this();
        sd_bus_message* m = nullptr;
        if (sd_bus_message_new_method_call(bus->get(), &m, service, objectPath, interface,
                                           "GetCapabilities") < 0) {
            throw NotificationError("Couldn't build a notification request");
        }
        auto reply = co_await bus->call(m);
        char** caps = nullptr;
        bool hasActions = false;
        if (sd_bus_message_read_strv(reply.get(), &caps) >= 0 && caps) {
            for (char** c = caps; *c; ++c) {
                hasActions = hasActions || std::string_view(*c) == "actions";
                free(*c);
            }
            free(caps);
        }
        actions = hasActions;
        log.info("Notification server {} buttons", hasActions ? "shows" : "does not show");
        co_return hasActions;
    }
};

FreedesktopNotificationCenter::FreedesktopNotificationCenter(Support::MainLoop& loop,
                                                             std::optional<std::string> address)
    : impl_(std::make_shared<Impl>()) {
    try {
        impl_->bus = std::make_unique<SdBusConnection>(loop, address, false);
    } catch (const std::exception& e) {
        throw NotificationError(e.what());
    }
    sd_bus_match_signal(impl_->bus->get(), &impl_->actionSlot, nullptr, objectPath, interface,
                        "ActionInvoked", &Impl::onActionInvoked, impl_.get());
    sd_bus_match_signal(impl_->bus->get(), &impl_->closedSlot, nullptr, objectPath, interface,
                        "NotificationClosed", &Impl::onClosed, impl_.get());
    impl_->bus->flush();
}

FreedesktopNotificationCenter::~FreedesktopNotificationCenter() = default;

Support::Task<bool> FreedesktopNotificationCenter::requestAuthorization() {
    auto impl = impl_;
    try {
        co_await impl->loadCapabilities();
    } catch (const std::exception& e) {
        throw NotificationError(std::string("No notification server answers: ") + e.what());
    }
    co_return true;
}

Support::Task<bool> FreedesktopNotificationCenter::isAuthorized() {
    auto impl = impl_;
    try {
        co_await impl->loadCapabilities();
    } catch (const std::exception&) {
        co_return false;
    }
    co_return true;
}

void FreedesktopNotificationCenter::setCategories(std::vector<NotificationCategory> categories) {
    impl_->categories.clear();
    for (auto& category : categories) {
        auto id = category.identifier;
        impl_->categories.emplace(std::move(id), std::move(category));
    }
}

bool FreedesktopNotificationCenter::supportsActions() const {
    return impl_->actions.value_or(false);
}

Support::Task<void> FreedesktopNotificationCenter::add(NotificationRequest request) {
    auto impl = impl_;
    bool withActions = false;
    try {
        withActions = co_await impl->loadCapabilities();
    } catch (const std::exception& e) {
        throw NotificationError(std::string("No notification server answers: ") + e.what());
    }
    std::vector<std::string> actionList;
    if (withActions) {
        actionList = {defaultActionIdentifier, openLabel};
        if (request.content.categoryIdentifier) {
            auto category = impl->categories.find(*request.content.categoryIdentifier);
            if (category != impl->categories.end()) {
                for (const auto& action : category->second.actions) {
                    actionList.push_back(action.identifier);
                    actionList.push_back(action.title);
                }
            }
        }
    }
    auto existing = impl->serverIDs.find(request.identifier);
    uint32_t replaces = existing == impl->serverIDs.end() ? 0 : existing->second;

    sd_bus_message* m = nullptr;
    sd_bus* bus = impl->bus->get();
    int rc = sd_bus_message_new_method_call(bus, &m, service, objectPath, interface, "Notify");
    if (rc >= 0) {
        rc = sd_bus_message_append(m, "susss", appName, replaces, "", request.content.title.c_str(),
                                   request.content.body.c_str());
    }
    if (rc >= 0) {
        rc = sd_bus_message_open_container(m, 'a', "s");
        for (size_t i = 0; rc >= 0 && i < actionList.size(); ++i) {
            rc = sd_bus_message_append_basic(m, 's', actionList[i].c_str());
        }
        if (rc >= 0) {
            rc = sd_bus_message_close_container(m);
        }
    }
    if (rc >= 0) {
        rc = sd_bus_message_open_container(m, 'a', "{sv}");
        if (rc >= 0 && request.content.playsSound) {
            rc = sd_bus_message_append(m, "{sv}", "sound-name", "s", "message-new-instant");
        }
        if (rc >= 0) {
            rc = sd_bus_message_append(m, "{sv}", "desktop-entry", "s", "vellmora");
        }
        if (rc >= 0) {
            rc = sd_bus_message_close_container(m);
        }
    }
    if (rc >= 0) {
        rc = sd_bus_message_append(m, "i", int32_t{-1});
    }
    if (rc < 0) {
        sd_bus_message_unref(m);
        throw NotificationError("Couldn't build the notification");
    }
    impl->removedWhilePending.erase(request.identifier);
    ++impl->pendingAdds[request.identifier];
    SdBusConnection::Message reply;
    try {
        reply = co_await impl->bus->call(m);
    } catch (const Support::Cancelled&) {
        impl->finishAdd(request.identifier);
        throw;
    } catch (const std::exception& e) {
        impl->finishAdd(request.identifier);
        throw NotificationError(std::string("The notification server refused the notification: ") + e.what());
    }
    impl->finishAdd(request.identifier);
    uint32_t id = 0;
    if (sd_bus_message_read(reply.get(), "u", &id) < 0) {
        throw NotificationError("The notification server gave no notification id");
    }
    if (replaces != 0 && replaces != id) {
        impl->shown.erase(replaces);
    }
    if (impl->removedWhilePending.erase(request.identifier) > 0) {
        impl->closeOnServer(id);
        co_return;
    }
    impl->serverIDs[request.identifier] = id;
    impl->shown[id] = std::move(request);
}

void FreedesktopNotificationCenter::remove(std::vector<std::string> identifiers) {
    for (const auto& identifier : identifiers) {
        auto it = impl_->serverIDs.find(identifier);
        if (it == impl_->serverIDs.end()) {
            if (impl_->pendingAdds.count(identifier)) {
                impl_->removedWhilePending.insert(identifier);
            }
            continue;
        }
        auto id = it->second;
        impl_->serverIDs.erase(it);
        impl_->shown.erase(id);
        impl_->closeOnServer(id);
    }
}

Support::Subscription
FreedesktopNotificationCenter::observeResponses(std::function<void(const NotificationResponse&)> onResponse) {
    return impl_->responses.connect(std::move(onResponse));
}

} // namespace Platform::Linux
