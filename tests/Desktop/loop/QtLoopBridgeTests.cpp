#include "Desktop/loop/QtLoopBridge.h"

#include "../DesktopTestSupport.h"
#include "Support/Scheduler.h"

#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

#include <thread>

namespace {

struct QtLoopBridgeTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
};

TEST_F(QtLoopBridgeTest, QtTimersAndPostedEventsRunInsideTheMainLoop) {
    Desktop::QtLoopBridge bridge(loop);
    ASSERT_TRUE(bridge.isBridged()) << "Qt dispatches through GLib on Linux";
    std::vector<std::string> order;
    QTimer::singleShot(30, [&] {
        order.push_back("qt timer");
        loop.post([&] {
            order.push_back("asio after qt");
            loop.stop();
        });
    });
    QMetaObject::invokeMethod(
        &app, [&] { order.push_back("qt posted"); }, Qt::QueuedConnection);
    loop.post([&] { order.push_back("asio"); });
    loop.run();
    // The two queues are independent: only what depends on what is ordered.
    ASSERT_EQ(order.size(), 4u);
    EXPECT_EQ(std::vector<std::string>(order.begin() + 2, order.end()),
              (std::vector<std::string>{"qt timer", "asio after qt"}));
    EXPECT_NE(std::find(order.begin(), order.end(), "qt posted"), order.end());
}

TEST_F(QtLoopBridgeTest, AQtEventPostedFromAnotherThreadWakesTheLoopWithoutSpinning) {
    Desktop::QtLoopBridge bridge(loop);
    bool delivered = false;
    std::thread other([&] {
        QMetaObject::invokeMethod(
            &app,
            [&] {
                delivered = true;
                loop.stop();
            },
            Qt::QueuedConnection);
    });
    loop.run();
    other.join();
    EXPECT_TRUE(delivered);
    EXPECT_LT(bridge.dispatchCount(), 10u) << "an idle bridge waits instead of turning";
}

TEST_F(QtLoopBridgeTest, ATimerStartedFromAnAsioHandlerFiresOnTime) {
    Desktop::QtLoopBridge bridge(loop);
    bool fired = false;
    loop.post([&] {
        QTimer::singleShot(20, [&] {
            fired = true;
            loop.stop();
        });
    });
    // A timer the bridge missed would wait for the next unrelated event: the safety net ends the test.
    Support::RealScheduler scheduler(loop);
    auto safety = scheduler.after(std::chrono::seconds(5), [&] { loop.stop(); });
    loop.run();
    EXPECT_TRUE(fired);
}

} // namespace
