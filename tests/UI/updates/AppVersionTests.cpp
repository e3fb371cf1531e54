#include "UI/updates/AppVersion.h"

#include <gtest/gtest.h>

using UI::AppVersion;

TEST(AppVersion, AcceptsOnlyDotSeparatedRunsOfAsciiDigits) {
    struct Case {
        const char* text;
        bool parses;
    };
    const Case cases[] = {
        {"1", true},
        {"1.2", true},
        {"1.10.3", true},
        {"0.0.0", true},
        {"007.08", true},
        {"", false},
        {".", false},
        {"1..2", false},
        {"1.2.", false},
        {".1.2", false},
        {"1.2b", false},
        {"v1.2", false},
        {" 1.2", false},
        {"1.2 ", false},
        {"2.0 beta", false},
        {"1.-2", false},
        {"+1.2", false},
        {"1.２", false},
        {"9223372036854775807", true},
        {"9223372036854775808", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AppVersion::parse(c.text).has_value(), c.parses) << '"' << c.text << '"';
    }
}

TEST(AppVersion, ComparesComponentsNumericallyWithMissingOnesAsZero) {
    auto v = [](const char* t) { return *AppVersion::parse(t); };
    EXPECT_EQ(v("1.2"), v("1.2.0"));
    EXPECT_EQ(v("1.2.0.0"), v("1.2"));
    EXPECT_EQ(v("01.2"), v("1.2"));
    EXPECT_GT(v("1.10"), v("1.9"));
    EXPECT_LT(v("1.2"), v("1.2.1"));
    EXPECT_GT(v("2"), v("1.99.99"));
    EXPECT_LE(v("1.2"), v("1.2.0"));
    EXPECT_GE(v("1.2.0"), v("1.2"));
    EXPECT_EQ(v("1.02.0").description(), "1.2.0");
}

TEST(AppVersion, IsNewerOnlyWhenBothParseAndTheCandidateIsGreater) {
    EXPECT_TRUE(AppVersion::isNewer("1.10", "1.9"));
    EXPECT_FALSE(AppVersion::isNewer("1.2.0", "1.2"));
    EXPECT_FALSE(AppVersion::isNewer("1.2", "1.2.1"));
    EXPECT_FALSE(AppVersion::isNewer("2.0 beta", "1.0"));
    EXPECT_FALSE(AppVersion::isNewer("2.0", "garbage"));
}
