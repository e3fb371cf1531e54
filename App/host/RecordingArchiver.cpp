#include "App/host/RecordingArchiver.h"

#include "AudioEngine/RecordingRecovery.h"
#include "Support/BlockingWork.h"

#include <fmt/format.h>

#include <ctime>

namespace App {

RecordingArchiver::RecordingArchiver(Dependencies dependencies) : deps_(std::move(dependencies)) {}

RecordingArchiver::~RecordingArchiver() {
    stop();
}

void RecordingArchiver::recoverInterrupted(const std::filesystem::path& folder) {
    auto interrupted = AudioEngine::RecordingRecovery::recover(folder);
    for (const auto& problem : interrupted.problems) {
        deps_.say(problem);
    }
    for (const auto& recording : interrupted.recovered) {
        archive(recording);
    }
    if (auto line = AudioEngine::RecordingRecovery::summary(
            interrupted, deps_.database ? "the library" : "the recordings folder")) {
        deps_.say(*line);
    }
}

std::string RecordingArchiver::localClock(Support::Date date) {
    std::time_t t = static_cast<std::time_t>(Support::unixSeconds(date));
    std::tm tm{};
    localtime_r(&t, &tm);
    char buf[64];
    std::strftime(buf, sizeof buf, "%a %d %b %H:%M", &tm);
    return buf;
}

Database::DatabaseManager::Recording
RecordingArchiver::record(const AudioEngine::CapturedRecording& recording,
                          const std::optional<UI::CalendarMeeting>& meeting) {
    Database::DatabaseManager::Recording record;
    record.title = meeting ? meeting->displayTitle() : "Recording " + localClock(recording.startedAt);
    record.startDate = recording.startedAt;
    record.duration = recording.durationSeconds;
    record.fileURL = recording.audioFile;
    record.videoFileURL = recording.videoFile;
    if (recording.videoFile && recording.videoOffset) {
        record.videoOffset = Support::toSeconds(*recording.videoOffset);
    }
    for (const auto& track : recording.tracks) {
        record.tracks.push_back({.file = track.file,
                                 .isMicrophone = track.isMicrophone,
                                 .offset = Support::toSeconds(track.offset)});
    }
    if (meeting) {
        record.calendarEventTitle = meeting->title;
        record.calendarEventNotes = meeting->notesExcerpt;
        record.meetingPlatform = std::string(UI::rawValue(meeting->link.service));
        for (const auto& attendee : meeting->attendees) {
            if (attendee.name && !attendee.name->empty()) {
                record.participants.push_back(*attendee.name);
            }
        }
    }
    return record;
}

void RecordingArchiver::archive(const AudioEngine::CapturedRecording& recording) {
    auto meeting = deps_.takeMeeting ? deps_.takeMeeting() : std::nullopt;
    if (!deps_.database) {
        deps_.say(fmt::format("Saved a {:.0f}-second recording: {}", recording.durationSeconds,
                              recording.audioFile.string()));
        return;
    }
    inserts_.remove_if([](const Support::Task<>& task) { return task.isDone(); });
    inserts_.push_back(insert(record(recording, meeting), recording));
}

Support::Task<> RecordingArchiver::insert(Database::DatabaseManager::Recording record,
                                          AudioEngine::CapturedRecording recording) {
    auto* database = deps_.database;
    try {
        auto id = co_await Support::BlockingWork::run(
            [database, record] { return database->insertRecording(record); });
        deps_.say(fmt::format("Saved “{}” ({:.0f} s) to the library as #{}", record.title,
                              recording.durationSeconds, id));
        recordingAdded.emit(id, recording.videoFile.has_value());
    } catch (const std::exception& e) {
        deps_.say(fmt::format("The recording was kept at {} but could not be added to the library: {}",
                              recording.audioFile.string(), e.what()));
    }
}

void RecordingArchiver::stop() {
    for (auto& task : inserts_) {
        task.cancel();
    }
    inserts_.clear();
}

Support::Task<> RecordingArchiver::idle() {
    auto pending = inserts_;
    for (auto& task : pending) {
        try {
            co_await task;
        } catch (const Support::Cancelled&) {
        }
    }
}

} // namespace App
