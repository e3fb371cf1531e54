#include "App/cli/LibraryCliSupport.h"

#include "Database/TranscriptTextFormatter.h"
#include "Support/Files.h"

#include <fmt/format.h>

#include <filesystem>
#include <iterator>
#include <system_error>

namespace App::LibraryCli {

std::unique_ptr<Database::SqliteDatabase> openLibrary(const std::string& path, bool forWriting) {
    const std::filesystem::path file =
        path.empty() ? Database::SqliteDatabase::defaultPath() : std::filesystem::path(path);
    std::error_code ec;
    if (!forWriting) {
        if (!std::filesystem::exists(file, ec)) {
            return nullptr;
        }
        return std::make_unique<Database::SqliteDatabase>(
            file, Database::SqliteDatabase::Options{Database::SqliteDatabase::Mode::readOnly, std::nullopt});
    }
    return std::make_unique<Database::SqliteDatabase>(file);
}

Database::DatabaseManager::Recording requireRecording(Database::DatabaseManager* db,
                                                      Database::RecordingId id) {
    if (db) {
        if (auto r = db->recording(id)) {
            return *r;
        }
    }
    throw CommandFailed(fmt::format("There is no recording with the id {}.", id));
}

std::string readInput(CliContext& context, const std::string& file) {
    if (file.empty() || file == "-") {
        return std::string(std::istreambuf_iterator<char>(context.in()), std::istreambuf_iterator<char>());
    }
    try {
        auto contents = Support::Files::readIfExists(file);
        if (!contents) {
            throw UsageError(fmt::format("There is no file {}.", file));
        }
        return *contents;
    } catch (const std::system_error& e) {
        throw UsageError(fmt::format("{} couldn't be read: {}", file, e.code().message()));
    }
}

nlohmann::json recordingJson(const Database::DatabaseManager::Recording& r) {
    nlohmann::json j{{"id", r.id},
                     {"title", r.title},
                     {"startDate", Support::formatISO8601(r.startDate)},
                     {"duration", r.duration},
                     {"isFavorite", r.isFavorite},
                     {"hasTranscript", r.hasTranscript}};
    if (r.notes) {
        j["notes"] = *r.notes;
    }
    if (r.summary) {
        j["summary"] = *r.summary;
    }
    if (r.videoFileURL) {
        j["videoFile"] = r.videoFileURL->string();
    }
    if (!r.fileURL.empty()) {
        j["audioFile"] = r.fileURL.string();
    }
    if (!r.tracks.empty()) {
        j["tracks"] = nlohmann::json::array();
        for (const auto& t : r.tracks) {
            j["tracks"].push_back({{"file", t.file.string()},
                                   {"source", t.isMicrophone ? "microphone" : "call"},
                                   {"offset", t.offset}});
        }
    }
    return j;
}

std::string durationText(double seconds) {
    return Database::TranscriptTextFormatter::timestamp(seconds);
}

} // namespace App::LibraryCli
