// What the `ai` and `chat` commands share: a main loop, the libcurl client, the AI engine built from the
// user's settings, the recordings store, and a way to run a task to its end.
#pragma once

#include "App/Cli.h"
#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Platform/HttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Task.h"

#include <memory>

namespace App {

class AICommandEnvironment {
public:
    explicit AICommandEnvironment(CliContext& context);
    ~AICommandEnvironment();

    Support::MainLoop& loop() { return *loop_; }
    Platform::HttpClient& http() { return *http_; }
    Support::Scheduler& scheduler() { return *scheduler_; }
    /// The engine from the user's defaults and key file.
    Intelligence::AIService& ai();
    /// The library in the data folder (created when missing).
    Database::DatabaseManager& database();

    /// Runs the loop until `task` is done; returns its value or rethrows its error.
    template <typename T> T wait(const Support::Task<T>& task) {
        while (!task.isDone()) {
            loop_->runOne(100);
        }
        return task.get();
    }

private:
    CliContext& context_;
    std::unique_ptr<Support::MainLoop> loop_;
    std::unique_ptr<Support::Scheduler> scheduler_;
    std::unique_ptr<Platform::HttpClient> http_;
    std::unique_ptr<Intelligence::AIService> ai_;
    std::unique_ptr<Database::DatabaseManager> database_;
};

/// The recording id argument as a number; a usage error otherwise.
Database::RecordingId parseRecordingId(const std::string& text);

} // namespace App
