// `vellmora audio devices` and `vellmora audio test` against a private sound server, and the recovery of a
// recording whose program was killed with SIGKILL in the middle (the real `vellmora` binary, recording
// through `audio test`). Skipped when PulseAudio, espeak-ng or sox is not installed.
#include "App/CommandLineRun.h"
#include "AudioEngine/CaptureJournal.h"
#include "AudioEngine/RecordingRecovery.h"
#include "Fakes/PrivatePulseServer.h"
#include "Fakes/ScriptFolder.h"
#include "Fakes/SoundFile.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using CliTest::runVellmora;
using Fakes::PrivatePulseServer;

namespace {

struct AudioCommandsTest : testing::Test {
    Fakes::ScriptFolder folder;
    std::unique_ptr<PrivatePulseServer> server;

    void SetUp() override {
        if (!PrivatePulseServer::toolsInstalled()) {
            GTEST_SKIP() << "PulseAudio, espeak-ng or sox is not installed";
        }
        server = std::make_unique<PrivatePulseServer>(folder.path);
        ASSERT_TRUE(server->ready()) << server->log();
    }
    void TearDown() override { server.reset(); }
};

} // namespace

TEST_F(AudioCommandsTest, DevicesListsWhatWouldBeRecordedWithTheDefaultsMarked) {
    auto text = runVellmora({"audio", "devices"});
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_NE(text.out.find("Sound server: PulseAudio"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("(room)"), std::string::npos) << text.out;
    auto json = runVellmora({"audio", "devices", "--json"});
    ASSERT_EQ(json.status, 0) << json.err;
    auto document = nlohmann::json::parse(json.out);
    int defaults = 0;
    for (const auto* list : {"microphones", "outputs"}) {
        for (const auto& device : document[list]) {
            defaults += device["isDefault"].get<bool>() ? 1 : 0;
        }
    }
    EXPECT_EQ(defaults, 2) << json.out;
}

TEST_F(AudioCommandsTest, TestPrintsTheLevelOfEachTrackAndWhatToCheckWhenOneIsSilent) {
    auto others = server->speech("others", "Good morning everyone, let us begin with the numbers.");
    pid_t player = Fakes::spawnQuietly({"paplay", "--device=room", others.string()});
    auto result = runVellmora({"audio", "test", "--seconds", "2"});
    ::waitpid(player, nullptr, 0);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("The call (room.monitor): peak -"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("Your microphone (voice): peak silence"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("Nothing was heard: check the input device"), std::string::npos) << result.out;
    EXPECT_EQ(runVellmora({"audio", "test", "--seconds", "0"}).status, 2);
}

#ifdef VELLMORA_BINARY
TEST_F(AudioCommandsTest, ARecordingKilledMidwayIsRecoveredPlayableWithWhatWasSaid) {
    auto others = server->speech("others", "This sentence must survive the crash of the recorder.");
    auto pause = folder.path / "pause.wav";
    ASSERT_TRUE(Fakes::runQuietly({"sox", "-n", "-r", "48000", "-c", "1", pause.string(), "trim", "0", "2"}));
    pid_t recorder = Fakes::spawnQuietly({VELLMORA_BINARY, "audio", "test", "--seconds", "60"});
    ASSERT_GT(recorder, 0);
    auto recordings = folder.path / "runtime" / ("vellmora-audio-test-" + std::to_string(recorder));
    // Recording has begun when its note is on disk.
    auto noteWritten = [&] {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(recordings, ignored)) {
            if (entry.path().string().ends_with(AudioEngine::CaptureJournal::suffix)) {
                return true;
            }
        }
        return false;
    };
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!noteWritten() && std::chrono::steady_clock::now() < deadline) {
        ::usleep(20000); // waiting for the recorder to come up, not for time to pass
    }
    ASSERT_TRUE(noteWritten());
    ASSERT_TRUE(PrivatePulseServer::play(others, "room"));
    ASSERT_TRUE(PrivatePulseServer::play(pause, "room")); // the last page of the sentence reaches the disk
    ::kill(recorder, SIGKILL);
    ::waitpid(recorder, nullptr, 0);

    auto result = AudioEngine::RecordingRecovery::recover(recordings);
    EXPECT_TRUE(result.problems.empty());
    ASSERT_EQ(result.recovered.size(), 1u);
    const auto& recording = result.recovered[0];
    ASSERT_EQ(recording.tracks.size(), 2u);
    auto call = Fakes::SoundFile::read(recording.tracks[1].file);
    ASSERT_TRUE(call) << "the call track does not play";
    auto spoken = call->firstAbove(0.05);
    ASSERT_TRUE(spoken) << "the sentence is not in the call track";
    EXPECT_GT(call->seconds(), double(*spoken) / 48000 + 2.0) << "the end of the sentence was lost";
    EXPECT_TRUE(Fakes::SoundFile::read(recording.tracks[0].file)) << "the microphone track does not play";
    EXPECT_NE(AudioEngine::RecordingRecovery::summary(result)->find("interrupted"), std::string::npos);
    std::error_code ignored;
    std::filesystem::remove_all(recordings, ignored);
}
#endif
