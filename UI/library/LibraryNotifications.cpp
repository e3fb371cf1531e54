#include "UI/library/LibraryNotifications.h"

#include <charconv>

namespace UI::LibraryNotifications {

std::optional<Database::RecordingId> recordingId(const Support::Notification& notification) {
    auto text = notification.value(recordingIdKey);
    if (!text || text->empty()) {
        return std::nullopt;
    }
    Database::RecordingId id = 0;
    auto [end, ec] = std::from_chars(text->data(), text->data() + text->size(), id);
    if (ec != std::errc() || end != text->data() + text->size()) {
        return std::nullopt;
    }
    return id;
}

} // namespace UI::LibraryNotifications
