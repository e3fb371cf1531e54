#include "UI/ai/ProcessingType.h"

#include "Support/EnumNames.h"

namespace UI {

constexpr Support::EnumName<ProcessingType> processingTypeNames[] = {
    {ProcessingType::transcription, "transcription"},
    {ProcessingType::summary, "summary"},
    {ProcessingType::actionItems, "actionItems"},
    {ProcessingType::indexing, "indexing"},
    {ProcessingType::slides, "slides"},
    {ProcessingType::video, "video"},
};

std::string_view rawValue(ProcessingType type) {
    return Support::enumName(processingTypeNames, type);
}

std::optional<ProcessingType> processingTypeFromRawValue(std::string_view raw) {
    return Support::enumValue(processingTypeNames, raw);
}

namespace ProcessingNotifications {

void postProcessingStarted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                           ProcessingType type, bool waitingForModel) {
    postProcessingStarted(center, recordingId, std::string(rawValue(type)), waitingForModel);
}

void postProcessingCompleted(Support::NotificationCenter& center, Database::RecordingId recordingId,
                             ProcessingType type, const std::optional<std::string>& error) {
    postProcessingCompleted(center, recordingId, std::string(rawValue(type)), error);
}

} // namespace ProcessingNotifications
} // namespace UI
