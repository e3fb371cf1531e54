// `vellmora video` and `vellmora slides` against a real library in a temporary data folder: what the sweep
// deletes (only screen videos older than the retention, never audio), the refusals in words, and the orphan
// sweep of picture folders.
#include "App/Cli.h"
#include "App/CommandLineRun.h"
#include "Database/Sqlite/SqliteDatabase.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using CliTest::CommandResult;

struct VideoCommands : ::testing::Test {
    fs::path dir;
    Database::RecordingId oldId = 0;
    Database::RecordingId recentId = 0;

    VideoCommands() {
        std::random_device rd;
        dir = fs::temp_directory_path() / ("vellmora-video-cli-" + std::to_string(rd()));
        fs::create_directories(dir / "config");
        fs::create_directories(dir / "data" / "Recordings");
        std::ofstream(dir / "config" / "defaults.json") << R"({"video.retention": 2})"; // 30 days
        ::setenv("VELLMORA_DATA_HOME", (dir / "data").c_str(), 1);
        Database::SqliteDatabase database;
        auto now = Support::systemNow();
        oldId = database.insertRecording(recording("Kick-off", now - std::chrono::hours(24 * 40), 1234));
        recentId = database.insertRecording(recording("Retro", now - std::chrono::hours(24 * 2), 5000));
    }
    ~VideoCommands() override {
        ::unsetenv("VELLMORA_DATA_HOME");
        fs::remove_all(dir);
    }

    Database::DatabaseManager::Recording recording(const std::string& title, Support::Date start,
                                                   int videoBytes) {
        Database::DatabaseManager::Recording r;
        r.title = title;
        r.startDate = start;
        r.duration = 600;
        r.fileURL = dir / "data" / "Recordings" / (title + ".wav");
        r.videoFileURL = dir / "data" / "Recordings" / (title + ".mp4");
        std::ofstream(r.fileURL) << "audio";
        std::ofstream(*r.videoFileURL) << std::string(videoBytes, 'v');
        return r;
    }
    fs::path file(const std::string& name) const { return dir / "data" / "Recordings" / name; }

    CommandResult run(std::vector<std::string> args) {
        args.insert(args.begin(),
                    {"--config-dir", (dir / "config").string(), "--data-dir", (dir / "data").string()});
        return CliTest::runVellmora(std::move(args));
    }
};

} // namespace

TEST_F(VideoCommands, ADryRunListsOnlyTheVideosOlderThanTheRetentionAndDeletesNothing) {
    auto preview = run({"video", "expire", "--dry-run", "--json"});
    ASSERT_EQ(preview.status, 0) << preview.err;
    auto json = nlohmann::json::parse(preview.out);
    ASSERT_EQ(json["recordings"].size(), 1u) << preview.out;
    EXPECT_EQ(json["recordings"][0]["recordingId"], oldId);
    EXPECT_EQ(json["bytes"], 1234);
    EXPECT_TRUE(fs::exists(file("Kick-off.mp4")));
}

TEST_F(VideoCommands, TheSweepDeletesTheOldVideoAndKeepsItsAudioAndTheRecentVideo) {
    auto sweep = run({"video", "expire"});
    ASSERT_EQ(sweep.status, 0) << sweep.err;
    EXPECT_NE(sweep.out.find("deleted 1 screen video, freed 1.23 KB"), std::string::npos) << sweep.out;
    EXPECT_FALSE(fs::exists(file("Kick-off.mp4")));
    EXPECT_TRUE(fs::exists(file("Kick-off.wav")));
    EXPECT_TRUE(fs::exists(file("Retro.mp4")));

    auto again = run({"video", "expire", "--json"});
    ASSERT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(nlohmann::json::parse(again.out)["videosDeleted"], 0) << "a second sweep finds nothing left";
}

TEST_F(VideoCommands, DeletingOneVideoSaysWhatWasFreedAndRefusesWhenThereIsNone) {
    auto deleted = run({"video", "delete", std::to_string(recentId)});
    ASSERT_EQ(deleted.status, 0) << deleted.err;
    EXPECT_NE(deleted.out.find("Freed 5.00 KB."), std::string::npos) << deleted.out;
    EXPECT_FALSE(fs::exists(file("Retro.mp4")));
    EXPECT_TRUE(fs::exists(file("Retro.wav")));

    struct Case {
        std::vector<std::string> args;
        int status;
    } cases[] = {
        {{"video", "delete", std::to_string(recentId)}, 1}, // no video any more
        {{"video", "delete", "999"}, 1},                    // no such recording
        {{"video", "delete", "two"}, 2},                    // not an id
        {{"slides", "extract", std::to_string(recentId)}, 1},
    };
    for (const auto& c : cases) {
        auto result = run(c.args);
        EXPECT_EQ(result.status, c.status) << c.args[1] << " " << c.args[2] << ": " << result.err;
        EXPECT_FALSE(result.err.empty()) << "a refusal says why";
    }
}

TEST_F(VideoCommands, TheSlidesSweepRemovesOnlyPictureFoldersNoRecordingRefersTo) {
    {
        Database::SqliteDatabase database;
        database.saveSlides(
            oldId, {Database::DatabaseManager::Slide{
                       .recordingId = oldId, .time = 12, .imageName = "slide-1.png", .text = "Roadmap"}});
    }
    fs::create_directories(dir / "data" / "Slides" / std::to_string(oldId));
    fs::create_directories(dir / "data" / "Slides" / "999");
    auto sweep = run({"slides", "sweep"});
    ASSERT_EQ(sweep.status, 0) << sweep.err;
    EXPECT_EQ(sweep.out, "Removed 1 picture folder nothing refers to.\n");
    EXPECT_TRUE(fs::exists(dir / "data" / "Slides" / std::to_string(oldId)));
    EXPECT_FALSE(fs::exists(dir / "data" / "Slides" / "999"));
}
