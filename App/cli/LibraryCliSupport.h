// Helpers shared by the library, transcript and clean commands: opening the recordings store named by
// `--database` (default: library.sqlite in the data folder), reading a file or stdin, and the JSON form of
// a recording.
#pragma once

// CliContext holds a UserDefaults: its full type must be known before App/Cli.h.
#include "Support/UserDefaults.h"

#include "App/Cli.h"
#include "Database/Sqlite/SqliteDatabase.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string>

namespace App::LibraryCli {

/// The store at `path` (empty: the default file). For reading, a missing file gives nothing (an empty
/// library) and is not created; for writing it is created.
std::unique_ptr<Database::SqliteDatabase> openLibrary(const std::string& path, bool forWriting);

/// The recording with `id`, or `CommandFailed` naming it.
Database::DatabaseManager::Recording requireRecording(Database::DatabaseManager* db,
                                                      Database::RecordingId id);

/// The whole of FILE, or of stdin when FILE is empty or "-". A file that cannot be read is a `UsageError`.
std::string readInput(CliContext& context, const std::string& file);

nlohmann::json recordingJson(const Database::DatabaseManager::Recording& r);

/// "1:02:05" or "4:07".
std::string durationText(double seconds);

} // namespace App::LibraryCli
