// The transcription commands run in-process against temporary folders, a loopback transcription server and
// a stand-in whisper-cli: configuring an engine without printing its key, transcribing files, importing
// audio into the queue and transcribing it from the library, and what `status` says while it waits.
#include "App/CommandLineRun.h"
#include "Fakes/FakeTranscriptionServer.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Fakes/AudioFiles.h"
#include "Fakes/ScriptFolder.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <random>

namespace {

struct CommandLine {
    std::filesystem::path home;
    CommandLine() {
        home = std::filesystem::temp_directory_path() /
               ("vellmora-transcription-cli-" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(home);
        ::setenv("VELLMORA_CONFIG_HOME", (home / "config").c_str(), 1);
        ::setenv("VELLMORA_DATA_HOME", (home / "data").c_str(), 1);
        ::setenv("VELLMORA_CACHE_HOME", (home / "cache").c_str(), 1);
        ::setenv("VELLMORA_STATE_HOME", (home / "state").c_str(), 1);
    }
    ~CommandLine() { std::filesystem::remove_all(home); }

    CliTest::CommandResult run(std::vector<std::string> args, const std::string& input = "") {
        return CliTest::runVellmora(std::move(args), input);
    }
    std::string audio(const std::string& name, double seconds = 3) {
        auto path = home / name;
        Fakes::AudioFiles::writeWav(path, {{seconds, 0.4}}, 16000);
        return path.string();
    }
};

const char* answer =
    R"({"text":"x","segments":[{"start":0.0,"end":1.0,"text":" Good morning <|en|> everyone."}]})";

} // namespace

TEST(TranscriptionCommand, ConfiguresTheServerKeepingTheKeyPrivateAndTranscribesFiles) {
    CommandLine cli;
    Fakes::FakeTranscriptionServer server;
    server.setDefault({200, answer});
    auto r = cli.run({"transcription", "configure", "--engine", "server", "--server-url", server.baseURL(),
                      "--model", "whisper-large-v3", "--language", "en", "--key-file", "-"},
                     "  tx-secret \n");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Speech engine: the transcription server at " + server.baseURL() +
                         " (model whisper-large-v3, verbose_json)\n");
    EXPECT_EQ(r.out.find("tx-secret"), std::string::npos);
    EXPECT_EQ(::access((cli.home / "config/ai-keys.json").c_str(), F_OK), 0);
    EXPECT_EQ(std::filesystem::status(cli.home / "config/ai-keys.json").permissions() &
                  std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    r = cli.run({"transcribe", cli.audio("mic.wav"), cli.audio("system.wav"), "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto segments = nlohmann::json::parse(r.out);
    ASSERT_EQ(segments.size(), 1u) << "the microphone's echo of the same words is left out";
    EXPECT_EQ(segments[0]["text"], "Good morning everyone.");
    EXPECT_EQ(segments[0]["isFromMicrophone"], false);
    auto uploads = server.uploads();
    ASSERT_EQ(uploads.size(), 2u);
    EXPECT_EQ(uploads[0].authorization, "Bearer tx-secret");
    EXPECT_EQ(uploads[0].fields["language"], "en");

    r = cli.run({"transcribe", cli.audio("one.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Speaker (0:00): Good morning everyone.\n");
}

TEST(TranscriptionCommand, ImportsAudioIntoTheQueueAndTranscribesItFromTheLibrary) {
    CommandLine cli;
    Fakes::FakeTranscriptionServer server;
    server.setDefault({503, R"({"error":"model is loading"})"});
    const auto mic = cli.audio("standup-mic.wav", 4);
    const auto system = cli.audio("standup-system.wav", 4);
    auto r = cli.run({"library", "import", mic, system, "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto id = nlohmann::json::parse(r.out)["id"].get<std::int64_t>();

    r = cli.run({"transcription", "status", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto status = nlohmann::json::parse(r.out);
    EXPECT_EQ(status["engine"], "none");
    EXPECT_EQ(status["queued"], nlohmann::json::array({id}));

    r = cli.run({"library", "transcribe", std::to_string(id)});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("No speech engine is set up."), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("stays queued"), std::string::npos) << r.err;

    ASSERT_EQ(cli.run({"transcription", "configure", "--engine", "server", "--server-url", server.baseURL()})
                  .status,
              0);
    r = cli.run({"library", "transcribe", std::to_string(id)});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("(HTTP 503): model is loading."), std::string::npos) << r.err;
    r = cli.run({"transcription", "status"});
    EXPECT_NE(r.out.find("Waiting: The transcription server refused the audio (HTTP 503): model is loading."),
              std::string::npos)
        << r.out;

    server.setDefault({200, answer});
    r = cli.run({"library", "transcribe", std::to_string(id)});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Transcribed recording " + std::to_string(id) + ": 1 segment.\n");
    Database::SqliteDatabase db(cli.home / "data/library.sqlite");
    auto recording = db.recording(id);
    ASSERT_TRUE(recording);
    EXPECT_EQ(recording->title, "standup-mic");
    ASSERT_EQ(recording->tracks.size(), 2u);
    EXPECT_TRUE(recording->tracks[0].isMicrophone);
    EXPECT_TRUE(recording->hasTranscript);
    r = cli.run({"transcription", "status", "--json"});
    EXPECT_EQ(nlohmann::json::parse(r.out)["queued"], nlohmann::json::array());
}

TEST(TranscriptionCommand, RunsWhisperCliWithAModelAndListsTheModels) {
    CommandLine cli;
    Fakes::ScriptFolder scripts;
    const auto program = scripts.script("whisper-cli", R"(
while [ $# -gt 0 ]; do [ "$1" = "-of" ] && stem="$2"; shift; done
printf '%s' '{"transcription":[{"offsets":{"from":500,"to":1500},"text":" Hello from whisper."}]}' > "$stem.json"
)");
    std::filesystem::create_directories(cli.home / "data/models");
    std::ofstream(cli.home / "data/models/ggml-tiny.en.bin") << "weights";
    ASSERT_EQ(cli.run({"transcription", "configure", "--engine", "whisper-cli", "--program", program.string(),
                       "--whisper-model", "tiny.en"})
                  .status,
              0);
    auto r = cli.run({"transcribe", cli.audio("note.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Speaker (0:00): Hello from whisper.\n");
    r = cli.run({"transcription", "models", "list"});
    EXPECT_NE(r.out.find("tiny.en"), std::string::npos);
    EXPECT_NE(r.out.find("installed"), std::string::npos);
    r = cli.run({"transcription", "models", "download", "enormous"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("There is no speech model called \"enormous\"."), std::string::npos) << r.err;
}
