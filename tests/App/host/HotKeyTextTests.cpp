#include "App/host/HotKeyText.h"

#include <gtest/gtest.h>

namespace {

const Support::Date ten = Support::parseISO8601("2026-11-23T10:00:00Z").value();

UI::CalendarMeeting meeting(const std::string& title, Support::Date start, std::optional<std::string> notes) {
    return UI::CalendarMeeting{.title = title,
                               .start = start,
                               .end = start + std::chrono::minutes(30),
                               .link =
                                   UI::MeetingLink{UI::MeetingService::zoom,
                                                   *Support::Url::parse("https://zoom.us/j/1"), std::nullopt},
                               .notesExcerpt = std::move(notes)};
}

} // namespace

TEST(HotKeyText, NotesShowTheRecordedMeetingElseTheFirstOneNotYetOver) {
    const std::vector<UI::CalendarMeeting> upcoming = {
        meeting("Standup", ten - std::chrono::hours(1), "old"),
        meeting("Design review", ten + std::chrono::minutes(5), "Agenda: the new tray"),
        meeting("1:1", ten + std::chrono::hours(2), std::nullopt)};
    struct Case {
        const char* name;
        std::optional<UI::CalendarMeeting> recording;
        Support::Date now;
        std::string expected;
    } cases[] = {
        {"the meeting being recorded wins", meeting("Board", ten, "Numbers"), ten,
         "Notes for Board:\nNumbers"},
        {"a finished meeting is skipped", std::nullopt, ten,
         "Notes for Design review:\nAgenda: the new tray"},
        {"a meeting without notes says so", std::nullopt, ten + std::chrono::hours(1),
         "Notes for 1:1: the invitation has no notes."},
        {"nothing left today", std::nullopt, ten + std::chrono::hours(5),
         "Notes: no meeting now or coming up."},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(App::HotKeyText::notes(c.recording, upcoming, c.now), c.expected) << c.name;
    }
}

TEST(HotKeyText, RecapSaysWhatIsRecordedAndForHowLong) {
    auto recording = UI::RecordingPhase::recording(ten);
    EXPECT_EQ(App::HotKeyText::recap(recording, meeting("Board", ten, std::nullopt),
                                     ten + std::chrono::seconds(125)),
              "Live recap: recording “Board” for 2:05.");
    EXPECT_EQ(App::HotKeyText::recap(recording, std::nullopt, ten - std::chrono::seconds(3)),
              "Live recap: recording this call for 0:00.")
        << "a clock set back never shows a negative time";
    EXPECT_EQ(App::HotKeyText::recap(UI::RecordingPhase{}, std::nullopt, ten), "Live recap: not recording.");
}
