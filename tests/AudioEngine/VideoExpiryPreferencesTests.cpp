#include "AudioEngine/VideoExpiryPreferences.h"

#include <gtest/gtest.h>

using AudioEngine::VideoExpiryPreferences;

namespace {

TEST(VideoExpiryPreferences, ReadsTheStoredOptionAndFallsBackToNeverForAnythingElse) {
    struct Case {
        std::optional<Support::DefaultsValue> stored;
        std::uint8_t option;
    };
    const Case cases[] = {
        {std::nullopt, 0},
        {Support::DefaultsValue(std::int64_t(1)), 1},
        {Support::DefaultsValue(std::int64_t(2)), 2},
        {Support::DefaultsValue(std::int64_t(3)), 3},
        {Support::DefaultsValue(std::int64_t(7)), 7},
        {Support::DefaultsValue(std::int64_t(100000)), 255},
        {Support::DefaultsValue(std::int64_t(-1)), 0},
        {Support::DefaultsValue(std::string("2")), 2},
        {Support::DefaultsValue(std::string("weekly")), 0},
    };
    for (const auto& c : cases) {
        Support::InMemoryUserDefaults defaults;
        if (c.stored) {
            defaults.set(VideoExpiryPreferences::key, *c.stored);
        }
        EXPECT_EQ(VideoExpiryPreferences::currentOption(defaults), c.option);
    }
}

TEST(VideoExpiryPreferences, MapsEveryOptionToItsRetentionAndName) {
    EXPECT_FALSE(VideoExpiryPreferences::retentionDays(0));
    EXPECT_EQ(VideoExpiryPreferences::retentionDays(1), 7);
    EXPECT_EQ(VideoExpiryPreferences::retentionDays(2), 30);
    EXPECT_EQ(VideoExpiryPreferences::retentionDays(3), 90);
    EXPECT_EQ(VideoExpiryPreferences::retentionDays(255), 90);
    EXPECT_EQ(VideoExpiryPreferences::displayName(0), "Never");
    EXPECT_EQ(VideoExpiryPreferences::displayName(2), "After 30 days");
}

} // namespace
