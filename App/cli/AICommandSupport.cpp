#include "App/cli/AICommandSupport.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Platform/Linux/CurlHttpClient.h"

#include <charconv>

namespace App {

AICommandEnvironment::AICommandEnvironment(CliContext& context)
    : context_(context), loop_(std::make_unique<Support::MainLoop>()),
      scheduler_(std::make_unique<Support::RealScheduler>(*loop_)),
      http_(std::make_unique<Platform::CurlHttpClient>()) {}

AICommandEnvironment::~AICommandEnvironment() = default;

Intelligence::AIService& AICommandEnvironment::ai() {
    if (!ai_) {
        ai_ = Intelligence::AIService::fromUserDefaults(*http_, *scheduler_, context_.defaults());
    }
    return *ai_;
}

Database::DatabaseManager& AICommandEnvironment::database() {
    if (!database_) {
        database_ = std::make_unique<Database::SqliteDatabase>();
    }
    return *database_;
}

Database::RecordingId parseRecordingId(const std::string& text) {
    Database::RecordingId id = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (ec != std::errc() || end != text.data() + text.size() || text.empty()) {
        throw UsageError("not a recording id: " + text);
    }
    return id;
}

} // namespace App
