// The whisper-cli engine against a stand-in script that checks its arguments and writes the program's JSON.
#include "Fakes/AudioFiles.h"
#include "Fakes/ScriptFolder.h"
#include "Intelligence/WhisperCliTranscriber.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

using namespace Intelligence;

namespace {

struct Rig {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Fakes::ScriptFolder folder;

    WhisperCliTranscriber engine(const std::string& scriptBody, bool withModel = true) {
        WhisperCliTranscriber::Config config;
        config.program = folder.script("whisper-cli", scriptBody);
        config.model = folder.path / "ggml-base.en.bin";
        if (withModel) {
            folder.write("ggml-base.en.bin", "weights");
        }
        config.workFolder = folder.path / "work";
        config.timeout = Support::seconds(600);
        return WhisperCliTranscriber(scheduler, config);
    }

    std::pair<std::vector<SpeechSegment>, std::optional<std::string>>
    run(WhisperCliTranscriber& engine, SpeechTrack track, SpeechOptions options) {
        auto segments = std::make_shared<std::vector<SpeechSegment>>();
        auto error = std::make_shared<std::optional<std::string>>();
        auto task = Support::startTask([&engine, track, options, segments, error]() -> Support::Task<void> {
            try {
                auto work = engine.transcribe(track, options, {});
                *segments = co_await work;
            } catch (const TranscriptionError& e) {
                *error = e.description();
            }
        });
        EXPECT_TRUE(Fakes::runUntil(loop, [&] { return task.isDone(); }));
        return {*segments, *error};
    }
};

// Writes the arguments, the WAV's size and the program's JSON next to -of's stem.
const char* standIn = R"(
while [ $# -gt 0 ]; do
  case "$1" in
    -of) stem="$2"; shift ;;
    -f) wav="$2"; shift ;;
  esac
  echo "$1" >> "$(dirname "$0")/arguments"
  shift
done
wc -c < "$wav" > "$(dirname "$0")/wav-bytes"
cat > "$stem.json" <<'JSON'
{"transcription": [
 {"timestamps": {"from": "00:00:00,000", "to": "00:00:01,200"}, "offsets": {"from": 0, "to": 1200}, "text": " Can you hear me?"},
 {"timestamps": {"from": "00:00:01,200", "to": "00:00:02,000"}, "offsets": {"from": 1200, "to": 2000}, "text": " Yes."}
]}
JSON
)";

} // namespace

TEST(WhisperCliTranscriber, RunsTheProgramOnA16kHzCopyAndReadsItsJsonShiftedByTheOffset) {
    Rig rig;
    auto engine = rig.engine(standIn);
    const auto audio = rig.folder.path / "system.wav";
    Fakes::AudioFiles::writeWav(audio, {{2, 0.5}}, 48000);
    auto [segments, error] = rig.run(engine, {audio, 0.5}, {"en", {"Dana", "Fox"}});
    ASSERT_FALSE(error) << *error;
    EXPECT_EQ(segments,
              (std::vector<SpeechSegment>{{0.5, 1.7, " Can you hear me?", ""}, {1.7, 2.5, " Yes.", ""}}));
    EXPECT_EQ(std::stoi(rig.folder.read("wav-bytes")), 44 + 2 * 32000) << "two seconds at 16 kHz";
    const auto arguments = rig.folder.read("arguments");
    for (const char* expected : {"-m\n", "-oj\n", "-np\n", "-l\nen\n", "--prompt\nDana, Fox.\n"}) {
        EXPECT_NE(arguments.find(expected), std::string::npos) << expected << " in " << arguments;
    }
    EXPECT_TRUE(std::filesystem::is_empty(rig.folder.path / "work")) << "the work files are removed";
}

TEST(WhisperCliTranscriber, SaysWhatIsMissingOrWhatWentWrong) {
    Rig rig;
    const auto audio = rig.folder.path / "mic.wav";
    Fakes::AudioFiles::writeWav(audio, {{1, 0.5}}, 16000);
    struct Case {
        const char* name;
        const char* script;
        bool withModel;
        const char* sentenceStart;
    };
    const Case cases[] = {
        {"no model", standIn, false, "The speech model "},
        {"the program fails", "echo 'loading model' >&2\necho 'error: failed to read audio' >&2\nexit 3",
         true, "whisper-cli failed (exit status 3): error: failed to read audio"},
        {"no output", "exit 0", true, "whisper-cli wrote no transcript that can be read"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(rig.folder.path / "ggml-base.en.bin");
        auto engine = rig.engine(c.script, c.withModel);
        auto [segments, error] = rig.run(engine, {audio, 0}, {});
        ASSERT_TRUE(error) << c.name;
        EXPECT_EQ(error->rfind(c.sentenceStart, 0), 0u) << c.name << ": " << *error;
    }
}

// A program that never ends on its own: it notes its process id, then waits (exec: the id stays its own).
const char* endless = "echo $$ > \"$(dirname \"$0\")/pid\"\nexec sleep 600";

bool processIsGone(Fakes::ScriptFolder& folder) {
    const int pid = std::stoi(folder.read("pid"));
    return ::kill(pid, 0) != 0;
}

TEST(WhisperCliTranscriber, AProgramThatTakesLongerThanTheTimeLimitIsKilledAndSaysSo) {
    Rig rig;
    auto engine = rig.engine(endless);
    const auto audio = rig.folder.path / "mic.wav";
    Fakes::AudioFiles::writeWav(audio, {{1, 0.5}}, 16000);
    std::optional<std::string> error;
    auto task = Support::startTask([&]() -> Support::Task<void> {
        try {
            auto work = engine.transcribe({audio, 0}, {}, {});
            (void)co_await work;
        } catch (const TranscriptionError& e) {
            error = e.description();
        }
    });
    ASSERT_TRUE(Fakes::runUntil(rig.loop, [&] { return std::filesystem::exists(rig.folder.path / "pid"); }));
    rig.scheduler.advance(Support::seconds(601));
    ASSERT_TRUE(Fakes::runUntil(rig.loop, [&] { return task.isDone(); }));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->rfind("whisper-cli took too long and was stopped", 0), 0u) << *error;
    EXPECT_TRUE(processIsGone(rig.folder));
    EXPECT_TRUE(std::filesystem::is_empty(rig.folder.path / "work")) << "the work files are removed";
}

TEST(WhisperCliTranscriber, CancellingTheTranscriptionKillsTheProgramAtOnce) {
    Rig rig;
    auto engine = rig.engine(endless);
    const auto audio = rig.folder.path / "mic.wav";
    Fakes::AudioFiles::writeWav(audio, {{1, 0.5}}, 16000);
    auto task = Support::startTask([&]() -> Support::Task<void> {
        auto work = engine.transcribe({audio, 0}, {}, {});
        (void)co_await Support::awaitOwned(work);
    });
    ASSERT_TRUE(Fakes::runUntil(rig.loop, [&] { return std::filesystem::exists(rig.folder.path / "pid"); }));
    task.cancel();
    ASSERT_TRUE(Fakes::runUntil(rig.loop, [&] { return task.isDone(); }));
    EXPECT_TRUE(processIsGone(rig.folder)) << "no whisper-cli is left running";
    EXPECT_TRUE(std::filesystem::is_empty(rig.folder.path / "work")) << "the work files are removed";
}
