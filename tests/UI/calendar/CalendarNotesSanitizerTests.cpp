#include "UI/calendar/CalendarNotesSanitizer.h"

#include "Support/Text.h"

#include <gtest/gtest.h>

#include <string>

using UI::CalendarNotesSanitizer;

namespace {
std::string excerpt(const std::string& notes) {
    return CalendarNotesSanitizer::excerpt(notes).value_or("<none>");
}
} // namespace

TEST(CalendarNotesSanitizer, CutsTheInvitationBlockAtARuleLine) {
    EXPECT_EQ(
        excerpt("Agenda\n\n\nItem one\n____________________________________________________________________"
                "____________\nJoin Zoom Meeting"),
        "Agenda\n\nItem one");
}

TEST(CalendarNotesSanitizer, DropsBoilerplateAndDialInLinesButKeepsOrdinaryOnes) {
    EXPECT_EQ(excerpt("Meeting ID: 123 456 7890\n+1 646 558 8656,,123456#\nRoom 12"), "Room 12");
    EXPECT_EQ(excerpt("Bring the PIN 1234\nNotes on the pinboard"), "Notes on the pinboard");
    EXPECT_EQ(excerpt("Details at aka.ms/JoinTeams\nagenda"), "agenda");
}

TEST(CalendarNotesSanitizer, TreatsTenRuleCharactersAsARuleButNotNine) {
    EXPECT_EQ(excerpt("Before\n==========\nAfter"), "Before");
    EXPECT_EQ(excerpt("Before\n=========\nAfter"), "Before\n=========\nAfter");
    EXPECT_EQ(excerpt("Before\n\u2500\u2500\u2500\u2500\u2500\u2014\u2014\u2014~*\nAfter"), "Before");
    EXPECT_EQ(excerpt("Before\nxx -::~:~::~:~ xx\nAfter"), "Before");
}

TEST(CalendarNotesSanitizer, RemovesTagsEntitiesAndLinks) {
    EXPECT_EQ(
        excerpt("<p>Plan &amp; review</p><div>Q3&nbsp;goals<br/>see https://docs.example.com/x now</div>"
                "<b>www.example.com/a</b> us02web.zoom.us/j/1 meet.google.com/abc-defg-hij"),
        "Plan & review\nQ3 goals\nsee  now");
}

TEST(CalendarNotesSanitizer, CollapsesBlankLinesAndGivesNothingForEmptyResults) {
    EXPECT_EQ(excerpt("\n\n  \nOne\n\n\n\nTwo\n\n"), "One\n\nTwo");
    EXPECT_FALSE(CalendarNotesSanitizer::excerpt(std::string()));
    EXPECT_FALSE(CalendarNotesSanitizer::excerpt(std::optional<std::string>()));
    EXPECT_FALSE(
        CalendarNotesSanitizer::excerpt(std::string("Join Zoom Meeting\nhttps://zoom.us/j/1234567890")));
}

TEST(CalendarNotesSanitizer, CutsLongTextAtTheLastBlankAfterHalfTheLength) {
    std::string words = std::string(700, 'a') + " " + std::string(1299, 'b');
    auto cut = excerpt(words);
    EXPECT_EQ(cut, std::string(700, 'a') + "\u2026");

    std::string solid = std::string(400, 'a') + " " + std::string(1599, 'b');
    auto hard = excerpt(solid);
    EXPECT_EQ(Support::Text::graphemeCount(hard), 1000u);
    EXPECT_EQ(hard, solid.substr(0, 999) + "\u2026");

    std::string exact(1000, 'x');
    EXPECT_EQ(excerpt(exact), exact);
}

TEST(CalendarNotesSanitizer, CountsCharactersNotBytesWhenCutting) {
    std::string accented;
    for (int i = 0; i < 1000; ++i) {
        accented += "\u00e9";
    }
    EXPECT_EQ(excerpt(accented), accented);
    auto longer = accented + "\u00e9";
    EXPECT_EQ(Support::Text::graphemeCount(excerpt(longer)), 1000u);
}

TEST(CalendarNotesSanitizer, SurvivesInvalidUtf8AndUnclosedTags) {
    EXPECT_EQ(excerpt("ok \xff\xfe <b unclosed"), "ok \xff\xfe <b unclosed");
    EXPECT_EQ(excerpt("a <> b"), "a <> b");
}
