#include "UI/calendar/CalendarReminderLedger.h"
#include "UI/calendar/CalendarReminderSettings.h"

#include "ReminderTestMeetings.h"

#include <gtest/gtest.h>

using namespace ReminderTest;
using UI::CalendarReminderLedger;
using UI::CalendarReminderSettings;
using UI::CalendarReminderStage;

TEST(CalendarReminderSettings, ReadsStoredLeadTimesFallingBackToTheDefaultsForAnythingNotOffered) {
    struct Case {
        std::optional<Support::DefaultsValue> stored;
        std::optional<int> expected;
    };
    const Case headsUpCases[] = {
        {std::nullopt, 15},
        {Support::DefaultsValue(std::int64_t{30}), 30},
        {Support::DefaultsValue(std::int64_t{-1}), std::nullopt},
        {Support::DefaultsValue(std::int64_t{7}), 15},
        {Support::DefaultsValue(std::string("10")), 10},
        {Support::DefaultsValue(std::string("soon")), 15},
    };
    for (const auto& c : headsUpCases) {
        Support::InMemoryUserDefaults defaults;
        if (c.stored) {
            defaults.set(CalendarReminderSettings::headsUpMinutesKey, *c.stored);
        }
        EXPECT_EQ(CalendarReminderSettings::load(defaults).headsUpMinutes, c.expected);
    }
    Support::InMemoryUserDefaults defaults;
    auto fresh = CalendarReminderSettings::load(defaults);
    EXPECT_FALSE(fresh.isEnabled);
    EXPECT_EQ(fresh.overlayMinutes, 1);
    defaults.setInteger(CalendarReminderSettings::overlayMinutesKey, 0);
    EXPECT_EQ(CalendarReminderSettings::load(defaults).overlayMinutes, 0);
    defaults.setInteger(CalendarReminderSettings::overlayMinutesKey,
                        15); // a heads-up choice, not an overlay one
    EXPECT_EQ(CalendarReminderSettings::load(defaults).overlayMinutes, 1);
}

TEST(CalendarReminderSettings, SavesOffAsMinusOneAndReadsBackWhatItSaved) {
    Support::InMemoryUserDefaults defaults;
    CalendarReminderSettings settings;
    settings.isEnabled = true;
    settings.headsUpMinutes = std::nullopt;
    settings.overlayMinutes = 5;
    settings.excludedCalendarIDs = {"home", "birthdays"};
    settings.save(defaults);
    EXPECT_EQ(defaults.integer(CalendarReminderSettings::headsUpMinutesKey), -1);
    EXPECT_EQ(CalendarReminderSettings::load(defaults), settings);
    EXPECT_TRUE(settings.showsOverlay());
    EXPECT_FALSE(settings.showsHeadsUp());
    settings.headsUpMinutes = 10;
    EXPECT_TRUE(settings.showsHeadsUp());
    settings.overlayMinutes = 10;
    EXPECT_FALSE(settings.showsHeadsUp());
}

TEST(CalendarReminderLedger, KeepsAnEntryOnlyForTheStartItWasWrittenFor) {
    auto m = meeting("A", ten);
    CalendarReminderLedger ledger;
    ledger.markShown(CalendarReminderStage::headsUp, m);
    EXPECT_TRUE(ledger.entry(m).wasShown(CalendarReminderStage::headsUp));
    EXPECT_FALSE(ledger.entry(m).wasShown(CalendarReminderStage::overlay));
    auto moved = m;
    moved.start = at(10, 30);
    EXPECT_FALSE(ledger.entry(moved).headsUpShown);
    EXPECT_EQ(ledger.entry(moved).start, at(10, 30));
}

TEST(CalendarReminderLedger, ClearsASnoozeOnlyWhenItsOwnStageIsShown) {
    auto m = meeting("A", ten);
    CalendarReminderLedger ledger;
    ledger.snooze(CalendarReminderStage::headsUp, m, at(9, 55));
    ledger.markShown(CalendarReminderStage::overlay, m);
    EXPECT_EQ(ledger.entry(m).snoozedUntil, at(9, 55));
    ledger.markShown(CalendarReminderStage::headsUp, m);
    EXPECT_FALSE(ledger.entry(m).snoozedUntil);
    EXPECT_FALSE(ledger.entry(m).snoozedStage);
    ledger.dismiss(m);
    EXPECT_TRUE(ledger.entry(m).dismissed);
    ledger.forget({m.occurrenceKey});
    EXPECT_TRUE(ledger.entries.empty());
}

TEST(CalendarReminderLedger, PrunesEntriesOlderThanTwoDays) {
    CalendarReminderLedger ledger;
    auto old = meeting("old", ten - Support::seconds(172801));
    auto edge = meeting("edge", ten - Support::seconds(172800));
    ledger.markShown(CalendarReminderStage::headsUp, old);
    ledger.markShown(CalendarReminderStage::headsUp, edge);
    ledger.prune(ten);
    EXPECT_EQ(ledger.entries.size(), 1u);
    EXPECT_TRUE(ledger.entries.count(edge.occurrenceKey));
}

TEST(CalendarReminderLedger, RoundTripsThroughTheDefaultsAndTreatsUndecodableDataAsEmpty) {
    Support::InMemoryUserDefaults defaults;
    auto m = meeting("A", ten);
    CalendarReminderLedger ledger;
    ledger.markShown(CalendarReminderStage::headsUp, m);
    ledger.snooze(CalendarReminderStage::overlay, m, at(10, 1, 30));
    ledger.save(defaults);
    EXPECT_EQ(CalendarReminderLedger::load(defaults), ledger);

    const char* broken[] = {
        "not json",
        "[]",
        R"({"entries": []})",
        R"({"entries": {"k": {"headsUpShown": true}}})",
        R"({"entries": {"k": {"start": "2026-11-23T10:00:00Z", "snoozedStage": "later"}}})",
        R"({"entries": {"k": {"start": "2026-11-23T10:00:00Z", "dismissed": "yes"}}})"};
    for (const char* text : broken) {
        SCOPED_TRACE(text);
        defaults.setString(CalendarReminderLedger::defaultsKey, text);
        EXPECT_TRUE(CalendarReminderLedger::load(defaults).entries.empty());
    }
    defaults.setString(CalendarReminderLedger::defaultsKey,
                       R"({"entries": {"A|1": {"start": "2026-11-23T10:00:00Z", "overlayShown": true}}})");
    auto read = CalendarReminderLedger::load(defaults);
    ASSERT_EQ(read.entries.size(), 1u);
    EXPECT_TRUE(read.entries["A|1"].overlayShown);
    EXPECT_FALSE(read.entries["A|1"].headsUpShown);
}
