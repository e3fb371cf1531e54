// The in-process notifications by which background work tells the menu what it is doing: processing of a
// recording started or completed, the work queues changed, the speech-model download and video indexing
// advanced. Posted by the engines' hosts and the AI jobs; observed by `MenuBarController`.
//
// User info keys: "recordingId" (decimal), "type" (a processing kind key: "transcription", "summary",
// "actionItems", "indexing", "slides", "video"), "waitingForModel" ("true"/"false"), "error" (present when
// the work failed), "queuedTranscriptions" and "queuedAIGenerations" (decimal counts), "progress" (a
// fraction 0…1 in decimal; absent when the work ended).
#pragma once

#include "Support/NotificationCenter.h"

#include <cstdint>
#include <optional>
#include <string>

namespace UI::ProcessingNotifications {

inline constexpr const char* processingStarted = "Vellmora.processingStarted";
inline constexpr const char* processingCompleted = "Vellmora.processingCompleted";
inline constexpr const char* processingQueueChanged = "Vellmora.processingQueueChanged";
inline constexpr const char* speechModelDownloadProgress = "Vellmora.speechModelDownloadProgress";
inline constexpr const char* videoIndexingProgress = "Vellmora.videoIndexingProgress";

void postProcessingStarted(Support::NotificationCenter& center, std::int64_t recordingId,
                           const std::string& type, bool waitingForModel);
void postProcessingCompleted(Support::NotificationCenter& center, std::int64_t recordingId,
                             const std::string& type, const std::optional<std::string>& error = std::nullopt);
void postQueueChanged(Support::NotificationCenter& center, int queuedTranscriptions, int queuedAIGenerations);
/// `progress` absent: the download or indexing is over.
void postSpeechModelDownloadProgress(Support::NotificationCenter& center, std::optional<double> progress);
void postVideoIndexingProgress(Support::NotificationCenter& center, std::optional<double> progress);

/// The "progress" of a notification, when present and a number.
std::optional<double> progressOf(const Support::Notification& notification);

} // namespace UI::ProcessingNotifications
