#include "Support/MainLoopTurns.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(MainLoopTurns, TheHookRunsBeforeTheFirstWaitAndAfterEveryHandlerUntilItsHandleGoesAway) {
    Support::MainLoop loop;
    std::vector<std::string> log;
    Support::Subscription hook = Support::onMainLoopTurn(loop, [&] { log.push_back("turn"); });
    loop.post([&] { log.push_back("a"); });
    loop.post([&] {
        log.push_back("b");
        hook.reset();
        loop.post([&] {
            log.push_back("c");
            loop.stop();
        });
    });
    loop.run();
    EXPECT_EQ(log, (std::vector<std::string>{"turn", "a", "turn", "b", "c"}));
}

TEST(MainLoopTurns, ADestroyedLoopForgetsItsHook) {
    Support::Subscription hook;
    {
        Support::MainLoop loop;
        hook = Support::onMainLoopTurn(loop, [] {});
    }
    hook.reset();
    Support::MainLoop another;
    bool turned = false;
    auto fresh = Support::onMainLoopTurn(another, [&] { turned = true; });
    another.post([&] { another.stop(); });
    another.run();
    EXPECT_TRUE(turned);
}
