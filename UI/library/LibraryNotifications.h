// The in-process notifications the library posts. "Vellmora.recordingDidDelete" tells everyone holding work
// or files of a recording (AI jobs, slides, open windows) that it is gone; its user-info key "recordingId"
// holds the id in decimal.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/NotificationCenter.h"

#include <optional>
#include <string>

namespace UI::LibraryNotifications {

inline constexpr const char* recordingDidDelete = "Vellmora.recordingDidDelete";
inline constexpr const char* recordingIdKey = "recordingId";

inline void postRecordingDeleted(Support::NotificationCenter& center, Database::RecordingId recordingId) {
    center.post(recordingDidDelete, {{recordingIdKey, std::to_string(recordingId)}});
}

/// The recording id of such a notification, or nothing when it is missing or not a number.
std::optional<Database::RecordingId> recordingId(const Support::Notification& notification);

} // namespace UI::LibraryNotifications
