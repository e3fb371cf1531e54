#include "AudioEngine/CommandCapture.h"

#include "AudioEngine/SimulatedCapture.h"
#include "Fakes/ScriptFolder.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <csignal>

using AudioEngine::CaptureError;
using AudioEngine::CommandCapture;

namespace {

std::string withDataSize(std::string wav, std::uint32_t size) {
    for (int i = 0; i < 4; ++i) {
        wav[40 + i] = static_cast<char>((size >> (8 * i)) & 0xff);
    }
    return wav;
}

TEST(CommandCapture, MeasuresTheAudioInAWavFile) {
    auto tenth = AudioEngine::SimulatedCapture::silentWav(0.1); // 3200 bytes of data at 32000 bytes a second
    std::string withList = tenth.substr(0, 36) + std::string("LIST\x05\0\0\0INFOx\0", 14) + tenth.substr(36);
    struct Case {
        const char* what;
        std::string header;
        std::uint64_t fileSize;
        std::optional<double> seconds;
    };
    const Case cases[] = {
        {"complete", tenth, tenth.size(), 0.1},
        {"a chunk of odd size before the data", withList, withList.size(), 0.1},
        {"placeholder size left by a killed tool", withDataSize(tenth, 0xffffffff), 44 + 6400, 0.2},
        {"size of zero with data after it", withDataSize(tenth, 0), 44 + 1600, 0.05},
        {"more claimed than written", withDataSize(tenth, 64000), 44 + 3200, 0.1},
        {"only the first bytes read", tenth.substr(0, 44), tenth.size(), 0.1},
        {"cut inside the header", tenth.substr(0, 30), 30, std::nullopt},
        {"no format before the data", "RIFF\0\0\0\0WAVEdata\0\0\0\0", 20, std::nullopt},
        {"not a wav", "ID3\x03\0\0\0\0\0\0\0\0\0\0\0\0", 16, std::nullopt},
        {"empty", "", 0, std::nullopt},
    };
    for (const auto& c : cases) {
        auto seconds = CommandCapture::wavDuration(c.header, c.fileSize);
        ASSERT_EQ(seconds.has_value(), c.seconds.has_value()) << c.what;
        if (seconds) {
            EXPECT_DOUBLE_EQ(*seconds, *c.seconds) << c.what;
        }
    }
}

TEST(CommandCapture, PrefersPwRecordAndFallsBackToParecord) {
    Fakes::ScriptFolder pulse, pipewire, neither;
    pulse.script("parecord", "");
    pipewire.script("pw-record", "");
    neither.write("pw-record", ""); // not executable

    auto found = CommandCapture::find(pulse.path.string() + ":" + pipewire.path.string());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->tool, CommandCapture::Tool::pwRecord);
    EXPECT_EQ(found->executable, pipewire.path / "pw-record");

    found = CommandCapture::find(neither.path.string() + "::" + pulse.path.string());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->tool, CommandCapture::Tool::parecord);
    EXPECT_EQ(found->executable, pulse.path / "parecord");

    EXPECT_FALSE(CommandCapture::find(neither.path.string()));
    EXPECT_FALSE(CommandCapture::find(""));
}

TEST(CommandCapture, NamesItselfOnTheParecordStreamSoItsOwnRecordingIsNoCall) {
    auto args = CommandCapture::arguments(CommandCapture::Tool::parecord, "/r/a.wav");
    EXPECT_NE(std::find(args.begin(), args.end(), "--client-name=vellmora"), args.end());
    EXPECT_EQ(args.back(), "/r/a.wav");
    EXPECT_EQ(CommandCapture::arguments(CommandCapture::Tool::pwRecord, "/r/a.wav").back(), "/r/a.wav");
}

struct CaptureTest : testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::Date{} + std::chrono::hours(24 * 20000)};
    Fakes::ScriptFolder folder;
    std::filesystem::path recordings = folder.path / "recordings";

    CommandCapture captureWith(const std::string& body) {
        CommandCapture::Options options;
        options.tool = CommandCapture::Tool::pwRecord;
        options.executable = folder.script("tool", "dir=$(dirname \"$0\")\nfor last; do :; done\n" + body);
        options.startCheck = Support::seconds(0.5);
        options.stopTimeout = Support::seconds(2);
        options.logFile = folder.path / "tool.log";
        return CommandCapture(scheduler, options);
    }

    template <typename T> T await(Support::Task<T> task, Support::Duration advanceAfterArming = {}) {
        std::optional<T> value;
        std::exception_ptr error;
        bool done = false;
        auto waiter = Support::startTask([&]() -> Support::Task<void> {
            try {
                value = co_await task;
            } catch (...) {
                error = std::current_exception();
            }
            done = true;
        });
        if (advanceAfterArming > Support::Duration{}) {
            Fakes::runUntil(loop, [&] { return done || scheduler.pendingTimers() > 0; });
            scheduler.advance(advanceAfterArming);
        }
        EXPECT_TRUE(Fakes::runUntil(loop, [&] { return done; }));
        if (error) {
            std::rethrow_exception(error);
        }
        return std::move(*value);
    }
    bool toolIsReady() { return std::filesystem::exists(folder.path / "ready"); }
};

TEST_F(CaptureTest, RecordsUntilStoppedAndMeasuresTheWavTheToolFinished) {
    folder.write("take.wav", AudioEngine::SimulatedCapture::silentWav(0.1));
    auto capture = captureWith(R"(trap 'cp "$dir/take.wav" "$last"; exit 0' INT
echo "$$" > "$dir/ready"
while :; do sleep 1; done
)");
    auto session = await(capture.start(recordings), Support::seconds(1));
    EXPECT_TRUE(capture.isCapturing());
    EXPECT_EQ(session.audioFile.parent_path(), recordings);
    EXPECT_EQ(session.audioFile.filename(), session.recordingId + ".wav");
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return toolIsReady(); }));
    EXPECT_EQ(capture.processId(), std::stoi(folder.read("ready")));

    scheduler.advance(std::chrono::seconds(60));
    auto recording = await(capture.stop());
    ASSERT_TRUE(recording);
    EXPECT_EQ(recording->recordingId, session.recordingId);
    EXPECT_DOUBLE_EQ(recording->durationSeconds, 0.1);
    EXPECT_EQ(recording->audioFile, session.audioFile);
    EXPECT_TRUE(std::filesystem::exists(recording->audioFile));
    EXPECT_FALSE(capture.isCapturing());
    EXPECT_FALSE(capture.processId());
    EXPECT_EQ(await(capture.stop()), std::nullopt);
}

TEST_F(CaptureTest, AToolThatEndsAtOnceIsAnErrorWithItsMessageAndLeavesNoFile) {
    auto capture = captureWith(R"(: > "$last"
echo "Stream error: No such entity" >&2
exit 1
)");
    try {
        await(capture.start(recordings));
        FAIL() << "the start succeeded";
    } catch (const CaptureError& e) {
        EXPECT_STREQ(e.what(),
                     "Recording could not start: pw-record stopped at once (Stream error: No such entity). "
                     "Check that a microphone is connected and the sound server is running.");
    }
    EXPECT_FALSE(capture.isCapturing());
    EXPECT_TRUE(std::filesystem::is_empty(recordings));
}

TEST_F(CaptureTest, TheFirstRecordingCreatesTheLogFolderAndAnUnwritableLogIsNamedAsTheCause) {
    const std::string body = "echo \"$$\" > \"$dir/ready\"\nwhile :; do sleep 1; done\n";
    {
        // A fresh account: neither the log's folder nor the recordings folder exists yet.
        CommandCapture::Options options;
        options.executable = folder.script("tool", "dir=$(dirname \"$0\")\n" + body);
        options.logFile = folder.path / "fresh" / "cache" / "capture.log";
        CommandCapture capture(scheduler, options);
        auto session = await(capture.start(recordings), Support::seconds(1));
        EXPECT_TRUE(std::filesystem::exists(options.logFile));
        EXPECT_THROW(await(capture.stop()), CaptureError); // this tool writes no audio
    }
    CommandCapture::Options options;
    options.executable = folder.script("tool", "dir=$(dirname \"$0\")\n" + body);
    folder.write("blocker", "a file where a folder should be");
    options.logFile = folder.path / "blocker" / "capture.log";
    CommandCapture capture(scheduler, options);
    try {
        await(capture.start(recordings));
        FAIL() << "the start succeeded";
    } catch (const CaptureError& e) {
        std::string said = e.what();
        EXPECT_NE(said.find((folder.path / "blocker").string()), std::string::npos) << said;
        EXPECT_EQ(said.find("could not be run"), std::string::npos) << said;
    }
}

TEST_F(CaptureTest, AToolThatIgnoresSigintIsKilledAfterTheTimeOutAndWhatItWroteIsKept) {
    folder.write("partial.wav", withDataSize(AudioEngine::SimulatedCapture::silentWav(0.2), 0xffffffff));
    auto capture = captureWith(R"(trap '' INT
cp "$dir/partial.wav" "$last"
echo "$$" > "$dir/ready"
while :; do sleep 1; done
)");
    await(capture.start(recordings), Support::seconds(1));
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return toolIsReady(); }));
    auto pid = std::stoi(folder.read("ready"));

    auto recording = await(capture.stop(), Support::seconds(3));
    ASSERT_TRUE(recording);
    EXPECT_DOUBLE_EQ(recording->durationSeconds, 0.2);
    EXPECT_NE(::kill(pid, 0), 0) << "the tool is still running";
}

TEST_F(CaptureTest, FallsBackToTheWallClockWhenTheFileHasNoWavHeader) {
    auto capture = captureWith(R"(trap 'printf "not a wav" > "$last"; exit 0' INT
echo "$$" > "$dir/ready"
while :; do sleep 1; done
)");
    await(capture.start(recordings), Support::seconds(1));
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return toolIsReady(); }));
    scheduler.advance(std::chrono::seconds(60));
    auto recording = await(capture.stop());
    ASSERT_TRUE(recording);
    EXPECT_DOUBLE_EQ(recording->durationSeconds, 61);
}

TEST_F(CaptureTest, AToolThatWroteNothingIsAnErrorAtStop) {
    auto capture = captureWith(R"(trap 'exit 0' INT
echo "$$" > "$dir/ready"
while :; do sleep 1; done
)");
    await(capture.start(recordings), Support::seconds(1));
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return toolIsReady(); }));
    EXPECT_THROW(await(capture.stop()), CaptureError);
    EXPECT_FALSE(capture.isCapturing());
}

TEST_F(CaptureTest, RefusesASecondStartWhileRecording) {
    auto capture = captureWith("echo \"$$\" > \"$dir/ready\"\nwhile :; do sleep 1; done\n");
    await(capture.start(recordings), Support::seconds(1));
    EXPECT_THROW(await(capture.start(recordings)), CaptureError);
}

} // namespace
