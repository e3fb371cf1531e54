#include "App/host/HotKeyText.h"

#include "UI/recording/MenuBarController.h"

namespace App::HotKeyText {

std::string notes(const std::optional<UI::CalendarMeeting>& recordingMeeting,
                  const std::vector<UI::CalendarMeeting>& upcoming, Support::Date now) {
    const UI::CalendarMeeting* meeting = recordingMeeting ? &*recordingMeeting : nullptr;
    for (const auto& m : upcoming) {
        if (!meeting && m.end > now) {
            meeting = &m; // in progress, or the next one: the list is in start order
        }
    }
    if (!meeting) {
        return "Notes: no meeting now or coming up.";
    }
    if (!meeting->notesExcerpt || meeting->notesExcerpt->empty()) {
        return "Notes for " + meeting->displayTitle() + ": the invitation has no notes.";
    }
    return "Notes for " + meeting->displayTitle() + ":\n" + *meeting->notesExcerpt;
}

std::string recap(const UI::RecordingPhase& phase, const std::optional<UI::CalendarMeeting>& recordingMeeting,
                  Support::Date now) {
    if (!phase.isRecording()) {
        return phase.isIdle() ? "Live recap: not recording."
                              : "Live recap: the recording is starting or being saved.";
    }
    std::string what = recordingMeeting ? "“" + recordingMeeting->displayTitle() + "”" : "this call";
    auto started = phase.startedAt().value_or(now);
    return "Live recap: recording " + what + " for " +
           UI::MenuBarController::durationText(std::max(Support::Duration::zero(), now - started)) + ".";
}

} // namespace App::HotKeyText
