#include "AudioEngine/FfmpegScreenCapture.h"

#include "Platform/ChildProcess.h"
#include "Platform/ProcessSpawning.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fstream>
#include <system_error>

namespace AudioEngine {

namespace {

const Support::Logger log("screen");

} // namespace

std::optional<FfmpegScreenCapture::Options> FfmpegScreenCapture::find(const std::string& pathVariable,
                                                                      const std::string& displayVariable) {
    if (displayVariable.empty()) {
        return std::nullopt;
    }
    auto ffmpeg = Platform::findExecutable("ffmpeg", pathVariable);
    if (!ffmpeg) {
        return std::nullopt;
    }
    Options options;
    options.executable = *ffmpeg;
    options.display = displayVariable;
    return options;
}

std::vector<std::string> FfmpegScreenCapture::arguments(const Options& options,
                                                        const std::filesystem::path& file) {
    auto rate = fmt::format("{:g}", options.frameRate);
    // A key frame every ten seconds: a player (and the slides reader) seeks quickly, and slides that do not
    // change cost almost nothing between key frames.
    auto keyInterval = std::to_string(std::max(1L, std::lround(options.frameRate * 10)));
    return {"-hide_banner",
            "-nostdin",
            "-loglevel",
            "warning",
            "-stats",
            "-f",
            "x11grab",
            "-framerate",
            rate,
            "-draw_mouse",
            "0",
            "-i",
            options.display,
            "-c:v",
            "libx264",
            "-preset",
            "veryfast",
            "-tune",
            "stillimage,zerolatency",
            "-crf",
            std::to_string(options.quality),
            "-g",
            keyInterval,
            "-pix_fmt",
            "yuv420p",
            "-flush_packets",
            "1",
            "-cluster_time_limit",
            "2000",
            "-f",
            "matroska",
            "-y",
            file.string()};
}

FfmpegScreenCapture::FfmpegScreenCapture(Support::Scheduler& scheduler, Options options)
    : scheduler_(scheduler), options_(std::move(options)) {}

FfmpegScreenCapture::~FfmpegScreenCapture() {
    if (ffmpeg_ && !ffmpeg_->hasExited()) {
        ffmpeg_->signal(SIGINT);
    }
}

std::optional<int> FfmpegScreenCapture::processId() const {
    if (ffmpeg_ && !ffmpeg_->hasExited()) {
        return ffmpeg_->pid();
    }
    return std::nullopt;
}

Support::Task<> FfmpegScreenCapture::start(std::filesystem::path file, Support::Date recordingStart) {
    if (running_ || busy_) {
        throw CaptureError("The screen is already being recorded.");
    }
    busy_ = true;
    struct Release {
        bool& flag;
        ~Release() { flag = false; }
    } release{busy_};
    co_await Support::BlockingWork::run([folder = file.parent_path()] {
        std::error_code ignored;
        std::filesystem::create_directories(folder, ignored);
    });
    try {
        ffmpeg_ = std::make_unique<Platform::ChildProcess>(Platform::ChildProcess::Options{
            .executable = options_.executable.string(),
            .arguments = arguments(options_, file),
            .output = options_.logFile.empty() ? Platform::ChildProcess::Output::discard
                                               : Platform::ChildProcess::Output::file,
            .outputFile = options_.logFile,
            .parentDeathSignal = SIGINT}); // a crashed host leaves no capture running, and a finished file
    } catch (const std::system_error& e) {
        throw CaptureError(std::string("The screen is not recorded: ffmpeg could not be run (") + e.what() +
                           ").");
    }
    auto offset = std::max(Support::Duration{}, scheduler_.now() - recordingStart);
    if (co_await Platform::endsWithin(*ffmpeg_, scheduler_, options_.startCheck)) {
        int status = ffmpeg_->exitStatus().value_or(-1);
        ffmpeg_.reset();
        auto said = co_await Support::BlockingWork::run([this, file] {
            std::error_code ignored;
            std::filesystem::remove(file, ignored);
            return Platform::lastLogLine(options_.logFile, "frame=");
        });
        log.warning("ffmpeg ended at once with status {}: {}", status, said);
        throw CaptureError("The screen is not recorded: ffmpeg could not capture the display " +
                           options_.display + (said.empty() ? "" : " (" + said + ")") + ".");
    }
    running_ = Running{file, offset};
    log.info("Recording the screen {} at {:g} frames per second with ffmpeg (process {}) into {}",
             options_.display, options_.frameRate, ffmpeg_->pid(), file.string());
}

Support::Task<std::optional<CapturedVideo>> FfmpegScreenCapture::stop() {
    if (!running_ || busy_) {
        co_return std::nullopt;
    }
    busy_ = true;
    struct Release {
        bool& flag;
        ~Release() { flag = false; }
    } release{busy_};
    auto running = *running_;
    if (!co_await Platform::interruptWithin(*ffmpeg_, scheduler_, options_.stopTimeout)) {
        log.warning("ffmpeg did not end after SIGINT: killed it");
    }
    int status = ffmpeg_->exitStatus().value_or(-1);
    ffmpeg_.reset();
    running_.reset();
    auto size = co_await Support::BlockingWork::run([file = running.file] {
        std::error_code error;
        auto bytes = std::filesystem::file_size(file, error);
        return error ? std::uintmax_t(0) : bytes;
    });
    if (size == 0) {
        log.warning("ffmpeg (status {}) left no screen video at {}", status, running.file.string());
        co_return std::nullopt;
    }
    co_return CapturedVideo{running.file, running.offset};
}

} // namespace AudioEngine
