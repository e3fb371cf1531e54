#include "UI/recording/ProcessingNotifications.h"

#include <charconv>
#include <fmt/format.h>

namespace UI::ProcessingNotifications {

namespace {
Support::UserInfo withProgress(std::optional<double> progress) {
    Support::UserInfo info;
    if (progress) {
        info["progress"] = fmt::format("{}", *progress);
    }
    return info;
}
} // namespace

void postProcessingStarted(Support::NotificationCenter& center, std::int64_t recordingId,
                           const std::string& type, bool waitingForModel) {
    center.post(processingStarted, {{"recordingId", std::to_string(recordingId)},
                                    {"type", type},
                                    {"waitingForModel", waitingForModel ? "true" : "false"}});
}

void postProcessingCompleted(Support::NotificationCenter& center, std::int64_t recordingId,
                             const std::string& type, const std::optional<std::string>& error) {
    Support::UserInfo info{{"recordingId", std::to_string(recordingId)}, {"type", type}};
    if (error) {
        info["error"] = *error;
    }
    center.post(processingCompleted, std::move(info));
}

void postQueueChanged(Support::NotificationCenter& center, int queuedTranscriptions,
                      int queuedAIGenerations) {
    center.post(processingQueueChanged, {{"queuedTranscriptions", std::to_string(queuedTranscriptions)},
                                         {"queuedAIGenerations", std::to_string(queuedAIGenerations)}});
}

void postSpeechModelDownloadProgress(Support::NotificationCenter& center, std::optional<double> progress) {
    center.post(speechModelDownloadProgress, withProgress(progress));
}

void postVideoIndexingProgress(Support::NotificationCenter& center, std::optional<double> progress) {
    center.post(videoIndexingProgress, withProgress(progress));
}

std::optional<double> progressOf(const Support::Notification& notification) {
    auto text = notification.value("progress");
    if (!text) {
        return std::nullopt;
    }
    double value = 0;
    auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    if (error != std::errc() || end != text->data() + text->size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace UI::ProcessingNotifications
