// A desktop notification server for tests, served on a private bus with `BusTest::ServiceThread`: records
// what is shown, can lack the "actions" capability, and plays the user's clicks as real servers send them.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace BusTest {

struct FakeNotificationServer {
    struct Shown {
        std::string summary;
        std::string body;
        std::vector<std::string> actions;
    };
    std::mutex mutex;
    bool actions = true;
    uint32_t nextID = 1;
    std::map<uint32_t, Shown> shown;
    int notifyCalls = 0;

    static int getCapabilities(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<FakeNotificationServer*>(userdata);
        sd_bus_message* reply = nullptr;
        sd_bus_message_new_method_return(m, &reply);
        std::lock_guard lock(self->mutex);
        if (self->actions) {
            sd_bus_message_append(reply, "as", 2, "body", "actions");
        } else {
            sd_bus_message_append(reply, "as", 1, "body");
        }
        int rc = sd_bus_send(nullptr, reply, nullptr);
        sd_bus_message_unref(reply);
        return rc;
    }
    static int notify(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<FakeNotificationServer*>(userdata);
        const char *app, *icon, *summary, *body;
        uint32_t replaces = 0;
        sd_bus_message_read(m, "susss", &app, &replaces, &icon, &summary, &body);
        char** list = nullptr;
        sd_bus_message_read_strv(m, &list);
        Shown shown{summary, body, {}};
        for (char** a = list; a && *a; ++a) {
            shown.actions.emplace_back(*a);
            free(*a);
        }
        free(list);
        std::lock_guard lock(self->mutex);
        ++self->notifyCalls;
        uint32_t id = replaces && self->shown.count(replaces) ? replaces : self->nextID++;
        self->shown[id] = shown;
        return sd_bus_reply_method_return(m, "u", id);
    }
    static int close(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<FakeNotificationServer*>(userdata);
        uint32_t id = 0;
        sd_bus_message_read(m, "u", &id);
        {
            std::lock_guard lock(self->mutex);
            self->shown.erase(id);
        }
        sd_bus_emit_signal(sd_bus_message_get_bus(m), "/org/freedesktop/Notifications",
                           "org.freedesktop.Notifications", "NotificationClosed", "uu", id, 3u);
        return sd_bus_reply_method_return(m, "");
    }
    size_t count() {
        std::lock_guard lock(mutex);
        return shown.size();
    }
    Shown only() {
        std::lock_guard lock(mutex);
        return shown.begin()->second;
    }
    /// The id of a notification offering `action`, if one is shown.
    std::optional<uint32_t> findWithAction(const std::string& action) {
        std::lock_guard lock(mutex);
        for (const auto& [id, n] : shown) {
            for (const auto& a : n.actions) {
                if (a == action) {
                    return id;
                }
            }
        }
        return std::nullopt;
    }
    uint32_t onlyID() {
        std::lock_guard lock(mutex);
        return shown.begin()->first;
    }
};

inline const sd_bus_vtable notificationVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetCapabilities", "", "as", &FakeNotificationServer::getCapabilities,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", &FakeNotificationServer::notify,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("CloseNotification", "u", "", &FakeNotificationServer::close, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("ActionInvoked", "us", 0),
    SD_BUS_SIGNAL("NotificationClosed", "uu", 0),
    SD_BUS_VTABLE_END};

} // namespace BusTest
