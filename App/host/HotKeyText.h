// What the host shows for the two global hot keys, which open panels on desktops that have them: the notes
// key shows the notes of the meeting being recorded (else the one in progress, else the next one today),
// the live recap key the recording's state and running time. Pure, for the terminal and the tray host.
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/recording/RecordingPhase.h"

#include <optional>
#include <string>
#include <vector>

namespace App::HotKeyText {

std::string notes(const std::optional<UI::CalendarMeeting>& recordingMeeting,
                  const std::vector<UI::CalendarMeeting>& upcoming, Support::Date now);

std::string recap(const UI::RecordingPhase& phase, const std::optional<UI::CalendarMeeting>& recordingMeeting,
                  Support::Date now);

} // namespace App::HotKeyText
