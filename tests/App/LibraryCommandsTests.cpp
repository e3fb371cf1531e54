#include "App/Cli.h"
#include "App/CommandLineRun.h"
#include "Database/Sqlite/SqliteDatabase.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <random>
#include <sstream>

namespace {

using CliTest::CommandResult;

struct LibraryCommands : ::testing::Test {
    std::filesystem::path dir;
    std::string database;

    LibraryCommands() {
        std::random_device rd;
        dir = std::filesystem::temp_directory_path() / ("vellmora-cli-test-" + std::to_string(rd()));
        std::filesystem::create_directories(dir);
        database = (dir / "library.sqlite").string();
    }
    ~LibraryCommands() override { std::filesystem::remove_all(dir); }

    CommandResult run(std::vector<std::string> args, const std::string& input = "") {
        args.insert(args.begin(),
                    {"--config-dir", (dir / "config").string(), "--data-dir", (dir / "data").string()});
        return CliTest::runVellmora(std::move(args), input);
    }

    std::string writeFile(const std::string& name, const std::string& contents) {
        auto path = dir / name;
        std::ofstream(path) << contents;
        return path.string();
    }
};

const char* const weeklySync = R"({"title": "Weekly Café sync", "startDate": "2026-11-20T15:00:00Z",
  "segments": [{"start": 5, "text": "Hi", "speaker": "Alice"}, {"start": 7, "text": "there", "speaker": "Alice"},
               {"start": 65, "text": "The budget is tight", "speaker": "Bob", "isFromMicrophone": true}]})";

} // namespace

TEST_F(LibraryCommands, ImportsARecordingAndListsShowsSearchesAndPrintsIt) {
    auto file = writeFile("sync.json", weeklySync);
    auto imported = run({"library", "import", file, "--database", database});
    ASSERT_EQ(imported.status, 0) << imported.err;
    EXPECT_EQ(imported.out, "Imported \"Weekly Café sync\" as recording 1 with 3 segments.\n");

    auto list = run({"library", "list", "--json", "--database", database});
    ASSERT_EQ(list.status, 0) << list.err;
    auto json = nlohmann::json::parse(list.out);
    ASSERT_EQ(json.size(), 1u);
    EXPECT_EQ(json[0]["title"], "Weekly Café sync");
    EXPECT_EQ(json[0]["duration"], 65);
    EXPECT_EQ(json[0]["hasTranscript"], true);
    EXPECT_NE(run({"library", "list", "--database", database}).out.find("Weekly Café sync"),
              std::string::npos);
    EXPECT_EQ(run({"library", "list", "--filter", "favorites", "--database", database}).out,
              "No recordings.\n");

    auto search = run({"library", "search", "cafe", "--database", database});
    EXPECT_NE(search.out.find("Recordings:"), std::string::npos) << search.out;
    auto moments = run({"library", "search", "budget", "--database", database});
    EXPECT_NE(moments.out.find("Weekly Café sync (1:05) Bob: The budget is tight"), std::string::npos)
        << moments.out;
    EXPECT_EQ(run({"library", "search", "zebra", "--database", database}).out,
              "Nothing matches \"zebra\".\n");

    auto show = run({"library", "show", "1", "--database", database});
    EXPECT_NE(show.out.find("Transcript: 3 segments"), std::string::npos) << show.out;

    auto transcript = run({"transcript", "show", "1", "--database", database});
    EXPECT_EQ(transcript.out, "Alice (0:05): Hi there\nBob (1:05): The budget is tight\n");
}

TEST_F(LibraryCommands, RefusesABadImportWithAClearMessageAndStoresNothing) {
    struct Case {
        std::string json;
        std::string message;
    };
    for (const auto& c : std::vector<Case>{
             {"{not json", "not valid JSON"},
             // Found by fuzzing: a number beyond a double's range escaped as another exception.
             {R"({"title": "x", "startDate": "2026-11-20T15:00:00Z", "duration": 7E77001000})",
              "not valid JSON"},
             {"[]", "Expected a JSON object"},
             {R"({"startDate": "2026-11-20T15:00:00Z"})", "no \"title\""},
             {R"({"title": "x", "startDate": "yesterday"})", "ISO 8601"},
             {R"({"title": "x", "startDate": "2026-11-20T15:00:00Z", "segments": [{"text": "hi"}]})",
              "segments[0] has no \"start\""},
             {R"({"title": "x", "startDate": "2026-11-20T15:00:00Z", "duration": -1})", "\"duration\""},
         }) {
        auto r = run({"library", "import", "-", "--database", database}, c.json);
        EXPECT_EQ(r.status, 2) << c.json;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_TRUE(r.out.empty());
    }
    EXPECT_FALSE(std::filesystem::exists(database)) << "nothing was created for a refused import";
    EXPECT_EQ(run({"library", "import", (dir / "missing.json").string(), "--database", database}).status, 2);
}

TEST_F(LibraryCommands, DeletesOnlyAfterConfirmationAndTogglesFavorites) {
    run({"library", "import", writeFile("sync.json", weeklySync), "--database", database});
    auto fav = run({"library", "favorite", "1", "--database", database});
    EXPECT_EQ(fav.out, "\"Weekly Café sync\" is now a favorite.\n");
    EXPECT_EQ(run({"library", "favorite", "1", "--database", database}).out,
              "\"Weekly Café sync\" is no longer a favorite.\n");

    auto declined = run({"library", "delete", "1", "--database", database}, "n\n");
    EXPECT_EQ(declined.status, 1);
    EXPECT_NE(declined.err.find("[y/N]"), std::string::npos);
    EXPECT_NE(declined.err.find("Nothing was deleted."), std::string::npos);
    EXPECT_EQ(run({"library", "show", "1", "--database", database}).status, 0);

    auto confirmed = run({"library", "delete", "1", "--database", database}, "yes\n");
    EXPECT_EQ(confirmed.status, 0) << confirmed.err;
    auto gone = run({"library", "show", "1", "--database", database});
    EXPECT_EQ(gone.status, 1);
    EXPECT_NE(gone.err.find("There is no recording with the id 1."), std::string::npos);

    run({"library", "import", writeFile("sync.json", weeklySync), "--database", database});
    EXPECT_EQ(run({"library", "delete", "2", "--yes", "--database", database}).out,
              "Deleted \"Weekly Café sync\".\n");
    EXPECT_EQ(run({"library", "list", "--filter", "sometimes", "--database", database}).status, 2);
}

TEST_F(LibraryCommands, UsesTheDataFolderWhenNoDatabaseIsGiven) {
    EXPECT_EQ(run({"library", "list"}).out, "No recordings.\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "data" / "library.sqlite")) << "listing creates nothing";
    run({"library", "import", writeFile("sync.json", weeklySync)});
    EXPECT_TRUE(std::filesystem::exists(dir / "data" / "library.sqlite"));
}

TEST_F(LibraryCommands, FormatsTranscriptLinesFromAFileOrStdin) {
    auto r = run({"transcript", "lines"}, R"([{"start": 5, "text": "Hi", "speaker": "Alice"},
        {"start": 3725.9, "text": "<|en|>  later  ", "isFromMicrophone": true}])");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Alice (0:05): Hi\nYou (1:02:05): later\n");
    auto bad = run({"transcript", "lines"}, R"({"start": 1})");
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("Expected a JSON list of segments"), std::string::npos) << bad.err;
}

TEST_F(LibraryCommands, CleansTextFromStdinAndFailsQuietlyWithoutAResult) {
    EXPECT_EQ(run({"clean", "whisper"}, "<|en|> Hello  [BLANK_AUDIO] world").out, "Hello world\n");
    EXPECT_EQ(run({"clean", "response"}, "<think>hmm</think>Answer<|im_end|>").out, "Answer\n");
    EXPECT_EQ(run({"clean", "title"}, "Title: Weekly Sync").out, "Weekly Sync\n");
    auto noTitle = run({"clean", "title"}, "Summary");
    EXPECT_EQ(noTitle.status, 1);
    EXPECT_EQ(noTitle.out, "");
    EXPECT_EQ(noTitle.err, "");
    EXPECT_EQ(run({"clean", "action-items"}, "- **Send the deck** to Ana.\n- Deploy").out,
              "- Send the deck to Ana\n");
    auto none = run({"clean", "action-items"}, "No action items were found.");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "");
}

TEST_F(LibraryCommands, ShowNamesTheAudioTracksOfATwoTrackRecording) {
    {
        Database::SqliteDatabase db(database);
        Database::DatabaseManager::Recording recording;
        recording.title = "Design review";
        recording.startDate = Support::dateFromUnix(1'763'000'000);
        recording.duration = 1800;
        recording.fileURL = dir / "a.microphone.opus";
        recording.tracks = {{dir / "a.microphone.opus", true, 0}, {dir / "a.call.opus", false, 0.25}};
        db.insertRecording(recording);
    }
    auto show = run({"library", "show", "1", "--database", database});
    ASSERT_EQ(show.status, 0) << show.err;
    EXPECT_NE(show.out.find("Track, your microphone: " + (dir / "a.microphone.opus").string() + "\n"),
              std::string::npos)
        << show.out;
    EXPECT_NE(show.out.find("Track, the call (what the computer played): " + (dir / "a.call.opus").string() +
                            " (starts 0.25 s in)\n"),
              std::string::npos)
        << show.out;
    auto json = nlohmann::json::parse(run({"library", "show", "1", "--json", "--database", database}).out);
    ASSERT_EQ(json["tracks"].size(), 2u);
    EXPECT_EQ(json["tracks"][0]["source"], "microphone");
    EXPECT_EQ(json["tracks"][1]["source"], "call");
    EXPECT_EQ(json["tracks"][1]["offset"], 0.25);
}
