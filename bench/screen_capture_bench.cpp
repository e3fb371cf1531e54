// Bytes per hour and processor time of the screen capture at its default settings, on an Xvfb screen that
// shows a slide deck (a new slide of large text on a plain background every --slide-seconds). Runs ffmpeg
// with exactly the arguments `FfmpegScreenCapture` uses, for --seconds of real time, and reports the file's
// size scaled to an hour and ffmpeg's user+system time as a share of one core.
// Usage: screen_capture_bench [--seconds 120] [--frame-rate 1] [--slide-seconds 20] [--size 1920x1080]
//                             [--data-dir DIR (the video is left there)]
// Goals: under 60 MB an hour, under 5% of one core.
#include "AudioEngine/FfmpegScreenCapture.h"
#include "AudioEngine/ScreenCapturePreferences.h"
#include "Platform/ProcessSpawning.h"
#include "tests/Fakes/SlideDisplay.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sys/resource.h>
#include <thread>

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    double seconds = 120, frameRate = AudioEngine::ScreenCapturePreferences::defaultFrameRate,
           slideSeconds = 20;
    int width = 1920, height = 1080;
    fs::path dataDir;
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string flag = argv[i], value = argv[i + 1];
        if (flag == "--seconds") {
            seconds = std::atof(value.c_str());
        } else if (flag == "--frame-rate") {
            frameRate = std::atof(value.c_str());
        } else if (flag == "--slide-seconds") {
            slideSeconds = std::atof(value.c_str());
        } else if (flag == "--size") {
            std::sscanf(value.c_str(), "%dx%d", &width, &height);
        } else if (flag == "--data-dir") {
            dataDir = value;
        }
    }
    auto ffmpeg = Platform::findExecutable("ffmpeg", std::getenv("PATH") ? std::getenv("PATH") : "");
    if (!ffmpeg) {
        std::fprintf(stderr, "ffmpeg is not on PATH\n");
        return 2;
    }
    Fakes::VirtualDisplay display(width, height);
    if (!display.isRunning()) {
        std::fprintf(stderr, "Xvfb could not start\n");
        return 2;
    }
    Fakes::SlideWindow window(display.name());
    bool temporary = dataDir.empty();
    if (temporary) {
        dataDir = fs::temp_directory_path() / fmt::format("vellmora-screen-bench-{}", ::getpid());
    }
    fs::create_directories(dataDir);
    auto video = dataDir / "capture.mkv";

    AudioEngine::FfmpegScreenCapture::Options options;
    options.executable = *ffmpeg;
    options.display = display.name();
    options.frameRate = frameRate;
    auto args = AudioEngine::FfmpegScreenCapture::arguments(options, video);
    args.insert(args.begin(), ffmpeg->string());
    std::vector<char*> argv2;
    for (auto& a : args) {
        a = a == "-stats" ? "-nostats" : a;
        argv2.push_back(a.data());
    }
    argv2.push_back(nullptr);

    const unsigned long colours[] = {0xffffff, 0xfff4c0, 0xc8e0ff, 0xe0ffe0, 0xf0f0f0};
    auto slide = [&](int n) {
        window.show(colours[n % 5],
                    {fmt::format("Slide {}: quarterly review", n + 1),
                     fmt::format("Point {} of the plan", n * 3 + 1), "Budget, hiring, risks",
                     fmt::format("Owner: team {}", n % 4 + 1)},
                    3);
    };
    slide(0);
    pid_t pid = 0;
    posix_spawnattr_t attributes;
    Platform::initSpawnAttributes(attributes);
    if (posix_spawn(&pid, argv2[0], nullptr, &attributes, argv2.data(), environ) != 0) {
        std::fprintf(stderr, "ffmpeg could not be run\n");
        return 2;
    }
    posix_spawnattr_destroy(&attributes);
    auto begin = std::chrono::steady_clock::now();
    int shown = 0;
    while (true) {
        double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        if (elapsed >= seconds) {
            break;
        }
        int due = int(elapsed / slideSeconds);
        if (due != shown) {
            shown = due;
            slide(shown);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ::kill(pid, SIGINT);
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    double cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                 double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    auto bytes = fs::exists(video) ? fs::file_size(video) : 0;
    std::printf("screen %dx%d, %g frames/s, a slide every %g s, %.0f s captured\n", width, height, frameRate,
                slideSeconds, wall);
    std::printf("file: %ju bytes -> %.2f MB per hour (goal < 60)\n", std::uintmax_t(bytes),
                double(bytes) / wall * 3600 / 1e6);
    std::printf("ffmpeg cpu: %.2f s user+system -> %.2f%% of one core (goal < 5%%)\n", cpu, cpu / wall * 100);
    if (temporary) {
        fs::remove_all(dataDir);
    }
    return 0;
}
