#include "UI/library/FilterBar.h"
#include "UI/library/Formatters.h"
#include "UI/library/LibraryLayout.h"
#include "UI/library/RecordingFilter.h"
#include "UI/library/RecordingSort.h"

#include <gtest/gtest.h>

using UI::Formatters::formatRelativeDate;

namespace {
const UI::DateContext newYork{"en_US", "America/New_York"};
// Friday 2026-11-20 15:00 in New York.
const Support::Date now = Support::dateFromUnix(1'795'204'800);
Support::Date hoursAgo(double h) {
    return now - Support::seconds(h * 3600);
}
} // namespace

TEST(Formatters, WordsRecentDatesRelativeToTodayInTheCalendarsTimeZone) {
    struct Case {
        Support::Date date;
        bool expanded;
        std::string text;
    };
    for (const auto& c : std::vector<Case>{
             {hoursAgo(1), false, "Today"},
             {hoursAgo(14.9), true, "Today at 12:06 AM"},
             {hoursAgo(15.5), false, "Yesterday"},
             {hoursAgo(16), true, "Yesterday at 11:00 PM"},
             {hoursAgo(2 * 24), false, "2 days ago"},
             {hoursAgo(2 * 24), true, "2 days ago"},
             {hoursAgo(6 * 24), false, "6 days ago"},
             {hoursAgo(7 * 24), false, "Last week"},
             {hoursAgo(13 * 24), true, "Last week"},
             {hoursAgo(14 * 24), false, "Nov 6"},
             {hoursAgo(14 * 24), true, "Nov 6 at 3:00 PM"},
             {hoursAgo(400 * 24), false, "Oct 16, 2025"},
             {hoursAgo(400 * 24), true, "Oct 16, 2025 at 4:00 PM"},
             {now + std::chrono::hours(48), false, "Nov 22"},
         }) {
        EXPECT_EQ(formatRelativeDate(c.date, c.expanded, now, newYork), c.text);
    }
}

TEST(FilterBar, TitlesTheCustomFilterWithItsRangeOnceBothEndsAreSet) {
    EXPECT_EQ(UI::FilterBar::customTitle(hoursAgo(14 * 24), now, newYork), "Nov 6 - Nov 20");
    EXPECT_EQ(UI::FilterBar::customTitle(std::nullopt, now, newYork), "Custom");
    EXPECT_EQ(UI::FilterBar::customTitle(now, std::nullopt, newYork), "Custom");
}

TEST(RecordingFilter, HasItsLabelsInOrderWithTheLastThreeInTheOverflowMenu) {
    std::vector<std::string> labels;
    std::vector<bool> overflow;
    for (auto f : UI::allRecordingFilters) {
        labels.emplace_back(UI::rawValue(f));
        overflow.push_back(UI::isInOverflowMenu(f));
        EXPECT_EQ(UI::recordingFilterFromRawValue(UI::rawValue(f)), f);
    }
    EXPECT_EQ(labels,
              (std::vector<std::string>{"All", "Today", "This Week", "Custom", "Transcribed", "Favorites"}));
    EXPECT_EQ(overflow, (std::vector<bool>{false, false, false, true, true, true}));
    EXPECT_EQ(UI::recordingFilterFromRawValue("all"), std::nullopt);
}

TEST(RecordingSort, HasItsLabelsInOrder) {
    std::vector<std::string> labels;
    for (auto s : UI::allRecordingSorts) {
        labels.emplace_back(UI::rawValue(s));
        EXPECT_EQ(UI::recordingSortFromRawValue(UI::rawValue(s)), s);
    }
    EXPECT_EQ(labels, (std::vector<std::string>{"Newest First", "Oldest First", "Longest First",
                                                "Shortest First", "Title A-Z"}));
}

TEST(RecordingFilter, BoundsTodayAndThisWeekByLocalMidnightsAcrossADaylightSavingChange) {
    // Sunday 2026-11-01 is the day New York falls back: that day has 25 hours.
    const UI::DateContext ny = newYork;
    const auto sunday = Support::dateFromUnix(1'793'552'400); // 2026-11-01 12:00 EST
    auto today = UI::dateBounds(UI::RecordingFilter::today, sunday, ny);
    ASSERT_TRUE(today);
    EXPECT_EQ(today->end - today->start, std::chrono::hours(25));
    auto week = UI::dateBounds(UI::RecordingFilter::thisWeek, sunday, ny);
    ASSERT_TRUE(week);
    EXPECT_EQ(week->start, today->start) << "en_US weeks start on Sunday";
    EXPECT_EQ(week->end - week->start, std::chrono::hours(7 * 24 + 1));
    EXPECT_EQ(UI::dateBounds(UI::RecordingFilter::all, sunday, ny), std::nullopt);
    EXPECT_EQ(UI::dateBounds(UI::RecordingFilter::custom, sunday, ny, sunday, std::nullopt), std::nullopt);
}
