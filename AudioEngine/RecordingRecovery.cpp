#include "AudioEngine/RecordingRecovery.h"

#include "AudioEngine/CaptureJournal.h"
#include "AudioEngine/OggOpusRepair.h"
#include "AudioEngine/ScreenVideoFinaliser.h"
#include "Platform/ProcessSpawning.h"
#include "Support/FileDescriptor.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace AudioEngine {

namespace {

const Support::Logger log("recovery");

} // namespace

namespace {

/// The screen video the capture left (named in the note, or beside the first track for a note from before
/// videos were noted), playable up to its last seconds: given its index when ffmpeg is there, kept as it is
/// otherwise. Its offset to the audio is the note's; unknown for an older note.
void recoverVideo(CapturedRecording& recording, const CaptureJournal& journal,
                  const std::filesystem::path& folder, std::vector<std::string>& problems) {
    auto video = journal.videoFile ? folder / *journal.videoFile
                                   : ScreenVideoFinaliser::videoFileFor(recording.audioFile);
    std::error_code error;
    if (std::filesystem::file_size(video, error) == 0 || error) {
        return;
    }
    const char* path = std::getenv("PATH");
    if (auto ffmpeg = Platform::findExecutable("ffmpeg", path ? path : "")) {
        if (auto problem = ScreenVideoFinaliser::finaliseBlocking(*ffmpeg, video)) {
            problems.push_back("The screen video of an interrupted recording is kept as it was: " + *problem +
                               ".");
        }
    }
    recording.videoFile = video;
    if (journal.videoFile) {
        recording.videoOffset = journal.videoOffset;
    }
}

} // namespace

RecordingRecovery::Result RecordingRecovery::recover(const std::filesystem::path& folder) {
    Result result;
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        return result;
    }
    std::vector<std::filesystem::path> notes;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        auto name = entry.path().filename().string();
        if (name.size() > std::string_view(CaptureJournal::suffix).size() &&
            name.ends_with(CaptureJournal::suffix)) {
            notes.push_back(entry.path());
        }
    }
    std::sort(notes.begin(), notes.end());
    for (const auto& note : notes) {
        std::optional<CaptureJournal> journal;
        try {
            if (auto text = Support::Files::readIfExists(note)) {
                journal = CaptureJournal::parse(*text);
            }
        } catch (const std::exception& e) {
            log.warning("{}: {}", note.string(), e.what());
        }
        if (!journal) {
            result.problems.push_back("An interrupted recording's note could not be read (" + note.string() +
                                      "); its files are left as they are.");
            continue;
        }
        CapturedRecording recording{journal->recordingId, journal->startedAt, 0, {}, std::nullopt, {}};
        for (auto track : journal->tracks) {
            auto path = folder / track.file;
            try {
                auto bytes = Support::Files::readIfExists(path);
                auto repaired = bytes ? OggOpusRepair::repair(*bytes) : std::nullopt;
                if (!repaired) {
                    log.notice("{}: no audio to keep", path.string());
                    continue;
                }
                if (!repaired->wasComplete) {
                    Support::Files::writeAtomically(path, repaired->bytes);
                }
                track.file = path;
                recording.durationSeconds =
                    std::max(recording.durationSeconds, Support::toSeconds(track.offset) + repaired->seconds);
                recording.tracks.push_back(track);
            } catch (const std::exception& e) {
                result.problems.push_back("A track of an interrupted recording could not be finished (" +
                                          std::string(e.what()) + "); it is left as it was.");
            }
        }
        std::stable_sort(recording.tracks.begin(), recording.tracks.end(),
                         [](const auto& a, const auto& b) { return a.isMicrophone && !b.isMicrophone; });
        if (recording.tracks.empty()) {
            result.problems.push_back(
                "An interrupted recording held no audio to keep; its files are left in " + folder.string() +
                ".");
        } else {
            recording.audioFile = recording.tracks.front().file;
            recoverVideo(recording, *journal, folder, result.problems);
            result.recovered.push_back(std::move(recording));
        }
        std::filesystem::remove(note, error);
    }
    return result;
}

bool RecordingRecovery::finishInPlace(const std::filesystem::path& track) {
    auto bytes = Support::Files::readIfExists(track);
    auto repaired = bytes ? OggOpusRepair::repair(*bytes) : std::nullopt;
    if (!repaired) {
        return false;
    }
    if (repaired->wasComplete) {
        return true;
    }
    size_t same = 0;
    while (same < repaired->bytes.size() && repaired->bytes[same] == (*bytes)[same]) {
        ++same;
    }
    Support::FileDescriptor fd(::open(track.c_str(), O_WRONLY | O_CLOEXEC));
    if (!fd) {
        throw std::system_error(errno, std::generic_category(), track.string());
    }
    const char* data = repaired->bytes.data() + same;
    size_t left = repaired->bytes.size() - same;
    off_t at = off_t(same);
    while (left > 0) {
        ssize_t n = ::pwrite(fd.get(), data, left, at);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            int error = errno;
            throw std::system_error(error, std::generic_category(), track.string());
        }
        data += n;
        left -= size_t(n);
        at += n;
    }
    int status = ::ftruncate(fd.get(), off_t(repaired->bytes.size()));
    int error = errno;
    if (status == 0) {
        ::fsync(fd.get());
    }
    fd.reset();
    if (status != 0) {
        throw std::system_error(error, std::generic_category(), track.string());
    }
    return true;
}

std::string RecordingRecovery::length(double seconds) {
    auto total = static_cast<long long>(std::llround(std::max(0.0, seconds)));
    if (total >= 3600) {
        return fmt::format("{} h {:02} min", total / 3600, (total % 3600) / 60);
    }
    if (total >= 60) {
        return fmt::format("{} min {} s", total / 60, total % 60);
    }
    return fmt::format("{} s", total);
}

std::optional<std::string> RecordingRecovery::summary(const Result& result, const std::string& kept) {
    if (result.recovered.empty()) {
        return std::nullopt;
    }
    if (result.recovered.size() == 1) {
        return "Vellmora finished a recording that was interrupted (" +
               length(result.recovered.front().durationSeconds) + ") and added it to " + kept + ".";
    }
    double seconds = 0;
    for (const auto& r : result.recovered) {
        seconds += r.durationSeconds;
    }
    return fmt::format(
        "Vellmora finished {} recordings that were interrupted ({} in all) and added them to {}.",
        result.recovered.size(), length(seconds), kept);
}

} // namespace AudioEngine
