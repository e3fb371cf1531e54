#include "Database/TranscriptTextFormatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using Database::TranscriptTextFormatter;
using Segment = TranscriptTextFormatter::Segment;

namespace {
Segment seg(double start, std::string text, std::string speaker = "", bool mic = false) {
    Segment s;
    s.startTime = start;
    s.text = std::move(text);
    s.speaker = std::move(speaker);
    s.isFromMicrophone = mic;
    return s;
}
using Lines = std::vector<std::string>;
} // namespace

TEST(TranscriptTextFormatter, JoinsConsecutiveSegmentsOfOneSpeakerIntoOneLine) {
    EXPECT_EQ(TranscriptTextFormatter::lines({seg(5, "Hi", "Alice"), seg(7, "there", "Alice")}),
              Lines{"Alice (0:05): Hi there"});
    EXPECT_EQ(TranscriptTextFormatter::lines(
                  {seg(1, "a", "Alice"), seg(2, "b", "Bob"), seg(3, "c", " Alice\n"), seg(4, "d", "Alice")}),
              (Lines{"Alice (0:01): a", "Bob (0:02): b", "Alice (0:03): c d"}));
    // A segment without words does not end a turn, and a turn that starts with one takes the next time.
    EXPECT_EQ(TranscriptTextFormatter::lines({seg(1, "a", "Alice"), seg(2, " <|en|> ", "Bob"),
                                              seg(3, "b", "Alice"), seg(4, "\n", "Bob"), seg(5, "c", "Bob")}),
              (Lines{"Alice (0:01): a b", "Bob (0:05): c"}));
}

TEST(TranscriptTextFormatter, SortsByStartKeepingStoredOrderOnTies) {
    EXPECT_EQ(
        TranscriptTextFormatter::lines({seg(9, "last", "B"), seg(2, "first", "A"), seg(2, "second", "C")}),
        (Lines{"A (0:02): first", "C (0:02): second", "B (0:09): last"}));
}

TEST(TranscriptTextFormatter, LabelsUnnamedSpeakersByWhereTheAudioCameFrom) {
    EXPECT_EQ(TranscriptTextFormatter::lines({seg(0, "mine", "", true), seg(1, "theirs", "  ", false)}),
              (Lines{"You (0:00): mine", "Speaker (0:01): theirs"}));
}

TEST(TranscriptTextFormatter, CollapsesWhitespaceAndDropsTokenOnlySegments) {
    EXPECT_EQ(TranscriptTextFormatter::lines({seg(0, "<|en|>", "A"), seg(1, "  spread \n\t out\u00a0 ", "A"),
                                              seg(2, "[BLANK_AUDIO]", "B"), seg(3, "<|0.00|>", "C")}),
              (Lines{"A (0:01): spread out", "B (0:02): [BLANK_AUDIO]"}));
    EXPECT_TRUE(TranscriptTextFormatter::lines({}).empty());
    EXPECT_TRUE(TranscriptTextFormatter::lines({seg(0, "   "), seg(1, "<|x|>")}).empty());
}

TEST(TranscriptTextFormatter, StampsTimesAsMinutesOrHours) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        double t;
        std::string stamp;
    };
    for (const auto& c : std::vector<Case>{{3725.9, "1:02:05"},
                                           {59.99, "0:59"},
                                           {nan, "0:00"},
                                           {inf, "0:00"},
                                           {-inf, "0:00"},
                                           {-5, "0:00"},
                                           {3599.999, "59:59"},
                                           {3600, "1:00:00"},
                                           {360000, "100:00:00"},
                                           {1e300, "277777777777:46:40"}}) {
        EXPECT_EQ(TranscriptTextFormatter::timestamp(c.t), c.stamp) << c.t;
    }
    EXPECT_EQ(TranscriptTextFormatter::lines({seg(nan, "late", "A"), seg(1, "x", "B")}),
              (Lines{"A (0:00): late", "B (0:01): x"}));
}
