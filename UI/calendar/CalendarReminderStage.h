// The two moments at which a meeting is reminded: a quiet heads-up notification some minutes before, and
// the full overlay card shortly before the start. The raw values ("headsUp", "overlay") are written to the
// ledger and to command output, so they never change.
#pragma once

#include <optional>
#include <string_view>

namespace UI {

enum class CalendarReminderStage { headsUp, overlay };

/// "headsUp", "overlay".
std::string_view rawValue(CalendarReminderStage stage);
/// The stage for a raw value; nothing for any other text.
std::optional<CalendarReminderStage> calendarReminderStageFromRaw(std::string_view raw);

} // namespace UI
