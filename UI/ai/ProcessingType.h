// The kinds of post-recording processing, in order, with their raw values; and the in-process
// notifications that tell the menu bar (and anyone else) that processing of a recording started or ended.
// "Vellmora.processingStarted" carries the user-info keys "recordingId" (decimal), "type" (the raw value)
// and "waitingForModel" ("true" or "false"); "Vellmora.processingCompleted" carries "recordingId", "type"
// and, after a failure, "error".
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/NotificationCenter.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace UI {

enum class ProcessingType { transcription, summary, actionItems, indexing, slides, video };

inline constexpr std::array<ProcessingType, 6> allProcessingTypes = {
    ProcessingType::transcription, ProcessingType::summary, ProcessingType::actionItems,
    ProcessingType::indexing,      ProcessingType::slides,  ProcessingType::video};

std::string_view rawValue(ProcessingType type);
std::optional<ProcessingType> processingTypeFromRawValue(std::string_view raw);

namespace ProcessingNotifications {

inline constexpr const char* processingStarted = "Vellmora.processingStarted";
inline constexpr const char* processingCompleted = "Vellmora.processingCompleted";

void postProcessingStarted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                           ProcessingType type, bool waitingForModel);
void postProcessingCompleted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                             ProcessingType type, const std::optional<std::string>& error = std::nullopt);

} // namespace ProcessingNotifications
} // namespace UI
