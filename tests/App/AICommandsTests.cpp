// The `ai`, `chat` and `markdown` commands, run in-process against temporary folders and a loopback
// provider.
#include "App/CommandLineRun.h"
#include "Fakes/FakeAIProvider.h"

#include "App/Cli.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Support/Files.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>
#include <sys/stat.h>

namespace {

struct CommandLine {
    std::filesystem::path home;
    CommandLine() {
        home = std::filesystem::temp_directory_path() /
               ("vellmora-ai-cli-" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(home);
        ::setenv("VELLMORA_CONFIG_HOME", (home / "config").c_str(), 1);
        ::setenv("VELLMORA_DATA_HOME", (home / "data").c_str(), 1);
        ::setenv("VELLMORA_CACHE_HOME", (home / "cache").c_str(), 1);
    }
    ~CommandLine() { std::filesystem::remove_all(home); }

    using Result = CliTest::CommandResult;
    Result run(std::vector<std::string> args, const std::string& input = "") {
        return CliTest::runVellmora(std::move(args), input);
    }
};

} // namespace

TEST(MarkdownCommand, PrintsEachBlockAsJson) {
    CommandLine cli;
    auto r = cli.run({"markdown", "blocks"}, "## Plan ##\n\n  3. Ship it\n- - -\nDone\nreally");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(nlohmann::json::parse(r.out), nlohmann::json::parse(R"([
        {"kind": "heading", "text": "Plan", "level": 2, "indent": null, "number": null},
        {"kind": "listItem", "text": "Ship it", "level": null, "indent": 2, "number": 3},
        {"kind": "divider", "text": "", "level": null, "indent": null, "number": null},
        {"kind": "paragraph", "text": "Done really", "level": null, "indent": null, "number": null}])"));
    EXPECT_EQ(r.out.find("\"kind\""), r.out.find('{') + 6) << "kind comes first";
}

TEST(AICommand, ConfiguresAProviderAndKeepsTheKeyOutOfSettingsAndOutput) {
    CommandLine cli;
    auto r = cli.run({"ai", "configure", "--provider", "openai", "--base-url", "http://127.0.0.1:8080",
                      "--model", "llama-3", "--api-key-file", "-"},
                     "  sk-secret-value \n");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("sk-secret"), std::string::npos);
    EXPECT_NE(r.out.find("Status: Ready: llama-3"), std::string::npos) << r.out;

    const auto keyFile = cli.home / "config" / "ai-keys.json";
    struct stat info {};
    ASSERT_EQ(::stat(keyFile.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600);
    EXPECT_EQ(nlohmann::json::parse(*Support::Files::readIfExists(keyFile))["openai"], "sk-secret-value");
    EXPECT_EQ(
        Support::Files::readIfExists(cli.home / "config" / "defaults.json").value_or("").find("sk-secret"),
        std::string::npos);

    auto status = cli.run({"ai", "status", "--json"});
    ASSERT_EQ(status.status, 0) << status.err;
    auto json = nlohmann::json::parse(status.out);
    EXPECT_EQ(json["provider"], "openai");
    EXPECT_EQ(json["hasAPIKey"], true);
    EXPECT_EQ(status.out.find("sk-secret"), std::string::npos);

    EXPECT_EQ(cli.run({"ai", "configure", "--provider", "claude"}).status, 2);
    EXPECT_EQ(cli.run({"ai", "configure", "--provider", "none", "--model", "x"}).status, 2);
}

TEST(AICommand, TestsKeysAndFailsWithTheResultText) {
    CommandLine cli;
    Fakes::FakeAIProvider provider;
    provider.setModelsAnswer(401, "{}");
    auto bad = cli.run({"ai", "test", "--base-url", provider.baseURL(), "--api-key", "wrong"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("Invalid API key (401 Unauthorized)"), std::string::npos) << bad.err;

    provider.setModelsAnswer(200, R"({"models":[{"name":"models/gemini-x"}]})");
    auto good = cli.run({"ai", "test", "--gemini", " AIza ", "--gemini-base-url", provider.baseURL()});
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_NE(good.out.find("Connection successful (1 model available)"), std::string::npos);
    EXPECT_NE(good.out.find("gemini-x"), std::string::npos);
    EXPECT_EQ(provider.requests().back().header("x-goog-api-key"), "AIza");
}

TEST(AICommand, WritesATitleAndAnswersAChatQuestionFromTheLibrary) {
    CommandLine cli;
    Fakes::FakeAIProvider provider;
    Database::RecordingId id = 0;
    {
        Database::SqliteDatabase database;
        Database::DatabaseManager::Recording r;
        r.title = "Recording";
        id = database.insertRecording(r);
        database.saveTranscript(id, {{0, 0, 12, 15, "The launch moves to March.", "Ana", false}});
    }
    ASSERT_EQ(cli.run({"ai", "configure", "--provider", "openai", "--base-url", provider.baseURL(),
                       "--api-key", "k"})
                  .status,
              0);
    provider.enqueue({{"Launch ", "Date Moves To March"}});
    auto title = cli.run({"ai", "title", std::to_string(id)});
    ASSERT_EQ(title.status, 0) << title.err;
    EXPECT_NE(title.out.find("Launch Date Moves To March"), std::string::npos);
    EXPECT_NE(title.err.find("Saved the title: Launch Date Moves To March"), std::string::npos) << title.err;
    {
        Database::SqliteDatabase database;
        EXPECT_EQ(database.recording(id)->title, "Launch Date Moves To March");
    }

    provider.enqueue({{"In March [1]."}});
    auto chat = cli.run({"chat", "--recording", std::to_string(id), "When", "is", "the", "launch?"});
    ASSERT_EQ(chat.status, 0) << chat.err;
    EXPECT_NE(chat.out.find("In March [1]."), std::string::npos);
    EXPECT_NE(chat.out.find("[1] Launch Date Moves To March (recording " + std::to_string(id) +
                            ", 0:12) Ana: The launch"),
              std::string::npos)
        << chat.out;

    EXPECT_EQ(cli.run({"ai", "summary", "999"}).status, 1);
    EXPECT_EQ(cli.run({"ai", "summary", "abc"}).status, 2);
}
