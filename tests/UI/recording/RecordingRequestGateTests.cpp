#include "Support/Scheduler.h"
#include "UI/recording/RecordingRequestGate.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace UI;
using namespace Support;
using namespace std::chrono_literals;

namespace {
struct GateTest : testing::Test {
    MainLoop loop;
    VirtualScheduler scheduler{loop, dateFromUnix(1'700'000'000)};
    RecordingRequestGate gate;
    std::vector<std::string> log;

    // An operation that logs its start, takes `d` of virtual time, and logs its end.
    RecordingRequestGate::Operation op(std::string name, Duration d = 2s) {
        return [this, name, d]() -> Task<> {
            return startTask([this, name, d]() -> Task<> {
                log.push_back(name + " begins");
                co_await scheduler.sleepFor(d);
                log.push_back(name + " ends");
            });
        };
    }
};
} // namespace

TEST_F(GateTest, TwoStartsInARowGiveOneOperation) {
    auto first = gate.requestStart(op("start"));
    auto second = gate.requestStart(op("start again"));
    EXPECT_TRUE(first.has_value());
    EXPECT_FALSE(second.has_value());
    scheduler.advance(10s);
    EXPECT_EQ(log, (std::vector<std::string>{"start begins", "start ends"}));
}

TEST_F(GateTest, StartStopStartRunThreeOperationsStrictlyInOrder) {
    ASSERT_TRUE(gate.requestStart(op("start1", 3s)));
    ASSERT_TRUE(gate.requestStop(op("stop", 1s)));
    ASSERT_TRUE(gate.requestStart(op("start2", 2s)));
    EXPECT_FALSE(gate.requestStart(op("start3"))) << "compared with the newest request, not the running one";
    scheduler.advance(60s);
    EXPECT_EQ(log, (std::vector<std::string>{"start1 begins", "start1 ends", "stop begins", "stop ends",
                                             "start2 begins", "start2 ends"}));
    EXPECT_EQ(gate.lastID(), 3);
}

TEST_F(GateTest, AfterTheNewestFinishesTheGateIsIdleAndAnIdenticalRequestIsAcceptedAgain) {
    ASSERT_TRUE(gate.requestStart(op("start")));
    scheduler.advance(1s);
    EXPECT_FALSE(gate.isIdle());
    scheduler.advance(1s);
    EXPECT_TRUE(gate.isIdle());
    EXPECT_FALSE(gate.lastRequest().has_value());
    EXPECT_TRUE(gate.requestStart(op("start again")));
}

TEST_F(GateTest, WaitUntilIdleReturnsOnlyWhenEveryAcceptedRequestHasFinished) {
    ASSERT_TRUE(gate.requestStart(op("start", 5s)));
    bool idle = false;
    auto waiter = startTask([&]() -> Task<> {
        co_await gate.waitUntilIdle();
        idle = true;
    });
    scheduler.advance(4s);
    ASSERT_TRUE(gate.requestStop(op("stop", 5s))); // arrives while waiting: the wait follows it
    scheduler.advance(2s);
    EXPECT_FALSE(idle) << "the first request ended but the stop is still pending";
    scheduler.advance(4s);
    EXPECT_TRUE(idle);
    EXPECT_TRUE(gate.isIdle());
}

TEST_F(GateTest, WaitUntilIdleOnAnIdleGateReturnsAtOnce) {
    bool idle = false;
    auto waiter = startTask([&]() -> Task<> {
        co_await gate.waitUntilIdle();
        idle = true;
    });
    loop.runUntilIdle();
    EXPECT_TRUE(idle);
}

TEST_F(GateTest, AFailingOperationDoesNotBlockTheRequestsQueuedAfterIt) {
    ASSERT_TRUE(gate.requestStart([]() -> Task<> {
        return startTask([]() -> Task<> {
            co_await yieldNow();
            throw std::runtime_error("no microphone");
        });
    }));
    ASSERT_TRUE(gate.requestStop(op("stop")));
    scheduler.advance(5s);
    EXPECT_EQ(log, (std::vector<std::string>{"stop begins", "stop ends"}));
    EXPECT_TRUE(gate.isIdle());
}

TEST(GateLifetime, PendingRequestsFinishSafelyAfterTheGateIsGone) {
    MainLoop loop;
    VirtualScheduler scheduler(loop, dateFromUnix(0));
    bool ran = false;
    {
        RecordingRequestGate gate;
        (void)gate.requestStart([&]() -> Task<> {
            return startTask([&]() -> Task<> {
                co_await scheduler.sleepFor(1s);
                ran = true;
            });
        });
    }
    scheduler.advance(2s);
    EXPECT_TRUE(ran);
}
