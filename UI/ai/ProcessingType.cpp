#include "UI/ai/ProcessingType.h"

namespace UI {

std::string_view rawValue(ProcessingType type) {
    switch (type) {
    case ProcessingType::transcription:
        return "transcription";
    case ProcessingType::summary:
        return "summary";
    case ProcessingType::actionItems:
        return "actionItems";
    case ProcessingType::indexing:
        return "indexing";
    case ProcessingType::slides:
        return "slides";
    case ProcessingType::video:
        return "video";
    }
    return "transcription";
}

std::optional<ProcessingType> processingTypeFromRawValue(std::string_view raw) {
    for (auto type : allProcessingTypes) {
        if (rawValue(type) == raw) {
            return type;
        }
    }
    return std::nullopt;
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
