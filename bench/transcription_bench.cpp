// From a saved recording to its stored transcript, without the speech engine's own time, and the memory a
// two-hour recording takes on the way:
//   queue       the queue with a stand-in engine that answers at once (2,400 segments per track-hour):
//               reading the recording, assembling both tracks with the echo check, storing, notifying.
//   server      the transcription-server engine over a loopback server in a child process that answers at
//               once: decoding, cutting at silences, 16 kHz WAV pieces, multipart uploads, answers read.
// Peak memory is this process's (the server runs in its own). Usage:
//   transcription_bench [--data-dir DIR] [--hours H]
// DIR keeps the generated tracks (microphone.wav, system.wav: 16 kHz mono, speech-like bursts and pauses)
// between runs, or holds your own two tracks under those names.
#include "tests/Fakes/AudioFiles.h"
#include "tests/Fakes/Httplib.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/OpenAITranscriber.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "UI/transcription/TranscriptionQueue.h"

#include <fmt/format.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

long peakRSSMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

/// Stand-in engine: a segment every 1.5 s of the track, at once, without reading the audio.
class InstantEngine final : public Intelligence::SpeechRecognizer {
public:
    explicit InstantEngine(double hours) : hours_(hours) {}
    std::string name() const override { return "instant"; }
    Support::Task<std::vector<Intelligence::SpeechSegment>>
    transcribe(Intelligence::SpeechTrack track, Intelligence::SpeechOptions, Progress) override {
        std::vector<Intelligence::SpeechSegment> out;
        const bool microphone = track.file.filename() == "microphone.wav";
        for (double t = microphone ? 0.7 : 0; t < hours_ * 3600; t += 1.5) {
            out.push_back({t + track.offset, t + track.offset + 1.4,
                           fmt::format(" Point {} on the roadmap, as {} said.", static_cast<int>(t),
                                       microphone ? "I" : "they"),
                           ""});
        }
        co_return out;
    }

private:
    double hours_;
};

/// Runs a loopback transcription server in a child process; gives its port.
int startServer(pid_t& child) {
    int fds[2];
    if (pipe(fds) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    child = fork();
    if (child == 0) {
        close(fds[0]);
        httplib::Server server;
        server.Post("/v1/audio/transcriptions", [](const httplib::Request& req, httplib::Response& res) {
            double seconds = 0;
            for (const auto& [name, part] : req.files) {
                if (name == "file") {
                    seconds = static_cast<double>(part.content.size() - 44) / 32000.0;
                }
            }
            std::string segments;
            for (double t = 0; t < seconds; t += 3) {
                segments += fmt::format("{}{{\"start\":{},\"end\":{},\"text\":\" words at {}\"}}",
                                        segments.empty() ? "" : ",", t, t + 2.5, t);
            }
            res.set_content("{\"text\":\"\",\"segments\":[" + segments + "]}", "application/json");
        });
        int port = server.bind_to_any_port("127.0.0.1");
        if (write(fds[1], &port, sizeof port) != sizeof port) {
            _exit(1);
        }
        close(fds[1]);
        server.listen_after_bind();
        _exit(0);
    }
    close(fds[1]);
    int port = 0;
    if (read(fds[0], &port, sizeof port) != sizeof port) {
        std::fprintf(stderr, "the server did not start\n");
        std::exit(1);
    }
    close(fds[0]);
    return port;
}

} // namespace

int main(int argc, char** argv) {
    std::filesystem::path folder = std::filesystem::temp_directory_path() / "vellmora-transcription-bench";
    double hours = 2;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--data-dir") == 0) {
            folder = argv[i + 1];
        } else if (std::strcmp(argv[i], "--hours") == 0) {
            hours = std::atof(argv[i + 1]);
        }
    }
    std::filesystem::create_directories(folder);
    const auto microphone = folder / "microphone.wav";
    const auto system = folder / "system.wav";
    for (const auto& file : {microphone, system}) {
        if (!std::filesystem::exists(file)) {
            std::vector<Fakes::AudioFiles::Span> spans;
            for (double t = 0; t < hours * 3600; t += 10) {
                spans.push_back({8.5, 0.3});
                spans.push_back({1.5, 0});
            }
            fmt::print(stderr, "Writing {} ({} h)...\n", file.string(), hours);
            Fakes::AudioFiles::writeWav(file, spans, 16000);
        }
    }

    pid_t child = 0;
    const int port = startServer(child);

    Support::MainLoop loop;
    Support::RealScheduler scheduler(loop);
    Support::NotificationCenter center;
    std::filesystem::remove(folder / "library.sqlite");
    Database::SqliteDatabase database(folder / "library.sqlite");
    Platform::CurlHttpClient http;

    auto run = [&](std::shared_ptr<Intelligence::SpeechRecognizer> engine, const char* label) {
        Database::DatabaseManager::Recording r;
        r.title = label;
        r.duration = hours * 3600;
        r.fileURL = microphone;
        r.tracks = {{microphone, true, 0}, {system, false, 0.05}};
        const auto id = database.insertRecording(r);
        std::filesystem::remove(folder / "queue.json");
        UI::TranscriptionQueue queue({.database = database,
                                      .center = center,
                                      .scheduler = scheduler,
                                      .engine = [engine] { return engine; },
                                      .file = UI::TranscriptionQueueFile(folder / "queue.json")});
        int stored = -1;
        auto done =
            queue.transcribed.connect([&stored](Database::RecordingId, int count) { stored = count; });
        const auto start = Clock::now();
        queue.enqueue(id);
        while (!queue.isIdle()) {
            loop.runOne(50);
        }
        const double elapsed = secondsSince(start);
        fmt::print("{:<7} {:.1f} h of audio, 2 tracks: {} segments stored in {:.3f} s ({:.3f} s per hour); "
                   "peak memory so far {} MB\n",
                   label, hours, stored, elapsed, elapsed / hours, peakRSSMegabytes());
    };
    run(std::make_shared<InstantEngine>(hours), "queue");
    Intelligence::OpenAITranscriber::Config config;
    config.baseURL = "http://127.0.0.1:" + std::to_string(port);
    run(std::make_shared<Intelligence::OpenAITranscriber>(http, scheduler, config), "server");

    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    return 0;
}
