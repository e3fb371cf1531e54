#include "AudioEngine/CommandCapture.h"

#include "Platform/ChildProcess.h"
#include "Platform/ProcessSpawning.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Uuid.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <system_error>

namespace AudioEngine {

namespace {

const Support::Logger log("capture");

std::uint32_t little32(std::string_view bytes, size_t at) {
    std::uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) {
        v |= std::uint32_t(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    }
    return v;
}

std::string toolName(CommandCapture::Tool tool) {
    return tool == CommandCapture::Tool::pwRecord ? "pw-record" : "parecord";
}

} // namespace

std::optional<CommandCapture::Options> CommandCapture::find(const std::string& pathVariable) {
    for (auto tool : {Tool::pwRecord, Tool::parecord}) {
        if (auto path = Platform::findExecutable(toolName(tool), pathVariable)) {
            Options options;
            options.tool = tool;
            options.executable = *path;
            return options;
        }
    }
    return std::nullopt;
}

std::vector<std::string> CommandCapture::arguments(Tool tool, const std::filesystem::path& file) {
    if (tool == Tool::pwRecord) {
        return {"--rate=16000", "--channels=1", "--format=s16", file.string()};
    }
    return {"--file-format=wav", "--rate=16000",           "--channels=1",
            "--format=s16le",    "--client-name=vellmora", file.string()};
}

std::optional<double> CommandCapture::wavDuration(std::string_view header, std::uint64_t fileSize) {
    if (header.size() < 12 || header.substr(0, 4) != "RIFF" || header.substr(8, 4) != "WAVE") {
        return std::nullopt;
    }
    std::uint32_t byteRate = 0;
    std::uint64_t at = 12;
    while (at + 8 <= header.size()) {
        auto id = header.substr(at, 4);
        std::uint64_t size = little32(header, at + 4);
        std::uint64_t body = at + 8;
        if (id == "fmt " && size >= 16 && body + 16 <= header.size()) {
            byteRate = little32(header, body + 8);
        } else if (id == "data") {
            if (byteRate == 0) {
                return std::nullopt;
            }
            // A tool that was killed leaves the placeholder size (0 or all ones): count what was written.
            std::uint64_t present = fileSize > body ? fileSize - body : 0;
            std::uint64_t data = (size == 0 || size == 0xffffffffu || size > present) ? present : size;
            return double(data) / byteRate;
        }
        at = body + size + (size & 1);
    }
    return std::nullopt;
}

CommandCapture::CommandCapture(Support::Scheduler& scheduler, Options options)
    : scheduler_(scheduler), options_(std::move(options)) {}

CommandCapture::~CommandCapture() = default;

std::string CommandCapture::name() const {
    return options_.tool == Tool::pwRecord ? "PipeWire" : "PulseAudio";
}

std::optional<int> CommandCapture::processId() const {
    if (tool_ && !tool_->hasExited()) {
        return tool_->pid();
    }
    return std::nullopt;
}

Support::Task<CaptureSession> CommandCapture::start(std::filesystem::path folder) {
    if (session_ || busy_) {
        throw CaptureError("A recording is already running.");
    }
    busy_ = true;
    try {
        auto session = co_await startCapture(folder);
        busy_ = false;
        co_return session;
    } catch (...) {
        busy_ = false;
        throw;
    }
}

Support::Task<CaptureSession> CommandCapture::startCapture(std::filesystem::path folder) {
    auto id = Support::Uuid::generate();
    auto file = folder / (id + ".wav");
    auto name = toolName(options_.tool);
    // Every folder written into is made first, and a failure names the folder or file, not the tool.
    auto problem = co_await Support::BlockingWork::run([folder, log = options_.logFile]() -> std::string {
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (error) {
            return "the folder " + folder.string() + " cannot be created (" + error.message() + ")";
        }
        if (!log.empty()) {
            std::filesystem::create_directories(log.parent_path(), error);
            if (error) {
                return "the folder " + log.parent_path().string() + " cannot be created (" + error.message() +
                       ")";
            }
            std::ofstream probe(log, std::ios::app);
            if (!probe) {
                return "the log " + log.string() + " cannot be written (" + std::strerror(errno) + ")";
            }
        }
        return {};
    });
    if (!problem.empty()) {
        throw CaptureError("Recording could not start: " + problem + ".");
    }
    try {
        tool_ = std::make_unique<Platform::ChildProcess>(Platform::ChildProcess::Options{
            .executable = options_.executable.string(),
            .arguments = arguments(options_.tool, file),
            .output = options_.logFile.empty() ? Platform::ChildProcess::Output::discard
                                               : Platform::ChildProcess::Output::file,
            .outputFile = options_.logFile,
            .parentDeathSignal = SIGINT}); // a crashed host leaves no recorder running, and a finished file
    } catch (const std::system_error& e) {
        throw CaptureError("Recording could not start: " + name + " could not be run (" + e.what() + ").");
    }
    auto startedAt = scheduler_.now();
    const auto startedMonotonic = scheduler_.monotonicNow();
    bool ended = co_await Platform::endsWithin(*tool_, scheduler_, options_.startCheck);
    if (ended) {
        int status = tool_->exitStatus().value_or(-1);
        tool_.reset();
        auto said = co_await Support::BlockingWork::run([this, file] {
            std::error_code ignored;
            std::filesystem::remove(file, ignored);
            return Platform::lastLogLine(options_.logFile);
        });
        log.warning("{} ended at once with status {}: {}", name, status, said);
        throw CaptureError("Recording could not start: " + name + " stopped at once" +
                           (said.empty() ? "" : " (" + said + ")") +
                           ". Check that a microphone is connected and the sound server is running.");
    }
    session_ = CaptureSession{id, startedAt, file};
    startedMonotonic_ = startedMonotonic;
    log.info("Recording with {} (process {}) into {}", name, tool_->pid(), file.string());
    co_return *session_;
}

Support::Task<std::optional<CapturedRecording>> CommandCapture::stop() {
    if (!session_ || busy_) {
        co_return std::nullopt;
    }
    busy_ = true;
    try {
        auto recording = co_await stopCapture();
        busy_ = false;
        co_return recording;
    } catch (...) {
        busy_ = false;
        throw;
    }
}

Support::Task<std::optional<CapturedRecording>> CommandCapture::stopCapture() {
    auto session = *session_;
    if (!co_await Platform::interruptWithin(*tool_, scheduler_, options_.stopTimeout)) {
        log.warning("{} did not end after SIGINT: killed it", toolName(options_.tool));
    }
    tool_.reset();
    session_.reset();
    double wallSeconds = Support::toSeconds(scheduler_.monotonicNow() - startedMonotonic_);
    auto path = session.audioFile;
    auto measured = co_await Support::BlockingWork::run([path]() -> std::optional<std::optional<double>> {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            return std::nullopt;
        }
        std::string header(65536, '\0');
        in.read(header.data(), std::streamsize(header.size()));
        header.resize(size_t(in.gcount()));
        std::error_code error;
        auto size = std::filesystem::file_size(path, error);
        return wavDuration(header, error ? header.size() : size);
    });
    if (!measured) {
        throw CaptureError("The recording was lost: " + toolName(options_.tool) + " wrote no audio file.");
    }
    // The tool records the microphone alone: one track.
    std::optional<CapturedRecording> recording =
        CapturedRecording{session.recordingId,
                          session.startedAt,
                          measured->value_or(wallSeconds),
                          path,
                          std::nullopt,
                          std::vector<CapturedTrack>{CapturedTrack{path, true, {}}}};
    co_return recording;
}

} // namespace AudioEngine
