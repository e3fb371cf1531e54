// The embedded default behind `vellmora run --demo`: a calendar generated relative to the start time and a
// small library, written into the demo folder (never the user's). The calendar holds a Zoom meeting whose
// overlay is due within the first minute, one meeting in progress, one later today and one tomorrow; the
// library holds a few recordings with transcripts, summaries and action items.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Time.h"
#include "Support/UserDefaults.h"

#include <filesystem>
#include <optional>
#include <string>

namespace App::DemoData {

/// The iCalendar text of the demo calendar for a start at `now`. The Zoom meeting starts `meetingIn` from
/// now, or by default on the next whole minute at least a minute away.
std::string calendarText(Support::Date now, std::optional<Support::Duration> meetingIn = std::nullopt);

/// Writes the calendar as a vdir folder under `folder` and points the reminder settings at it.
void installCalendar(const std::filesystem::path& folder, Support::Date now, Support::UserDefaults& defaults,
                     std::optional<Support::Duration> meetingIn = std::nullopt);

/// Adds the demo recordings (dated before `now`) to an empty library; does nothing to a library that has any.
void installLibrary(Database::DatabaseManager& database, Support::Date now);

} // namespace App::DemoData
