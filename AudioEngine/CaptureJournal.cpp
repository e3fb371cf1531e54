#include "AudioEngine/CaptureJournal.h"

#include "Support/Files.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace AudioEngine {

namespace {

/// A file name within the note's folder, or nothing for anything else.
std::optional<std::filesystem::path> fileName(const nlohmann::json& entry) {
    auto file = entry.find("file");
    if (file == entry.end() || !file->is_string()) {
        return std::nullopt;
    }
    std::filesystem::path name(file->get<std::string>());
    if (name.empty() || name != name.filename() || name == "." || name == "..") {
        return std::nullopt;
    }
    return name;
}

/// An offset in seconds within a day, else zero.
Support::Duration offsetOf(const nlohmann::json& entry) {
    if (auto offset = entry.find("offsetSeconds"); offset != entry.end() && offset->is_number()) {
        double seconds = offset->get<double>();
        if (std::isfinite(seconds) && seconds >= 0 && seconds < 86400) {
            return Support::seconds(seconds);
        }
    }
    return {};
}

} // namespace

std::string CaptureJournal::serialise() const {
    nlohmann::json tracksJson = nlohmann::json::array();
    for (const auto& t : tracks) {
        tracksJson.push_back({{"file", t.file.filename().string()},
                              {"isMicrophone", t.isMicrophone},
                              {"offsetSeconds", Support::toSeconds(t.offset)}});
    }
    nlohmann::json document = {{"version", 1},
                               {"recordingId", recordingId},
                               {"startedAt", Support::unixSeconds(startedAt)},
                               {"tracks", tracksJson}};
    if (videoFile) {
        document["video"] = {{"file", videoFile->filename().string()},
                             {"offsetSeconds", Support::toSeconds(videoOffset)}};
    }
    return document.dump(2) + "\n";
}

std::optional<CaptureJournal> CaptureJournal::parse(std::string_view text) {
    auto document = nlohmann::json::parse(text, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }
    auto id = document.find("recordingId");
    auto started = document.find("startedAt");
    auto tracks = document.find("tracks");
    if (id == document.end() || !id->is_string() || id->get_ref<const std::string&>().empty() ||
        started == document.end() || !started->is_number() || tracks == document.end() ||
        !tracks->is_array()) {
        return std::nullopt;
    }
    double startSeconds = started->get<double>();
    if (!std::isfinite(startSeconds) || std::fabs(startSeconds) > 1e11) {
        return std::nullopt;
    }
    CaptureJournal journal;
    journal.recordingId = id->get<std::string>();
    if (journal.recordingId.find_first_of("/\\") != std::string::npos || journal.recordingId.front() == '.') {
        return std::nullopt;
    }
    journal.startedAt = Support::dateFromUnix(startSeconds);
    for (const auto& entry : *tracks) {
        if (!entry.is_object()) {
            return std::nullopt;
        }
        auto name = fileName(entry);
        if (!name) {
            return std::nullopt;
        }
        CapturedTrack track;
        track.file = *name;
        if (auto mic = entry.find("isMicrophone"); mic != entry.end() && mic->is_boolean()) {
            track.isMicrophone = mic->get<bool>();
        }
        track.offset = offsetOf(entry);
        journal.tracks.push_back(std::move(track));
    }
    if (journal.tracks.empty()) {
        return std::nullopt;
    }
    if (auto video = document.find("video"); video != document.end() && video->is_object()) {
        if (auto name = fileName(*video)) {
            journal.videoFile = *name;
            journal.videoOffset = offsetOf(*video);
        }
    }
    return journal;
}

std::filesystem::path CaptureJournal::fileFor(const std::filesystem::path& folder,
                                              const std::string& recordingId) {
    return folder / (recordingId + suffix);
}

bool CaptureJournal::noteVideo(const std::filesystem::path& folder, const std::string& recordingId,
                               const std::filesystem::path& videoFile, Support::Duration offset) {
    const auto note = fileFor(folder, recordingId);
    auto text = Support::Files::readIfExists(note);
    auto journal = text ? parse(*text) : std::nullopt;
    if (!journal) {
        return false;
    }
    journal->videoFile = videoFile.filename();
    journal->videoOffset = offset;
    Support::Files::writeAtomically(note, journal->serialise());
    return true;
}

} // namespace AudioEngine
