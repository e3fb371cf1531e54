#include "AudioEngine/PortalScreenCapture.h"

#include "Platform/ChildProcess.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <cmath>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>

namespace AudioEngine {

namespace {

const Support::Logger log("screen");

} // namespace

struct PortalScreenCapture::Share {
    std::unique_ptr<Platform::ScreenShare> share;
};

std::vector<std::string> PortalScreenCapture::arguments(const Options& options, int fd, std::uint32_t node,
                                                        const std::filesystem::path& file) {
    auto thousandths = std::max(1L, std::lround(options.frameRate * 1000));
    auto keyInterval = std::max(1L, std::lround(options.frameRate * 10));
    return {"-e",
            "pipewiresrc",
            "fd=" + std::to_string(fd),
            "path=" + std::to_string(node),
            "do-timestamp=true",
            "!",
            "videorate",
            "!",
            "video/x-raw,framerate=" + std::to_string(thousandths) + "/1000",
            "!",
            "videoconvert",
            "!",
            "vp9enc",
            "deadline=1",
            "cpu-used=8",
            "end-usage=cq",
            "cq-level=40",
            "keyframe-max-dist=" + std::to_string(keyInterval),
            "!",
            "matroskamux",
            "streamable=true",
            "!",
            "filesink",
            "buffer-mode=unbuffered",
            "location=" + file.string()};
}

PortalScreenCapture::PortalScreenCapture(Support::Scheduler& scheduler, Options options)
    : scheduler_(scheduler), options_(std::move(options)) {}

PortalScreenCapture::~PortalScreenCapture() {
    if (gst_ && !gst_->hasExited()) {
        gst_->signal(SIGINT);
    }
}

Support::Task<> PortalScreenCapture::start(std::filesystem::path file, Support::Date recordingStart) {
    if (running_ || busy_) {
        throw CaptureError("The screen is already being recorded.");
    }
    busy_ = true;
    struct Release {
        bool& flag;
        ~Release() { flag = false; }
    } release{busy_};
    auto* options = &options_;
    auto opened = co_await Support::BlockingWork::run([options]() -> std::shared_ptr<Share> {
        std::optional<std::string> token;
        std::ifstream in(options->tokenFile);
        std::string line;
        if (in && std::getline(in, line) && !line.empty()) {
            token = line;
        }
        if (!options->openShare) {
            throw CaptureError("The screen is not recorded: this desktop offers no screen share.");
        }
        auto share = std::make_shared<Share>();
        try {
            share->share = options->openShare({.address = options->busAddress, .restoreToken = token});
        } catch (const Platform::ScreenShareRefused& e) {
            throw CaptureError(e.what());
        }
        if (auto next = share->share->restoreToken(); next && next != token && !options->tokenFile.empty()) {
            std::error_code ignored;
            std::filesystem::create_directories(options->tokenFile.parent_path(), ignored);
            Support::Files::writeAtomically(options->tokenFile, *next + "\n");
        }
        return share;
    });
    int fd = opened->share->pipewireFd();
    try {
        gst_ = std::make_unique<Platform::ChildProcess>(Platform::ChildProcess::Options{
            .executable = options_.gstLaunch.string(),
            .arguments = arguments(options_, fd, opened->share->node(), file),
            .output = options_.logFile.empty() ? Platform::ChildProcess::Output::discard
                                               : Platform::ChildProcess::Output::file,
            .outputFile = options_.logFile,
            .inheritedDescriptors = {fd},
            .parentDeathSignal = SIGINT}); // a crashed host leaves no capture running, and a finished file
    } catch (const std::system_error& e) {
        throw CaptureError(std::string("The screen is not recorded: gst-launch-1.0 could not be run (") +
                           e.what() + ").");
    }
    auto offset = std::max(Support::Duration{}, scheduler_.now() - recordingStart);
    if (co_await Platform::endsWithin(*gst_, scheduler_, options_.startCheck)) {
        gst_.reset();
        throw CaptureError("The screen is not recorded: GStreamer could not read the shared screen (see " +
                           options_.logFile.string() + ").");
    }
    share_ = opened;
    running_ = Running{file, offset};
    log.info("Recording the shared screen (PipeWire node {}) with gst-launch-1.0 into {}",
             opened->share->node(), file.string());
}

Support::Task<std::optional<CapturedVideo>> PortalScreenCapture::stop() {
    if (!running_ || busy_) {
        co_return std::nullopt;
    }
    busy_ = true;
    struct Release {
        bool& flag;
        ~Release() { flag = false; }
    } release{busy_};
    auto running = *running_;
    if (!co_await Platform::interruptWithin(*gst_, scheduler_, options_.stopTimeout)) {
        log.warning("gst-launch-1.0 did not end after SIGINT: killed it");
    }
    gst_.reset();
    running_.reset();
    auto share = std::exchange(share_, nullptr);
    auto size = co_await Support::BlockingWork::run([file = running.file, share] {
        share->share.reset(); // closes the portal session off the main loop
        std::error_code error;
        auto bytes = std::filesystem::file_size(file, error);
        return error ? std::uintmax_t(0) : bytes;
    });
    if (size == 0) {
        co_return std::nullopt;
    }
    co_return CapturedVideo{running.file, running.offset};
}

} // namespace AudioEngine
