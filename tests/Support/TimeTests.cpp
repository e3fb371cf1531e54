#include "Support/Time.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Support;

TEST(ISO8601, FormatsWholeSecondsAndFractionsInUTC) {
    EXPECT_EQ(formatISO8601(dateFromUnix(0)), "1970-01-01T00:00:00Z");
    EXPECT_EQ(formatISO8601(dateFromUnix(1'795'340'700)), "2026-11-22T09:45:00Z");
    EXPECT_EQ(formatISO8601(dateFromUnix(1'795'340'700.25)), "2026-11-22T09:45:00.250Z");
    EXPECT_EQ(formatISO8601(dateFromUnix(-62'135'596'800)), "0001-01-01T00:00:00Z");
    EXPECT_EQ(formatISO8601(dateFromUnix(253'402'300'799)), "9999-12-31T23:59:59Z");
    EXPECT_EQ(formatISO8601(Date(Duration::max())), formatISO8601(dateFromUnix(maximumSeconds)));
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
    // 9187-11-22T08:50:00.5Z came from the reminder-ledger fuzzer: years past 2262 once overflowed.
    for (double t :
         {0.0, 1'795'340'700.0, 1'795'340'700.123, 4'102'444'800.0, 227'774'623'800.5, -62'135'596'800.0}) {
        EXPECT_EQ(parseISO8601(formatISO8601(dateFromUnix(t))), dateFromUnix(t));
    }
}

// Values that calendar files and the fuzzers produced: each converts without undefined behaviour, clamped to
// about 10,000 years, and the checked conversions refuse it.
TEST(SecondsConversion, ClampsAbsurdValuesAndTheCheckedFormRefusesThem) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    const Duration most = seconds(maximumSeconds);
    struct Case {
        double value;
        Duration clamped;
    };
    for (auto c : {Case{1.528e+14, most}, Case{1.528e+20, most}, Case{-1.528e+20, -most}, Case{inf, most},
                   Case{-inf, -most}, Case{std::numeric_limits<double>::max(), most},
                   Case{std::numeric_limits<double>::lowest(), -most}, Case{std::nan(""), Duration(0)},
                   Case{maximumSeconds * 1.000001, most}, Case{9.3e15, most}}) {
        EXPECT_EQ(seconds(c.value), c.clamped) << c.value;
        EXPECT_EQ(dateFromUnix(c.value).time_since_epoch(), c.clamped) << c.value;
        EXPECT_FALSE(checkedSeconds(c.value).has_value()) << c.value;
        EXPECT_FALSE(checkedDateFromUnix(c.value).has_value()) << c.value;
    }
}

TEST(SecondsConversion, KeepsEveryReasonableValueExactly) {
    for (double value : {0.0, 1.5, -1.5, 1'795'340'700.25, -86'400.0, maximumSeconds, -maximumSeconds}) {
        EXPECT_EQ(seconds(value).count(), static_cast<Duration::rep>(value * 1'000'000.0)) << value;
        EXPECT_EQ(checkedSeconds(value), seconds(value)) << value;
        EXPECT_EQ(checkedDateFromUnix(value), dateFromUnix(value)) << value;
    }
    static_assert(seconds(2.5) == std::chrono::milliseconds(2500));
    static_assert(seconds(1e300) == seconds(maximumSeconds));
}

TEST(SecondsConversion, ClampedDatesStillFormatAndAddUp) {
    const Date latest = dateFromUnix(1e300);
    const Date earliest = dateFromUnix(-1e300);
    EXPECT_EQ(formatISO8601(latest).substr(0, 6), "11990-");
    EXPECT_EQ(formatISO8601(earliest).front(), '-');
    // Sums of two clamped values stay inside what a Duration holds.
    EXPECT_GT(latest + seconds(1e300), latest);
    EXPECT_LT(earliest - seconds(1e300), earliest);
}
