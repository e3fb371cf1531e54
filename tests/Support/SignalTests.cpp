#include "Support/MainLoop.h"
#include "Support/NotificationCenter.h"
#include "Support/Signal.h"

#include <gtest/gtest.h>

#include <thread>

using namespace Support;

TEST(Signal, AnObserverIsCalledUntilItsSubscriptionEnds) {
    Signal<int> signal;
    std::vector<int> seen;
    {
        auto sub = signal.connect([&](int v) { seen.push_back(v); });
        signal.emit(1);
    }
    signal.emit(2);
    EXPECT_EQ(seen, std::vector<int>{1});
    EXPECT_EQ(signal.observerCount(), 0u);
}

TEST(Signal, AnObserverDisconnectedDuringAnEmissionIsNotCalledAfterIt) {
    Signal<> signal;
    Subscription second;
    int secondCalls = 0;
    auto first = signal.connect([&] { second.reset(); });
    second = signal.connect([&] { ++secondCalls; });
    signal.emit();
    signal.emit();
    EXPECT_EQ(secondCalls, 0);
}

TEST(Published, SetAlwaysNotifiesSetIfChangedOnlyOnChangeAndSinkStartsWithTheCurrentValue) {
    Published<std::string> title{"Untitled"};
    std::vector<std::string> seen;
    auto sub = title.sink([&](const std::string& v) { seen.push_back(v); });
    title.set("Standup");
    title.set("Standup");
    EXPECT_FALSE(title.setIfChanged("Standup"));
    EXPECT_TRUE(title.setIfChanged("Retro"));
    EXPECT_EQ(seen, (std::vector<std::string>{"Untitled", "Standup", "Standup", "Retro"}));
}

TEST(SubscriptionBag, ClearingTheBagEndsEverySubscriptionInIt) {
    Signal<> signal;
    int calls = 0;
    SubscriptionBag bag;
    bag += signal.connect([&] { ++calls; });
    bag += signal.connect([&] { ++calls; });
    signal.emit();
    bag.clear();
    signal.emit();
    EXPECT_EQ(calls, 2);
}

TEST(NotificationCenter, PostDeliversByNameWithUserInfoInSubscriptionOrder) {
    NotificationCenter center;
    std::vector<std::string> seen;
    auto a = center.observe("Vellmora.recordingDidDelete",
                            [&](const Notification& n) { seen.push_back("a:" + *n.value("recordingId")); });
    auto b = center.observe("Vellmora.recordingDidDelete",
                            [&](const Notification& n) { seen.push_back("b:" + *n.value("recordingId")); });
    auto other = center.observe("Vellmora.other", [&](const Notification&) { seen.push_back("other"); });
    center.post("Vellmora.recordingDidDelete", {{"recordingId", "R1"}});
    EXPECT_EQ(seen, (std::vector<std::string>{"a:R1", "b:R1"}));
}

TEST(NotificationCenter, APostFromAnotherThreadArrivesOnTheMainLoop) {
    MainLoop loop;
    NotificationCenter center;
    std::thread::id deliveredOn;
    auto sub = center.observe("Vellmora.ping",
                              [&](const Notification&) { deliveredOn = std::this_thread::get_id(); });
    std::thread([&] { center.postFromAnyThread("Vellmora.ping"); }).join();
    EXPECT_EQ(deliveredOn, std::thread::id());
    loop.runUntilIdle();
    EXPECT_EQ(deliveredOn, std::this_thread::get_id());
}

TEST(MainLoop, AWatchedDescriptorCallsBackOnTheLoopUntilTheWatchEnds) {
    MainLoop loop;
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    int calls = 0;
    auto watch = loop.watchReadable(fds[0], [&] {
        char c;
        (void)::read(fds[0], &c, 1);
        ++calls;
    });
    ASSERT_EQ(::write(fds[1], "x", 1), 1);
    loop.runOne(1000);
    loop.runUntilIdle();
    EXPECT_EQ(calls, 1);
    watch.reset();
    ASSERT_EQ(::write(fds[1], "y", 1), 1);
    loop.runOne(50);
    EXPECT_EQ(calls, 1);
    char buf[4];
    EXPECT_EQ(::read(fds[0], buf, sizeof buf), 1)
        << "the descriptor stays open and unread after the watch ends";
    ::close(fds[0]);
    ::close(fds[1]);
}
