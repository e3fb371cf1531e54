#include "AudioEngine/ScreenVideoFinaliser.h"

#include "Platform/PosixProcessRunner.h"
#include "Support/BlockingWork.h"

#include <system_error>

namespace AudioEngine {

namespace {

/// The last non-empty line of a tool's messages.
std::string lastLine(const std::string& text) {
    auto end = text.find_last_not_of("\r\n ");
    if (end == std::string::npos) {
        return {};
    }
    auto start = text.find_last_of("\r\n", end);
    return text.substr(start == std::string::npos ? 0 : start + 1,
                       end - (start == std::string::npos ? 0 : start + 1) + 1);
}

} // namespace

std::filesystem::path ScreenVideoFinaliser::videoFileFor(const std::filesystem::path& audioFile) {
    auto video = audioFile;
    video.replace_extension(".mkv");
    return video;
}

std::optional<std::string> ScreenVideoFinaliser::finaliseBlocking(const std::filesystem::path& ffmpeg,
                                                                  const std::filesystem::path& video) {
    std::error_code error;
    auto size = std::filesystem::file_size(video, error);
    if (error || size == 0) {
        return "the screen video " + video.string() + " is missing or empty";
    }
    auto part = video;
    part += ".part";
    Platform::PosixProcessRunner runner;
    Platform::ProcessResult result;
    try {
        result = runner.runBlocking(
            {.executable = ffmpeg.string(),
             .arguments = {"-hide_banner", "-nostdin", "-loglevel", "error", "-i", video.string(), "-map",
                           "0", "-c", "copy", "-f", "matroska", "-y", part.string()},
             .timeout = std::chrono::minutes(10)});
    } catch (const std::system_error& e) {
        return std::string("ffmpeg could not be run: ") + e.what();
    }
    auto copied = std::filesystem::file_size(part, error);
    if (!result.succeeded() || error || copied == 0) {
        std::filesystem::remove(part, error);
        auto why = lastLine(result.standardError);
        return "ffmpeg could not finalise " + video.string() + (why.empty() ? "" : ": " + why);
    }
    std::filesystem::rename(part, video, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(part, ignored);
        return "the finalised video could not replace " + video.string() + ": " + error.message();
    }
    return std::nullopt;
}

Support::Task<std::optional<std::string>> ScreenVideoFinaliser::finalise(std::filesystem::path ffmpeg,
                                                                         std::filesystem::path video,
                                                                         MarkAssembling mark) {
    Support::Subscription assembling;
    if (mark) {
        assembling = mark(video);
    }
    auto* f = &ffmpeg;
    auto* v = &video;
    co_return co_await Support::BlockingWork::run([f, v] { return finaliseBlocking(*f, *v); });
}

} // namespace AudioEngine
