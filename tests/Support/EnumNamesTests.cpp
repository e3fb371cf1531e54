#include "Support/EnumNames.h"

#include <gtest/gtest.h>

namespace {

enum class Weather { sunny, rainy, foggy };
constexpr Support::EnumName<Weather> weatherNames[] = {
    {Weather::sunny, "sunny"},
    {Weather::rainy, "Rainy Day"},
};

TEST(EnumNames, ReadsBothDirectionsFromOneTable) {
    for (auto [value, name] : weatherNames) {
        EXPECT_EQ(Support::enumName(weatherNames, value), name);
        EXPECT_EQ(Support::enumValue(weatherNames, name), value);
    }
    static_assert(Support::enumValue(weatherNames, "Rainy Day") == Weather::rainy);
}

TEST(EnumNames, NamesAreMatchedExactlyAndAnUnlistedValueTakesTheFirstName) {
    EXPECT_EQ(Support::enumValue(weatherNames, "rainy day"), std::nullopt);
    EXPECT_EQ(Support::enumValue(weatherNames, ""), std::nullopt);
    EXPECT_EQ(Support::enumValue(weatherNames, "sunny "), std::nullopt);
    EXPECT_EQ(Support::enumName(weatherNames, Weather::foggy), "sunny");
}

} // namespace
