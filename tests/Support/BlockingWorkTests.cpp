#include "Support/BlockingWork.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Support;

namespace {

// Records the thread every copy of it is destroyed on.
struct ReleaseRecorder {
    struct Log {
        std::mutex mutex;
        std::vector<std::thread::id> threads;
    };
    Log* log;
    ReleaseRecorder(const ReleaseRecorder&) = default;
    explicit ReleaseRecorder(Log* l) : log(l) {}
    ~ReleaseRecorder() {
        std::lock_guard lock(log->mutex);
        log->threads.push_back(std::this_thread::get_id());
    }
};

Task<ReleaseRecorder> valueAfterCancelledWork(std::shared_future<void> released, ReleaseRecorder::Log* log) {
    try {
        co_await BlockingWork::run([released] { released.wait(); });
    } catch (const Cancelled&) {
    }
    co_return ReleaseRecorder(log);
}

// The pool is a process-wide object that goes away at exit. Work that is still finishing then must be done
// with the pool's own lock and signal before they are destroyed: ThreadSanitizer (build-tsan) reports it
// otherwise, and its report makes the process exit with a failure code.
TEST(BlockingWorkDeathTest, WorkStillFinishingAtExitEndsBeforeThePoolIsTakenApart) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::promise<void> started;
            auto running = started.get_future();
            Support::BlockingWork::submit([&started] { started.set_value(); });
            running.wait();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// A task cancelled while its work runs ends at once; the pool thread, finishing later, held the last
// reference to it and used to destroy it (and the value it ended with) off the loop thread.
TEST(BlockingWork, ATaskThatEndedBeforeItsWorkIsStillReleasedOnTheLoopThread) {
    MainLoop loop;
    std::promise<void> release;
    ReleaseRecorder::Log log;
    {
        auto task = valueAfterCancelledWork(release.get_future().share(), &log);
        loop.runUntilIdle();
        task.cancel();
        loop.runUntilIdle();
        ASSERT_TRUE(task.isDone());
        ASSERT_FALSE(task.wasCancelled());
    }
    release.set_value();
    BlockingWork::drain();
    loop.runUntilIdle();
    std::lock_guard lock(log.mutex);
    ASSERT_FALSE(log.threads.empty());
    for (const auto& thread : log.threads) {
        EXPECT_EQ(thread, std::this_thread::get_id());
    }
}

TEST(BlockingWork, AValueAndAnErrorBothReachTheTaskOnTheLoopThread) {
    MainLoop loop;
    const auto loopThread = std::this_thread::get_id();
    std::vector<std::thread::id> resumedOn;
    std::string message;
    auto task = startTask([&]() -> Task<int> {
        int value = co_await BlockingWork::run([] { return 20; });
        resumedOn.push_back(std::this_thread::get_id());
        try {
            co_await BlockingWork::run([] { throw std::runtime_error("read error"); });
        } catch (const std::runtime_error& e) {
            message = e.what();
        }
        resumedOn.push_back(std::this_thread::get_id());
        co_return value + 1;
    });
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    EXPECT_EQ(task.get(), 21);
    EXPECT_EQ(message, "read error");
    EXPECT_EQ(resumedOn, (std::vector<std::thread::id>{loopThread, loopThread}));
}

} // namespace
