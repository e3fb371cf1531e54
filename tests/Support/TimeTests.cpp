#include "Support/Time.h"

#include <gtest/gtest.h>

using namespace Support;

TEST(ISO8601, FormatsWholeSecondsAndFractionsInUTC) {
    EXPECT_EQ(formatISO8601(dateFromUnix(0)), "1970-01-01T00:00:00Z");
    EXPECT_EQ(formatISO8601(dateFromUnix(1'795'340'700)), "2026-11-22T09:45:00Z");
    EXPECT_EQ(formatISO8601(dateFromUnix(1'795'340'700.25)), "2026-11-22T09:45:00.250Z");
}

TEST(ISO8601, ParsesTheFormsPeopleAndProgramsWrite) {
    struct Case {
        const char* text;
        double unix;
    };
    for (auto c :
         {Case{"2026-11-22T09:45:00Z", 1'795'340'700}, Case{"2026-11-22T10:45:00+01:00", 1'795'340'700},
          Case{"2026-11-22T04:45:00-0500", 1'795'340'700}, Case{"2026-11-22T09:45Z", 1'795'340'700},
          Case{"2026-11-22T09:45:00.5Z", 1'795'340'700.5}, Case{"2026-11-22 09:45:00z", 1'795'340'700}}) {
        auto d = parseISO8601(c.text);
        ASSERT_TRUE(d.has_value()) << c.text;
        EXPECT_EQ(*d, dateFromUnix(c.unix)) << c.text;
    }
}

TEST(ISO8601, RejectsAnythingElse) {
    for (const char* bad : {"", "2026-11-22", "2026-11-22T09:45:00", "2026-13-01T00:00:00Z",
                            "2026-02-30T00:00:00Z", "2026-11-22T24:00:00Z", "2026-11-22T09:45:00Zjunk",
                            "tomorrow", "2026-11-22T09:45:00+25:00", "2026-11-22T09:45:00."}) {
        EXPECT_FALSE(parseISO8601(bad).has_value()) << bad;
    }
}

TEST(ISO8601, RoundTripsThroughText) {
    for (double t : {0.0, 1'795'340'700.0, 1'795'340'700.123, 4'102'444'800.0}) {
        EXPECT_EQ(parseISO8601(formatISO8601(dateFromUnix(t))), dateFromUnix(t));
    }
}
