// `vellmora audio devices` and `vellmora audio test`: what a recording would capture, checked before a
// meeting. `devices` lists the sound server's microphones and outputs, marking the defaults (the ones
// recorded); `test` records a few seconds of both tracks into a throwaway folder and prints their levels.
#include "App/Cli.h"

#include "AudioEngine/PulseCapture.h"
#include "AudioEngine/PulseDevices.h"
#include "AudioEngine/TrackLevel.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Task.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

namespace App {

namespace {

template <typename T> T runToCompletion(Support::MainLoop& loop, const Support::Task<T>& task) {
    while (!task.isDone()) {
        loop.runOne(100);
    }
    return task.get();
}

nlohmann::json devicesJson(const std::vector<AudioEngine::PulseDevices::Device>& devices) {
    auto list = nlohmann::json::array();
    for (const auto& d : devices) {
        list.push_back({{"name", d.name}, {"description", d.description}, {"isDefault", d.isDefault}});
    }
    return list;
}

void devices(CliContext& ctx, bool json) {
    auto found = AudioEngine::PulseDevices::list();
    if (json) {
        ctx.out() << nlohmann::json{{"server", found.server},
                                    {"microphones", devicesJson(found.microphones)},
                                    {"outputs", devicesJson(found.outputs)}}
                         .dump(2)
                  << "\n";
        return;
    }
    ctx.out() << AudioEngine::PulseDevices::describe(found);
}

void test(CliContext& ctx, double seconds, const std::string& keep) {
    if (!(seconds >= 1 && seconds <= 3600)) {
        throw UsageError("--seconds takes 1 to 3600.");
    }
    Support::MainLoop loop;
    Support::RealScheduler scheduler(loop);
    AudioEngine::PulseCapture::Options options;
    options.silenceWindow = Support::Duration::zero();
    AudioEngine::PulseCapture capture(options);
    auto folder = keep.empty()
                      ? Support::Files::runtimeFolder() / fmt::format("vellmora-audio-test-{}", ::getpid())
                      : std::filesystem::path(keep);
    ctx.err() << fmt::format(
        "Recording {:.0f} seconds of your microphone and of what the computer plays: speak, "
        "and play something…\n",
        seconds);
    auto notices = capture.notice.connect([&ctx](const std::string& text) { ctx.err() << text << "\n"; });
    auto task = Support::startTask([&]() -> Support::Task<std::optional<AudioEngine::CapturedRecording>> {
        co_await capture.start(folder);
        co_await scheduler.sleepFor(Support::seconds(seconds));
        co_return co_await capture.stop();
    });
    std::optional<AudioEngine::CapturedRecording> recording;
    try {
        recording = runToCompletion(loop, task);
    } catch (...) {
        if (keep.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
        }
        throw;
    }
    ctx.out() << "Sound server: " << capture.name() << "\n";
    if (keep.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    } else if (recording) {
        std::uintmax_t bytes = 0;
        for (const auto& track : recording->tracks) {
            std::error_code ignored;
            auto size = std::filesystem::file_size(track.file, ignored);
            bytes += ignored ? 0 : size;
            ctx.out() << "Kept " << track.file.string() << " (" << size << " bytes)\n";
        }
        if (recording->durationSeconds > 0) {
            ctx.out() << fmt::format("{:.1f} MB an hour for both tracks\n",
                                     double(bytes) / recording->durationSeconds * 3600 / 1e6);
        }
    }
    bool silent = false;
    for (const auto& track : capture.lastReport()) {
        bool heard = track.peakDecibels >= AudioEngine::TrackLevel::silenceBelowDecibels;
        silent = silent || !heard;
        ctx.out() << fmt::format("{} ({}): peak {}, average {}\n",
                                 track.isMicrophone ? "Your microphone" : "The call", track.device,
                                 AudioEngine::TrackLevel::describe(track.peakDecibels),
                                 AudioEngine::TrackLevel::describe(track.averageDecibels));
        if (!heard) {
            ctx.out() << (track.isMicrophone
                              ? "  Nothing was heard: check the input device (vellmora audio devices).\n"
                              : "  Nothing was heard: check the output device, and play something "
                                "during the test (vellmora audio devices).\n");
        }
    }
    if (!silent) {
        ctx.out() << "Both tracks hear sound: recordings will hold you and the others.\n";
    }
}

const CommandRegistration registration{
    "audio", [](CLI::App& root, CliContext& ctx) {
        auto* audio = root.add_subcommand(
            "audio", "Check what a recording captures: your microphone and what the computer plays");
        audio->require_subcommand(1);
        auto json = std::make_shared<bool>(false);
        auto seconds = std::make_shared<double>(5);
        auto keep = std::make_shared<std::string>();
        auto* devicesCmd = audio->add_subcommand(
            "devices",
            "List the microphones and outputs Vellmora would record (* marks the defaults it records)");
        devicesCmd->add_flag("--json", *json, "Print JSON");
        devicesCmd->callback([&ctx, json] { devices(ctx, *json); });
        auto* testCmd = audio->add_subcommand(
            "test", "Record a few seconds of each track (microphone and call) and print their levels");
        testCmd->add_option("--seconds", *seconds, "How long to record (default 5)");
        testCmd->add_option("--keep", *keep, "Keep the two tracks in this folder to listen to them");
        testCmd->callback([&ctx, seconds, keep] { test(ctx, *seconds, *keep); });
    }};

} // namespace

} // namespace App
