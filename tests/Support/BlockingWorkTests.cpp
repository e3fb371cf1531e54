#include "Support/BlockingWork.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

namespace {

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

} // namespace
