#include "Database/DatabaseManager.h"

namespace Database {

std::string changeKindName(DatabaseManager::ChangeKind kind) {
    using K = DatabaseManager::ChangeKind;
    switch (kind) {
    case K::recordingAdded:
        return "recordingAdded";
    case K::recordingUpdated:
        return "recordingUpdated";
    case K::recordingDeleted:
        return "recordingDeleted";
    case K::transcriptChanged:
        return "transcriptChanged";
    case K::topicsChanged:
        return "topicsChanged";
    case K::actionItemsChanged:
        return "actionItemsChanged";
    case K::slidesChanged:
        return "slidesChanged";
    case K::screensChanged:
        return "screensChanged";
    case K::frameIndexChanged:
        return "frameIndexChanged";
    }
    return "unknown";
}

Support::Subscription postChanges(DatabaseManager& database, Support::NotificationCenter& center) {
    return database.changed.connect([&center](const DatabaseManager::Change& change) {
        center.postFromAnyThread(
            databaseDidChangeNotification,
            {{"recordingId", std::to_string(change.recordingId)}, {"type", changeKindName(change.kind)}});
    });
}

} // namespace Database
