#include "UI/calendar/MeetingOverlayKeyPolicy.h"
#include "UI/calendar/MeetingOverlayPresentation.h"

#include "ReminderTestMeetings.h"

#include <gtest/gtest.h>

using namespace ReminderTest;
using UI::MeetingOverlayKeyPolicy;
using UI::MeetingOverlayPresentation;

TEST(MeetingOverlayPresentation, WordsTheStartRelativeToNow) {
    struct Case {
        double offset;
        const char* text;
    } cases[] = {{29, "Starting now"},
                 {-29, "Starting now"},
                 {30, "Starting now"},
                 {31, "Starts in 1 minute"},
                 {89, "Starts in 1 minute"},
                 {91, "Starts in 2 minutes"},
                 {-300, "Started 5 minutes ago"},
                 {-61, "Started 1 minute ago"}};
    for (const auto& c : cases) {
        EXPECT_EQ(MeetingOverlayPresentation::timeText(ten + Support::seconds(c.offset), ten), c.text)
            << c.offset;
    }
}

TEST(MeetingOverlayPresentation, DescribesTheMainMeetingAndTheMeetingsBesideIt) {
    auto main = meeting("A", ten);
    main.title = "  ";
    auto teams = meeting("B", at(10, 1), 30, UI::MeetingService::teams);
    auto meet = meeting("C", at(10, 2), 30, UI::MeetingService::meet);
    MeetingOverlayPresentation one(main, {teams}, at(9, 59), at(10, 1, 30), "UTC", "en_US");
    EXPECT_EQ(one.title, "Untitled meeting");
    EXPECT_EQ(one.serviceName, "Zoom");
    EXPECT_EQ(one.relativeTime, "Starts in 1 minute");
    EXPECT_EQ(one.timeRangeText, "10:00\u202fAM – 10:30\u202fAM");
    EXPECT_EQ(one.snoozeLine, "Remind me again at 10:01\u202fAM");
    EXPECT_EQ(one.summary, "Zoom meeting. Starts in 1 minute. One more meeting at the same time.");
    ASSERT_EQ(one.extraRows.size(), 1u);
    EXPECT_EQ(one.extraRows[0].title, "Meeting B");
    EXPECT_EQ(one.extraRows[0].detail, "Teams · 10:01\u202fAM");
    EXPECT_EQ(one.extraRows[0].joinTitle, "Join");

    MeetingOverlayPresentation two(main, {teams, meet}, at(9, 59), std::nullopt, "Europe/Berlin", "de_DE");
    EXPECT_FALSE(two.snoozeLine);
    EXPECT_EQ(two.timeRangeText, "11:00 – 11:30");
    EXPECT_TRUE(two.summary.ends_with(" 2 more meetings at the same time."));
    EXPECT_EQ(MeetingOverlayPresentation(main, {}, ten, std::nullopt, "UTC", "en_US").summary,
              "Zoom meeting. Starting now.");
}

TEST(MeetingOverlayPresentation, OffersTheFourButtonsInOrder) {
    MeetingOverlayPresentation p(meeting("A", ten), {}, at(9, 59), std::nullopt, "UTC", "en_US");
    std::vector<std::string> titles;
    for (auto button : p.buttons) {
        titles.emplace_back(UI::title(button));
    }
    EXPECT_EQ(titles, (std::vector<std::string>{"Join & Record", "Join only", "Snooze", "Dismiss"}));
    EXPECT_EQ(UI::rawValue(MeetingOverlayPresentation::Button::joinAndRecord), "joinAndRecord");
}

TEST(MeetingOverlayKeyPolicy, KeepsStrayKeysFromJoiningOrDismissing) {
    using O = MeetingOverlayKeyPolicy::Outcome;
    struct Case {
        std::uint16_t key;
        bool guarded;
        bool navigated;
        O expected;
    } cases[] = {
        {53, true, false, O::swallow},      {36, true, true, O::swallow},
        {53, false, false, O::escape},      {48, false, false, O::navigation},
        {123, false, false, O::navigation}, {126, false, true, O::navigation},
        {36, false, false, O::swallow},     {49, false, false, O::swallow},
        {76, false, false, O::swallow},     {36, false, true, O::passThrough},
        {49, false, true, O::passThrough},  {0, false, false, O::passThrough},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MeetingOverlayKeyPolicy::outcome(c.key, c.guarded, c.navigated), c.expected)
            << c.key << " guarded " << c.guarded << " navigated " << c.navigated;
    }
    EXPECT_EQ(MeetingOverlayKeyPolicy::action(O::escape)->kind, UI::MeetingOverlayAction::Kind::dismiss);
    EXPECT_FALSE(MeetingOverlayKeyPolicy::action(O::swallow));
}
