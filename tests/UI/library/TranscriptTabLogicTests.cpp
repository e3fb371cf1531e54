#include "UI/library/TranscriptTabLogic.h"

#include <gtest/gtest.h>

#include <limits>

using UI::TranscriptTabLogic;
using Topic = TranscriptTabLogic::Topic;
using Segment = TranscriptTabLogic::Segment;

namespace {
Topic topic(std::int64_t id, double start) {
    Topic t;
    t.id = id;
    t.title = "T" + std::to_string(id);
    t.startTime = start;
    t.endTime = start + 10;
    return t;
}
Segment seg(double start, std::string speaker = "") {
    Segment s;
    s.startTime = start;
    s.speaker = std::move(speaker);
    return s;
}
std::vector<std::int64_t> ids(const std::vector<std::optional<Topic>>& entries) {
    std::vector<std::int64_t> out;
    for (const auto& e : entries) {
        out.push_back(e ? e->id : 0);
    }
    return out;
}
} // namespace

TEST(TranscriptTabLogic, FindsTheTopicOfAMomentWithTheFirstListedWinningATie) {
    std::vector<Topic> topics{topic(1, 10), topic(2, 10), topic(3, 30), topic(4, 5)};
    EXPECT_EQ(TranscriptTabLogic::topic(topics, 12)->id, 1);
    EXPECT_EQ(TranscriptTabLogic::topic(topics, 30)->id, 3);
    EXPECT_EQ(TranscriptTabLogic::topic(topics, 7)->id, 4);
    EXPECT_EQ(TranscriptTabLogic::topic(topics, 4), std::nullopt);
    EXPECT_EQ(TranscriptTabLogic::topic(topics, std::numeric_limits<double>::quiet_NaN()), std::nullopt);
    EXPECT_EQ(TranscriptTabLogic::topic(topics, std::numeric_limits<double>::infinity()), std::nullopt);
    EXPECT_EQ(TranscriptTabLogic::topic({}, 1), std::nullopt);
}

TEST(TranscriptTabLogic, ListsDistinctNamedSpeakersInOrder) {
    EXPECT_EQ(TranscriptTabLogic::speakers(
                  {seg(0, "Zoe"), seg(1, "Ana"), seg(2, ""), seg(3, "Zoe"), seg(4, "ana")}),
              (std::vector<std::string>{"Ana", "Zoe", "ana"}));
}

TEST(TranscriptTabLogic, PutsADividerAboveTheFirstSegmentOfEachTopicRun) {
    std::vector<Topic> topics{topic(2, 20), topic(1, 0)};
    EXPECT_EQ(ids(TranscriptTabLogic::dividers({seg(0), seg(5), seg(20), seg(25), seg(3)}, topics)),
              (std::vector<std::int64_t>{1, 0, 2, 0, 1}));
    EXPECT_EQ(ids(TranscriptTabLogic::dividers({seg(0), seg(5)}, {})), (std::vector<std::int64_t>{0, 0}));
    // A segment before every topic clears the memory, so the topic's next segment gets a divider again.
    EXPECT_EQ(ids(TranscriptTabLogic::dividers({seg(12), seg(1), seg(13)}, {topic(7, 10)})),
              (std::vector<std::int64_t>{7, 0, 7}));
    EXPECT_EQ(ids(TranscriptTabLogic::dividers({seg(std::numeric_limits<double>::quiet_NaN()), seg(10)},
                                               {topic(7, 10)})),
              (std::vector<std::int64_t>{0, 7}));
}
