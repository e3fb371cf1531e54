#include "Support/Scheduler.h"
#include "Support/TaskGroup.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace Support;
using namespace std::chrono_literals;

namespace {

struct TaskGroupTest : testing::Test {
    MainLoop loop;
    VirtualScheduler scheduler{loop, dateFromUnix(1'700'000'000)};
    std::vector<std::string> events;
};

/// An object that starts work through its own group, the way a view model does.
struct Owner {
    Owner(Scheduler& s, std::vector<std::string>& e, Task<int> t)
        : scheduler(s), events(e), shared(std::move(t)) {}

    Scheduler& scheduler;
    std::vector<std::string>& events;
    Task<int> shared;
    std::string name = "owner";
    TaskGroup tasks;

    Task<> sleepThenTouch() {
        return tasks.start([this]() -> Task<> {
            co_await scheduler.sleepFor(10s);
            events.push_back(name + " touched after sleeping");
        });
    }
    Task<> touchAtOnce() {
        return tasks.start([this]() -> Task<> {
            events.push_back(name + " touched at once");
            co_return;
        });
    }
    Task<> awaitThenTouch() {
        return tasks.start([this]() -> Task<> {
            const int value = co_await shared;
            events.push_back(name + " touched with " + std::to_string(value));
        });
    }
};

Task<int> answerAfter(Scheduler& s, Duration d, int value) {
    co_await s.sleepFor(d);
    co_return value;
}

} // namespace

TEST_F(TaskGroupTest, DestroyingTheOwnerMidAwaitCancelsItsTasksWhichNeverTouchIt) {
    auto slowAnswer = answerAfter(scheduler, 10s, 7);
    std::optional<Owner> owner;
    owner.emplace(scheduler, events, slowAnswer);
    auto sleeping = owner->sleepThenTouch();
    auto awaiting = owner->awaitThenTouch();
    scheduler.advance(1s);
    owner.reset();
    scheduler.advance(20s);
    EXPECT_TRUE(events.empty());
    EXPECT_TRUE(sleeping.wasCancelled());
    EXPECT_TRUE(awaiting.wasCancelled());
    EXPECT_EQ(slowAnswer.get(), 7) << "a task the owner only awaited is not its to cancel";
}

TEST_F(TaskGroupTest, AnOwnerDestroyedInTheTurnItStartedATaskRunsNoneOfItsBody) {
    std::optional<Owner> owner;
    owner.emplace(scheduler, events, answerAfter(scheduler, 1s, 1));
    auto atOnce = owner->touchAtOnce();
    owner.reset();
    loop.runUntilIdle();
    EXPECT_TRUE(events.empty());
    EXPECT_TRUE(atOnce.wasCancelled());
}

TEST_F(TaskGroupTest, AnOwnerThatLivesSeesItsTasksFinishAndTheGroupForgetsThem) {
    Owner owner{scheduler, events, answerAfter(scheduler, 5s, 3)};
    for (int i = 0; i < 50; ++i) {
        (void)owner.sleepThenTouch();
    }
    (void)owner.awaitThenTouch();
    EXPECT_EQ(owner.tasks.size(), 51u);
    scheduler.advance(10s);
    EXPECT_EQ(events.size(), 51u);
    EXPECT_EQ(events.back(), "owner touched after sleeping");
    EXPECT_EQ(owner.tasks.size(), 0u) << "finished tasks are not kept";
}

TEST_F(TaskGroupTest, CancelAllStopsTheRunningTasksAndTheGroupTakesNewOnesAfterwards) {
    Owner owner{scheduler, events, answerAfter(scheduler, 60s, 1)};
    auto first = owner.sleepThenTouch();
    auto second = owner.awaitThenTouch();
    scheduler.advance(1s);
    owner.tasks.cancelAll();
    loop.runUntilIdle();
    EXPECT_TRUE(first.wasCancelled());
    EXPECT_TRUE(second.wasCancelled());
    EXPECT_EQ(owner.tasks.size(), 0u);

    auto later = owner.sleepThenTouch();
    scheduler.advance(10s);
    EXPECT_TRUE(later.isDone());
    EXPECT_FALSE(later.wasCancelled());
    EXPECT_EQ(events, (std::vector<std::string>{"owner touched after sleeping"}));
}

TEST_F(TaskGroupTest, ATaskAddedAfterItStartedIsCancelledWithTheGroupAndAFinishedOneIsIgnored) {
    auto done = answerAfter(scheduler, 1s, 1);
    scheduler.advance(1s);
    auto running = answerAfter(scheduler, 100s, 2);
    {
        TaskGroup group;
        (void)group.add(done);
        (void)group.add(running);
        EXPECT_EQ(group.size(), 1u);
    }
    loop.runUntilIdle();
    EXPECT_TRUE(running.wasCancelled());
    EXPECT_EQ(done.get(), 1);
}
