#include "Platform/Linux/FreedesktopNotificationCenter.h"
#include "Platform/Linux/LogindActivityAssertion.h"
#include "Platform/Linux/LogindPowerEvents.h"

#include "FakeNotificationServer.h"
#include "PrivateBus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <poll.h>

namespace {

struct NotificationBusTest : ::testing::Test {
    BusTest::PrivateBus bus;
    BusTest::FakeNotificationServer server;
    std::unique_ptr<BusTest::ServiceThread> service;
    Support::MainLoop loop;

    void startServer() {
        service = std::make_unique<BusTest::ServiceThread>(
            bus.address(), "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
            "org.freedesktop.Notifications", BusTest::notificationVTable, &server);
    }
    /// Runs the main loop until `done` holds (the bus is real, so answers take real, short time).
    bool pump(const std::function<bool()>& done) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            loop.runOne(10);
        }
        return true;
    }
    template <typename T> T wait(Support::Task<T> task) {
        EXPECT_TRUE(pump([&] { return task.isDone(); }));
        return task.get();
    }
    void emit(const char* member, uint32_t id, const std::string& arg) {
        service->post([=](sd_bus* b) {
            sd_bus_emit_signal(b, "/org/freedesktop/Notifications", "org.freedesktop.Notifications", member,
                               "us", id, arg.c_str());
        });
    }
    void emitClosed(uint32_t id, uint32_t reason) {
        {
            std::lock_guard lock(server.mutex);
            server.shown.erase(id);
        }
        service->post([=](sd_bus* b) {
            sd_bus_emit_signal(b, "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                               "NotificationClosed", "uu", id, reason);
        });
    }
    static Platform::NotificationRequest reminder(const std::string& title) {
        Platform::NotificationRequest request;
        request.identifier = "meetingReminder.A|1";
        request.content.title = title;
        request.content.body = "Starts in 15 minutes on Zoom.";
        request.content.categoryIdentifier = "dev.tessadine.vellmora.meetingReminder";
        request.content.userInfo = {{"occurrenceKey", "A|1"}, {"stage", "0"}};
        return request;
    }
};

} // namespace

TEST_F(NotificationBusTest, SendsTheCategorysButtonsAndReplacesANotificationWithTheSameIdentifier) {
    ASSERT_FALSE(bus.address().empty());
    startServer();
    Platform::Linux::FreedesktopNotificationCenter center(loop, bus.address());
    center.setCategories({{"dev.tessadine.vellmora.meetingReminder",
                           {{"dev.tessadine.vellmora.meetingReminder.join", "Join"},
                            {"dev.tessadine.vellmora.meetingReminder.snooze", "Snooze"}}}});
    EXPECT_TRUE(wait(center.requestAuthorization()));
    EXPECT_TRUE(center.supportsActions());
    wait(center.add(reminder("Standup")));
    ASSERT_EQ(server.count(), 1u);
    EXPECT_EQ(server.only().summary, "Standup");
    EXPECT_EQ(server.only().actions,
              (std::vector<std::string>{"default", "Open", "dev.tessadine.vellmora.meetingReminder.join",
                                        "Join", "dev.tessadine.vellmora.meetingReminder.snooze", "Snooze"}));
    wait(center.add(reminder("Standup (moved)")));
    EXPECT_EQ(server.count(), 1u);
    EXPECT_EQ(server.only().summary, "Standup (moved)");

    center.remove({"meetingReminder.A|1", "meetingReminder.notRecording.A|1"});
    EXPECT_TRUE(pump([&] { return server.count() == 0; }));
}

TEST_F(NotificationBusTest, TurnsActionsBodyClicksAndUserClosesIntoResponses) {
    startServer();
    Platform::Linux::FreedesktopNotificationCenter center(loop, bus.address());
    std::vector<Platform::NotificationResponse> responses;
    auto sub =
        center.observeResponses([&](const Platform::NotificationResponse& r) { responses.push_back(r); });
    wait(center.add(reminder("Standup")));
    auto id = server.onlyID();
    emit("ActionInvoked", id, "dev.tessadine.vellmora.meetingReminder.join");
    emit("ActionInvoked", id, "default");
    emit("ActionInvoked", id + 100, "default"); // someone else's notification
    ASSERT_TRUE(pump([&] { return responses.size() >= 2; }));
    EXPECT_EQ(responses[0].requestIdentifier, "meetingReminder.A|1");
    EXPECT_EQ(responses[0].categoryIdentifier, "dev.tessadine.vellmora.meetingReminder");
    EXPECT_EQ(responses[0].actionIdentifier, "dev.tessadine.vellmora.meetingReminder.join");
    EXPECT_EQ(responses[0].userInfo.at("occurrenceKey"), "A|1");
    EXPECT_EQ(responses[1].actionIdentifier, Platform::defaultActionIdentifier);
    emitClosed(id, 2);
    ASSERT_TRUE(pump([&] { return responses.size() >= 3; }));
    EXPECT_EQ(responses[2].actionIdentifier, Platform::dismissActionIdentifier);
    // Once closed, a new notification with the same identifier is a new one on the server.
    wait(center.add(reminder("Standup")));
    EXPECT_NE(server.onlyID(), id);
}

TEST_F(NotificationBusTest, SendsNoButtonsToAServerWithoutActions) {
    server.actions = false;
    startServer();
    Platform::Linux::FreedesktopNotificationCenter center(loop, bus.address());
    center.setCategories({{"dev.tessadine.vellmora.meetingReminder",
                           {{"dev.tessadine.vellmora.meetingReminder.join", "Join"}}}});
    wait(center.add(reminder("Standup")));
    EXPECT_FALSE(center.supportsActions());
    EXPECT_TRUE(server.only().actions.empty());
}

TEST_F(NotificationBusTest, ReportsAMissingServerAsAnErrorAndAsNotAuthorised) {
    Platform::Linux::FreedesktopNotificationCenter center(loop, bus.address());
    EXPECT_FALSE(wait(center.isAuthorized()));
    auto request = center.requestAuthorization();
    EXPECT_TRUE(pump([&] { return request.isDone(); }));
    EXPECT_THROW(request.get(), Platform::NotificationError);
    auto add = center.add(reminder("Standup"));
    EXPECT_TRUE(pump([&] { return add.isDone(); }));
    EXPECT_THROW(add.get(), Platform::NotificationError);
}

namespace {

/// logind's Inhibit and PrepareForSleep.
struct FakeLogind {
    std::mutex mutex;
    std::vector<std::string> inhibited;
    int heldEnd = -1;

    static int inhibit(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<FakeLogind*>(userdata);
        const char *what, *who, *why, *mode;
        sd_bus_message_read(m, "ssss", &what, &who, &why, &mode);
        int fds[2];
        if (::pipe(fds) != 0) {
            return -errno;
        }
        {
            std::lock_guard lock(self->mutex);
            self->inhibited.push_back(std::string(what) + "/" + why + "/" + mode);
            self->heldEnd = fds[0];
        }
        int rc = sd_bus_reply_method_return(m, "h", fds[1]); // the reply carries its own copy
        ::close(fds[1]);
        return rc;
    }
    /// True once every copy of the lock handed out was closed.
    bool released() {
        std::lock_guard lock(mutex);
        pollfd p{heldEnd, POLLIN, 0};
        return heldEnd >= 0 && ::poll(&p, 1, 0) == 1 && (p.revents & (POLLHUP | POLLIN));
    }
};

const sd_bus_vtable logindVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Inhibit", "ssss", "h", &FakeLogind::inhibit, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL("PrepareForSleep", "b", 0), SD_BUS_VTABLE_END};

} // namespace

TEST_F(NotificationBusTest, HoldsAnIdleInhibitorUntilTheHandleEndsAndReportsWakes) {
    FakeLogind logind;
    BusTest::ServiceThread login(bus.address(), "org.freedesktop.login1", "/org/freedesktop/login1",
                                 "org.freedesktop.login1.Manager", logindVTable, &logind);
    Platform::Linux::LogindActivityAssertion assertion(loop, bus.address());
    auto handle = assertion.begin("A meeting reminder is due");
    ASSERT_TRUE(pump([&] {
        std::lock_guard lock(logind.mutex);
        return !logind.inhibited.empty();
    }));
    EXPECT_EQ(logind.inhibited[0], "idle/A meeting reminder is due/block");
    while (loop.runOne(100)) { // let the reply with the lock arrive
    }
    EXPECT_FALSE(logind.released());
    handle.reset();
    EXPECT_TRUE(logind.released());

    Platform::Linux::LogindPowerEvents power(loop, bus.address());
    int wakes = 0;
    auto sub = power.observeWake([&] { ++wakes; });
    for (int starting : {1, 0}) {
        login.post([starting](sd_bus* b) {
            sd_bus_emit_signal(b, "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                               "PrepareForSleep", "b", starting);
        });
    }
    EXPECT_TRUE(pump([&] { return wakes == 1; }));
}
