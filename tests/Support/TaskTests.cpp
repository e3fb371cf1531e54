#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Scheduler.h"
#include "Support/Task.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Support;
using namespace std::chrono_literals;

namespace {

struct TaskTest : testing::Test {
    MainLoop loop;
    VirtualScheduler scheduler{loop, dateFromUnix(1'700'000'000)};
    std::vector<std::string> events;
};

Task<int> answerAfter(Scheduler& s, Duration d, int value) {
    co_await s.sleepFor(d);
    co_return value;
}

} // namespace

TEST_F(TaskTest, ATaskStartsOnTheNextTurnOfTheLoopNotInsideItsCaller) {
    auto task = startTask([this]() -> Task<> {
        events.push_back("body");
        co_return;
    });
    events.push_back("after creation");
    loop.runUntilIdle();
    EXPECT_EQ(events, (std::vector<std::string>{"after creation", "body"}));
    EXPECT_TRUE(task.isDone());
}

TEST_F(TaskTest, ATaskCancelledBeforeItsFirstTurnRunsNoneOfItsBody) {
    auto task = startTask([this]() -> Task<int> {
        events.push_back("body");
        co_return 1;
    });
    task.cancel();
    loop.runUntilIdle();
    EXPECT_TRUE(events.empty());
    EXPECT_TRUE(task.wasCancelled());
}

TEST_F(TaskTest, SeveralAwaitersBeforeAndAfterCompletionAllGetTheValue) {
    auto producer = answerAfter(scheduler, 10s, 42);
    std::vector<int> seen;
    auto early = startTask([&]() -> Task<> { seen.push_back(co_await producer); });
    scheduler.advance(10s);
    ASSERT_TRUE(producer.isDone());
    auto late = startTask([&]() -> Task<> { seen.push_back(co_await producer); });
    loop.runUntilIdle();
    EXPECT_EQ(seen, (std::vector<int>{42, 42}));
    EXPECT_EQ(producer.get(), 42);
}

TEST_F(TaskTest, AnExceptionEndsTheTaskAndReachesEveryAwaiter) {
    auto failing = startTask([]() -> Task<int> {
        co_await yieldNow();
        throw std::runtime_error("disk full");
    });
    std::vector<std::string> caught;
    auto a = startTask([&]() -> Task<> {
        try {
            co_await failing;
        } catch (const std::runtime_error& e) {
            caught.push_back(e.what());
        }
    });
    auto b = startTask([&]() -> Task<> {
        try {
            co_await failing;
        } catch (const std::runtime_error& e) {
            caught.push_back(e.what());
        }
    });
    loop.runUntilIdle();
    EXPECT_EQ(caught, (std::vector<std::string>{"disk full", "disk full"}));
    EXPECT_THROW(failing.get(), std::runtime_error);
}

TEST_F(TaskTest, CancellingASleepingTaskWakesItAtOnceWithCancelled) {
    bool reachedEnd = false;
    bool sawCancelled = false;
    auto task = startTask([&]() -> Task<> {
        try {
            co_await scheduler.sleepFor(300s);
            reachedEnd = true;
        } catch (const Cancelled&) {
            sawCancelled = true;
        }
    });
    scheduler.advance(10s);
    task.cancel();
    loop.runUntilIdle();
    EXPECT_TRUE(sawCancelled);
    EXPECT_FALSE(reachedEnd);
    EXPECT_EQ(scheduler.pendingTimers(), 0u) << "the cancelled sleep's timer is removed";
}

TEST_F(TaskTest, CancellationIsDeliveredAtTheNextAwaitNotBefore) {
    std::vector<std::string> steps;
    Task<> task;
    task = startTask([&]() -> Task<> {
        steps.push_back("start");
        task.cancel(); // cancelled while running: the body goes on until it awaits
        steps.push_back("still running");
        co_await yieldNow();
        steps.push_back("never");
    });
    loop.runUntilIdle();
    EXPECT_EQ(steps, (std::vector<std::string>{"start", "still running"}));
    EXPECT_TRUE(task.wasCancelled());
}

TEST_F(TaskTest, AwaitingACancelledTaskThrowsCancelledAndCancellingAnAwaiterLeavesTheAwaitedTaskRunning) {
    auto slow = answerAfter(scheduler, 60s, 7);
    bool awaiterCancelled = false;
    auto awaiter = startTask([&]() -> Task<> {
        try {
            co_await slow;
        } catch (const Cancelled&) {
            awaiterCancelled = true;
        }
    });
    scheduler.advance(1s);
    awaiter.cancel();
    scheduler.advance(1s);
    EXPECT_TRUE(awaiterCancelled);
    EXPECT_FALSE(slow.isDone());
    scheduler.advance(60s);
    EXPECT_EQ(slow.get(), 7);

    auto doomed = answerAfter(scheduler, 60s, 1);
    doomed.cancel();
    bool threw = false;
    auto watcher = startTask([&]() -> Task<> {
        try {
            co_await doomed;
        } catch (const Cancelled&) {
            threw = true;
        }
    });
    scheduler.advance(1s);
    EXPECT_TRUE(threw);
    EXPECT_TRUE(doomed.wasCancelled());
}

TEST_F(TaskTest, ACatchOfStdExceptionAroundAnAwaitDoesNotSwallowCancellation) {
    // Both ways a cancellation arrives: the task's own sleep woken by cancel(), and awaiting a task that was
    // cancelled. Neither is a std::exception, so the body never goes on past its catch.
    auto doomed = answerAfter(scheduler, 60s, 1);
    doomed.cancel();
    std::vector<std::string> reached;
    auto sleeper = startTask([&]() -> Task<> {
        try {
            co_await scheduler.sleepFor(100s);
        } catch (const std::exception&) {
        }
        reached.push_back("sleeper went on");
    });
    auto awaiter = startTask([&]() -> Task<> {
        try {
            co_await doomed;
        } catch (const std::exception&) {
        }
        reached.push_back("awaiter went on");
    });
    scheduler.advance(1s);
    sleeper.cancel();
    loop.runUntilIdle();
    EXPECT_TRUE(reached.empty());
    EXPECT_TRUE(sleeper.wasCancelled());
    EXPECT_TRUE(awaiter.wasCancelled());
}

TEST_F(TaskTest, AnOwnedChildIsCancelledWithItsAwaiterWhichReturnsOnlyOnceTheChildEnded) {
    std::vector<std::string> steps;
    auto outer = startTask([&]() -> Task<> {
        auto child = startTask([&]() -> Task<> {
            try {
                co_await scheduler.sleepFor(100s);
            } catch (const Cancelled&) {
                steps.push_back("child cancelled");
                throw;
            }
        });
        auto step = awaitOwned(child);
        try {
            co_await step;
        } catch (const Cancelled&) {
            steps.push_back("outer resumed");
            throw;
        }
    });
    scheduler.advance(1s);
    outer.cancel();
    loop.runUntilIdle();
    EXPECT_EQ(steps, (std::vector<std::string>{"child cancelled", "outer resumed"}));
    EXPECT_TRUE(outer.wasCancelled());
}

TEST_F(TaskTest, AnAwaiterCancelledAfterItsOwnedChildFinishedThrowsCancelledInsteadOfTakingTheValue) {
    Task<> outer;
    bool carriedOn = false;
    outer = startTask([&]() -> Task<> {
        auto child = startTask([&]() -> Task<int> {
            co_await yieldNow();
            outer.cancel(); // the child is running: it ends with its value, the awaiter is cancelled
            co_return 5;
        });
        auto step = awaitOwned(child);
        (void)co_await step;
        carriedOn = true;
    });
    loop.runUntilIdle();
    EXPECT_FALSE(carriedOn);
    EXPECT_TRUE(outer.wasCancelled());
}

TEST_F(TaskTest, CancellingAStartedTaskAlsoCancelsTheInnerTaskItKeepsAlive) {
    bool innerCancelled = false;
    auto outer = startTask([&]() -> Task<> {
        try {
            co_await scheduler.sleepFor(100s);
        } catch (const Cancelled&) {
            innerCancelled = true;
            throw;
        }
    });
    scheduler.advance(1s);
    outer.cancel();
    loop.runUntilIdle();
    EXPECT_TRUE(innerCancelled);
    EXPECT_TRUE(outer.wasCancelled());
}

TEST_F(TaskTest, ADroppedTaskHandleDoesNotStopTheTask) {
    int finished = 0;
    {
        (void)startTask([&]() -> Task<> {
            co_await scheduler.sleepFor(5s);
            ++finished;
        });
    }
    scheduler.advance(5s);
    EXPECT_EQ(finished, 1);
}

TEST_F(TaskTest, BlockingWorkRunsOffTheLoopThreadAndResumesOnIt) {
    auto loopThread = std::this_thread::get_id();
    std::thread::id workThread;
    std::thread::id resumedOn;
    auto task = startTask([&]() -> Task<int> {
        int v = co_await BlockingWork::run([&] {
            workThread = std::this_thread::get_id();
            return 5;
        });
        resumedOn = std::this_thread::get_id();
        co_return v * 2;
    });
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    EXPECT_EQ(task.get(), 10);
    EXPECT_NE(workThread, loopThread);
    EXPECT_EQ(resumedOn, loopThread);
}

TEST_F(TaskTest, BlockingWorkPassesTheClosuresErrorThroughUnchanged) {
    struct DiskError : std::runtime_error {
        using std::runtime_error::runtime_error;
    };
    std::string message;
    auto task = startTask([&]() -> Task<> {
        try {
            co_await BlockingWork::run([]() -> int { throw DiskError("no space left"); });
        } catch (const DiskError& e) {
            message = e.what();
        }
    });
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    EXPECT_EQ(message, "no space left");
}

TEST_F(TaskTest, AContinuationResumedFromAnotherThreadResumesTheTaskOnTheLoopOnce) {
    std::vector<int> values;
    auto task = startTask([&]() -> Task<> {
        int v = co_await withContinuation<int>([](Continuation<int> c) {
            std::thread([c] {
                c.resume(1);
                c.resume(2); // ignored: the first resumption wins
            }).detach();
        });
        values.push_back(v);
    });
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    EXPECT_EQ(values, std::vector<int>{1});
}

namespace {
Task<> waitForever(std::shared_ptr<int> held) {
    co_await withContinuation<void>([](Continuation<void>) {}); // dropped: nothing can resume it
    (void)held;
}
} // namespace

TEST_F(TaskTest, ATaskThatNothingCanResumeIsReleasedWithItsLocals) {
    auto tracker = std::make_shared<int>(0);
    std::weak_ptr<int> weak = tracker;
    {
        auto task = waitForever(std::move(tracker));
        loop.runUntilIdle();
        EXPECT_FALSE(weak.expired());
    }
    loop.runUntilIdle();
    EXPECT_TRUE(weak.expired());
}

TEST(TaskLifetime, DestroyingTheLoopReleasesTasksStillWaitingOnIt) {
    auto tracker = std::make_shared<int>(0);
    std::weak_ptr<int> weak = tracker;
    Task<> survivor;
    {
        MainLoop loop;
        VirtualScheduler scheduler(loop, dateFromUnix(0));
        survivor = startTask([&scheduler, t = std::move(tracker)]() -> Task<> {
            co_await scheduler.sleepFor(std::chrono::hours(1));
            (void)t;
        });
        scheduler.advance(std::chrono::seconds(1));
        EXPECT_FALSE(weak.expired());
    }
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(survivor.isDone());
    survivor.cancel(); // harmless once its loop is gone
}

// The two tests below are about threads meeting the loop: ThreadSanitizer (build-tsan) is what catches a
// fault in them.
TEST(TaskLifetime, WorkThatEndsWhileItsLoopIsDestroyedNeitherRacesNorPostsIntoIt) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    {
        MainLoop loop;
        auto task = startTask(
            [released]() -> Task<> { co_await BlockingWork::run([released] { released.wait(); }); });
        loop.runUntilIdle();
        release.set_value(); // the pool thread resumes the task while the loop goes away
    }
    BlockingWork::drain();
}

TEST(TaskLifetime, ATaskWhoseLastOwnerIsAnotherThreadLeavesItsLoopsRegistrySound) {
    MainLoop loop;
    std::optional<Continuation<int>> held;
    auto task = startTask([&]() -> Task<int> {
        co_return co_await withContinuation<int>([&](Continuation<int> c) { held.emplace(std::move(c)); });
    });
    loop.runUntilIdle();
    ASSERT_TRUE(held);
    std::atomic<bool> finished{false};
    std::thread owner([c = std::move(*held), &finished]() mutable {
        c.resume(7);
        while (!finished.load()) {
            std::this_thread::yield();
        }
        // Leaving drops the last reference to the finished task, here, off the loop thread.
    });
    held.reset();
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    EXPECT_EQ(task.get(), 7);
    task = {};
    finished = true;
    std::vector<Task<>> more; // they register with the loop while the other thread drops the finished one
    for (int i = 0; i < 16; ++i) {
        more.push_back(startTask([]() -> Task<> { co_return; }));
    }
    owner.join();
    loop.runUntilIdle();
    EXPECT_TRUE(more.back().isDone());
}
