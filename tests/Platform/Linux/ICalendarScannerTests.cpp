#include "Platform/Linux/ICalendarScanner.h"

#include <gtest/gtest.h>

#include <stdexcept>

using Platform::ICalendarEventBlock;
using Platform::ICalendarScanner;

TEST(ICalendarScanner, IndexesEventsAndZonesByByteRangeWithTheDaysThatPlaceThem) {
    std::string text = "\xEF\xBB\xBF"
                       "BEGIN:VCALENDAR\nX-WR-CALNAME:Team\nBEGIN:VTIMEZONE\nTZID:X\nEND:VTIMEZONE\n"
                       "BEGIN:VEVENT\r\nDTSTART;TZID=\"A:B\":20261127T090000\r\nDURATION:P1DT2H\r\n"
                       "RRULE:FREQ=DAILY;UNTIL=20261201T000000Z\r\nEND:VEVENT\r\n"
                       "BEGIN:VEVENT\nRECURRENCE-ID:20261128T090000Z\nDTSTART:20261130T090000Z\nEND:VEVENT\n"
                       "END:VCALENDAR\n";
    auto file = ICalendarScanner::scan(text);
    EXPECT_EQ(file.calendarName, "Team");
    ASSERT_EQ(file.timezones.size(), 1u);
    ASSERT_EQ(file.events.size(), 2u);
    const auto& series = file.events[0];
    EXPECT_EQ(text.substr(series.begin, 13), "BEGIN:VEVENT\r");
    EXPECT_EQ(text.substr(series.end - 12, 12), "END:VEVENT\r\n");
    EXPECT_EQ(series.startDay, ICalendarScanner::daysFromCivil(2026, 11, 27));
    EXPECT_EQ(series.durationDays, 2);
    EXPECT_EQ(series.untilDay, ICalendarScanner::daysFromCivil(2026, 12, 1));
    EXPECT_TRUE(file.events[1].isOverride);
}

TEST(ICalendarScanner, RejectsWhatIsNotACalendarWithTheLineThatSaysSo) {
    struct Case {
        std::string text;
        std::string problem;
    } cases[] = {
        {"<html>", "no BEGIN:VCALENDAR"},
        {"BEGIN:VEVENT\nEND:VEVENT\n", "line 1: expected BEGIN:VCALENDAR"},
        {"BEGIN:VCALENDAR\nBEGIN:VEVENT\nEND:VCALENDAR\n", "line 3: END:VCALENDAR where END:VEVENT belongs"},
        {"BEGIN:VCALENDAR\n", "the file ends inside VCALENDAR"},
    };
    for (const auto& c : cases) {
        try {
            ICalendarScanner::scan(c.text);
            ADD_FAILURE() << c.text;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()).rfind(c.problem, 0), 0u) << e.what();
        }
    }
}

TEST(ICalendarScanner, ReadsDurationsInWholeDaysAndRefusesWhatIsNoDuration) {
    EXPECT_EQ(ICalendarScanner::durationDaysOf("PT30M"), 1);
    EXPECT_EQ(ICalendarScanner::durationDaysOf("P2W"), 14);
    EXPECT_EQ(ICalendarScanner::durationDaysOf("-P1D"), 0);
    EXPECT_EQ(ICalendarScanner::durationDaysOf("P99999999W"), 699999993);
    EXPECT_EQ(ICalendarScanner::durationDaysOf("P999999999W"), ICalendarEventBlock::unknownDay);
    EXPECT_EQ(ICalendarScanner::durationDaysOf("1H"), ICalendarEventBlock::unknownDay);
}

TEST(ICalendarScanner, KeepsABlockAsACandidateWheneverItMayOccurInTheDays) {
    const std::int64_t from = 100, to = 102;
    auto block = [](std::int64_t start) {
        ICalendarEventBlock b;
        b.startDay = start;
        return b;
    };
    auto longEvent = block(90);
    longEvent.hasDuration = true;
    longEvent.durationDays = 15;
    auto endedSeries = block(10);
    endedSeries.hasRule = true;
    endedSeries.untilDay = 50;
    auto openSeries = block(10);
    openSeries.hasRule = true;
    openSeries.untilDay = INT64_MAX;
    auto movedIn = block(101);
    movedIn.isOverride = true;
    movedIn.recurrenceDay = 20;
    EXPECT_TRUE(block(101).mayOverlap(from, to));
    EXPECT_FALSE(block(99).mayOverlap(from, to));
    EXPECT_FALSE(block(103).mayOverlap(from, to));
    EXPECT_TRUE(block(ICalendarEventBlock::unknownDay).mayOverlap(from, to));
    EXPECT_TRUE(longEvent.mayOverlap(from, to));
    EXPECT_FALSE(endedSeries.mayOverlap(from, to));
    EXPECT_TRUE(openSeries.mayOverlap(from, to));
    EXPECT_TRUE(movedIn.mayOverlap(from, to));
}
