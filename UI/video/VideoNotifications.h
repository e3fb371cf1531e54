// The in-process notifications the video and slides components post.
//
// - "Vellmora.recordingContentDidUpdate": something shown in a recording's detail view changed outside the
//   view. User info: "recordingId" (decimal) and "type": "slides" (slides or screens were stored), "video"
//   (the screen video file was deleted) or "frameIndex" (the frame-search index was dropped).
// - "Vellmora.processingCompleted" (the menu's processing notification): a kind of post-recording
//   processing ended for a recording, so the menu bar stops showing it. User info: "recordingId", "type"
//   (the processing type's raw value, "slides" here) and, when the work failed, "error" in words.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/NotificationCenter.h"
#include "UI/recording/ProcessingNotifications.h"

#include <optional>
#include <string>

namespace UI::VideoNotifications {

inline constexpr const char* recordingContentDidUpdate = "Vellmora.recordingContentDidUpdate";
inline constexpr const char* processingDidComplete = ProcessingNotifications::processingCompleted;

inline constexpr const char* recordingIdKey = "recordingId";
inline constexpr const char* typeKey = "type";
inline constexpr const char* errorKey = "error";

inline constexpr const char* slidesProcessingType = "slides";
inline constexpr const char* videoContentType = "video";
inline constexpr const char* frameIndexContentType = "frameIndex";

inline void postContentUpdated(Support::NotificationCenter& center, Database::RecordingId recordingId,
                               const std::string& type) {
    center.post(recordingContentDidUpdate, {{recordingIdKey, std::to_string(recordingId)}, {typeKey, type}});
}

inline void postProcessingCompleted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                                    const std::string& type, const std::optional<std::string>& error) {
    Support::UserInfo info{{recordingIdKey, std::to_string(recordingId)}, {typeKey, type}};
    if (error) {
        info[errorKey] = *error;
    }
    center.post(processingDidComplete, std::move(info));
}

} // namespace UI::VideoNotifications
