#include "UI/library/TranscriptFollowController.h"

#include <gtest/gtest.h>

#include <limits>

using UI::RowFrame;
using UI::RowVisibility;
using UI::TranscriptFollowController;

namespace {
struct Clock {
    Support::Date now = Support::dateFromUnix(1'800'000'000);
    void advance(double s) { now += Support::seconds(s); }
};
RowFrame rowAt(double midY) {
    return {0, midY - 10, 300, 20};
}
} // namespace

TEST(TranscriptFollowController, TellsWhetherTheActiveRowIsOnScreen) {
    Clock clock;
    TranscriptFollowController c([&] { return clock.now; });
    EXPECT_EQ(c.visibility(1), RowVisibility::unknown);
    c.noteActiveRow(1, rowAt(100));
    EXPECT_EQ(c.visibility(1), RowVisibility::unknown) << "no viewport yet";
    c.setViewportHeight(500);
    struct Case {
        double mid;
        RowVisibility expected;
    };
    for (const auto& k : std::vector<Case>{{88, RowVisibility::visible},
                                           {87.9, RowVisibility::offscreen},
                                           {436, RowVisibility::visible},
                                           {436.1, RowVisibility::offscreen}}) {
        c.noteActiveRow(1, rowAt(k.mid));
        EXPECT_EQ(c.visibility(1), k.expected) << k.mid;
    }
    EXPECT_EQ(c.visibility(2), RowVisibility::unknown);
    c.noteActiveRow(1, {0, std::numeric_limits<double>::quiet_NaN(), 300, 20});
    EXPECT_EQ(c.visibility(1), RowVisibility::unknown);
    c.noteActiveRow(1, {0, 100, 300, std::numeric_limits<double>::infinity()});
    EXPECT_EQ(c.visibility(1), RowVisibility::unknown);
}

TEST(TranscriptFollowController, AScrollPausesFollowingForSixSecondsFromTheFirstScroll) {
    Clock clock;
    TranscriptFollowController c([&] { return clock.now; });
    c.setViewportHeight(500);
    std::vector<bool> published;
    auto sub = c.isEngaged.observe([&](bool v) { published.push_back(v); });

    c.noteScroll();
    EXPECT_FALSE(c.isEngaged.get());
    clock.advance(4);
    c.noteScroll(); // does not extend the pause
    clock.advance(1.9);
    c.noteActiveRow(1, rowAt(200));
    EXPECT_FALSE(c.isEngaged.get()) << "still within six seconds of the first scroll";
    clock.advance(0.1);
    c.noteActiveRow(1, rowAt(200));
    EXPECT_TRUE(c.isEngaged.get());
    c.noteActiveRow(1, rowAt(210));
    EXPECT_EQ(published, (std::vector<bool>{false, true})) << "unchanged values are not re-published";
}

TEST(TranscriptFollowController, AnOffscreenRowDoesNotEngageAndResumeAlwaysDoes) {
    Clock clock;
    TranscriptFollowController c([&] { return clock.now; });
    c.setViewportHeight(500);
    c.noteScroll();
    clock.advance(10);
    c.noteActiveRow(1, rowAt(10));
    EXPECT_FALSE(c.isEngaged.get());
    c.noteScroll(); // a new pause starts: the old one is over
    EXPECT_TRUE(c.policy().isPaused(clock.now));
    c.resume();
    EXPECT_TRUE(c.isEngaged.get());
    EXPECT_EQ(c.policy().pauseDeadline, std::nullopt);
}
