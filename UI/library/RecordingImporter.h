// Reads a recording written as JSON, so that a library can be filled without a recorder (the command
// line's `library import`, the demo data, tests):
//
//   {"title": "Weekly sync", "startDate": "2026-11-20T15:00:00Z", "duration": 1800,
//    "notes": "...", "isFavorite": false, "summary": "...",
//    "segments": [{"start": 5.0, "end": 7.5, "text": "Hi", "speaker": "Ana", "isFromMicrophone": false}]}
//
// "title" and "startDate" are required; "duration" defaults to the end of the last segment; in a segment
// "start" and "text" are required. Anything else that does not fit is an `ImportError` naming the field,
// and nothing is stored.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Errors.h"

#include <string_view>
#include <vector>

namespace UI {

class ImportError : public Support::UserFacingError {
public:
    using Support::UserFacingError::UserFacingError;
};

struct ImportedRecording {
    Database::DatabaseManager::Recording recording;
    std::vector<Database::DatabaseManager::TranscriptSegment> segments;
};

struct RecordingImporter {
    /// Parses one recording. Throws `ImportError`.
    static ImportedRecording parse(std::string_view json);

    /// Parses a JSON array of segments (the "segments" shape). Throws `ImportError`.
    static std::vector<Database::DatabaseManager::TranscriptSegment> parseSegments(std::string_view json);

    /// Stores the recording and its transcript; returns the new id.
    static Database::RecordingId store(Database::DatabaseManager& database,
                                       const ImportedRecording& imported);
};

} // namespace UI
