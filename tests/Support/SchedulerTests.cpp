#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Support;
using namespace std::chrono_literals;

namespace {
struct SchedulerTest : testing::Test {
    MainLoop loop;
    Date start = dateFromUnix(1'700'000'000);
    VirtualScheduler scheduler{loop, start};
    std::vector<std::string> fired;
};
} // namespace

TEST_F(SchedulerTest, AdvanceRunsDueTimersInTimeOrderWithTiesInSchedulingOrder) {
    auto c = scheduler.after(30s, [&] { fired.push_back("c@30"); });
    auto a = scheduler.after(10s, [&] { fired.push_back("a@10"); });
    auto b1 = scheduler.after(20s, [&] { fired.push_back("b1@20"); });
    auto b2 = scheduler.at(start + 20s, [&] { fired.push_back("b2@20"); });
    auto late = scheduler.after(31s, [&] { fired.push_back("late"); });
    scheduler.advance(30s);
    EXPECT_EQ(fired, (std::vector<std::string>{"a@10", "b1@20", "b2@20", "c@30"}));
    EXPECT_EQ(scheduler.now(), start + 30s);
    EXPECT_EQ(scheduler.pendingTimers(), 1u);
}

TEST_F(SchedulerTest, ATimerSeesTheClockAtItsOwnDueTimeAndMayScheduleMoreWithinTheSameAdvance) {
    std::vector<Date> seen;
    Subscription chained;
    auto first = scheduler.after(5s, [&] {
        seen.push_back(scheduler.now());
        chained = scheduler.after(5s, [&] { seen.push_back(scheduler.now()); });
    });
    scheduler.advance(60s);
    EXPECT_EQ(seen, (std::vector<Date>{start + 5s, start + 10s}));
}

TEST_F(SchedulerTest, DroppingASubscriptionCancelsItsTimer) {
    {
        auto t = scheduler.after(1s, [&] { fired.push_back("dropped"); });
    }
    auto kept = scheduler.after(1s, [&] { fired.push_back("kept"); });
    scheduler.advance(2s);
    EXPECT_EQ(fired, std::vector<std::string>{"kept"});
}

TEST_F(SchedulerTest, ARepeatingTimerFiresEveryIntervalUntilItsSubscriptionEnds) {
    int count = 0;
    auto repeat = scheduler.every(5s, [&] { ++count; });
    scheduler.advance(16s);
    EXPECT_EQ(count, 3);
    repeat.reset();
    scheduler.advance(60s);
    EXPECT_EQ(count, 3);
}

TEST_F(SchedulerTest, ADateInThePastFiresOnTheNextTurnNeverInsideTheCall) {
    auto t = scheduler.at(start - 100s, [&] { fired.push_back("past"); });
    EXPECT_TRUE(fired.empty());
    scheduler.runReady();
    EXPECT_EQ(fired, std::vector<std::string>{"past"});
}

TEST_F(SchedulerTest, SleepingTasksWakeInOrderOfTheirDueTimes) {
    auto sleeper = [&](Duration d, std::string name) {
        return startTask([this, d, name]() -> Task<> {
            co_await scheduler.sleepFor(d);
            fired.push_back(name + "@" + std::to_string(toSeconds(scheduler.now() - start)));
        });
    };
    auto t1 = sleeper(300s, "loop");
    auto t2 = sleeper(90s, "activity");
    auto t3 = startTask([this]() -> Task<> {
        co_await scheduler.sleepUntil(start + 120s);
        fired.push_back("until");
    });
    scheduler.advance(299s);
    EXPECT_EQ(fired.size(), 2u);
    scheduler.advance(1s);
    ASSERT_EQ(fired.size(), 3u);
    EXPECT_EQ(fired[0], "activity@90.000000");
    EXPECT_EQ(fired[1], "until");
    EXPECT_EQ(fired[2], "loop@300.000000");
}

TEST(RealSchedulerTest, AShortTimerFiresOnTheMainLoop) {
    MainLoop loop;
    RealScheduler scheduler(loop);
    bool fired = false;
    auto t = scheduler.after(1ms, [&] {
        fired = true;
        loop.stop();
    });
    loop.run();
    EXPECT_TRUE(fired);
    EXPECT_LE(scheduler.now() - systemNow(), 1s);
}

TEST(RealSchedulerTest, TimersCenturiesAwayWaitInsteadOfOverflowingTheSystemClock) {
    MainLoop loop;
    RealScheduler scheduler(loop);
    bool farFired = false;
    auto farDate = scheduler.at(dateFromUnix(1e300), [&] { farFired = true; });
    auto farDelay = scheduler.after(seconds(1e300), [&] { farFired = true; });
    auto pastDate = scheduler.at(dateFromUnix(-1e300), [&] { loop.stop(); });
    loop.run();
    EXPECT_FALSE(farFired);
}

TEST_F(SchedulerTest, TheVirtualMonotonicClockMovesWithAdvanceButNotWithAWallClockJump) {
    const auto before = scheduler.monotonicNow();
    scheduler.advance(90s);
    scheduler.jumpTo(scheduler.now() + std::chrono::hours(5));
    scheduler.advance(10s);
    EXPECT_EQ(scheduler.monotonicNow() - before, Duration(100s));
}
