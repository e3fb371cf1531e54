// The kinds of post-recording processing, in order, with their raw values; and typed forms of the menu's
// processing notifications (UI/recording/ProcessingNotifications.h owns the names and user-info keys).
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/NotificationCenter.h"
#include "UI/recording/ProcessingNotifications.h"

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

void postProcessingStarted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                           ProcessingType type, bool waitingForModel);
void postProcessingCompleted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                             ProcessingType type, const std::optional<std::string>& error = std::nullopt);

} // namespace ProcessingNotifications
} // namespace UI
