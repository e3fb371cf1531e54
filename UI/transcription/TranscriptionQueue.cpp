#include "UI/transcription/TranscriptionQueue.h"

#include "Platform/HttpClient.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "UI/calendar/CalendarAttendeeHints.h"
#include "UI/recording/ProcessingNotifications.h"
#include "UI/transcription/TranscriptAssembly.h"

#include <algorithm>

namespace UI {

namespace {
const Support::Logger log("transcription");
constexpr const char* transcriptionType = "transcription";
} // namespace

TranscriptionQueue::TranscriptionQueue(Dependencies dependencies) : deps_(std::move(dependencies)) {}

TranscriptionQueue::~TranscriptionQueue() {
    stop();
}

std::vector<std::string>
TranscriptionQueue::attendeeHints(const Database::DatabaseManager::Recording& recording,
                                  const std::optional<CalendarAttendeeHints::User>& user) {
    // The recording keeps only names: each participant is a person whose answer is not known.
    std::vector<CalendarAttendee> attendees;
    attendees.reserve(recording.participants.size());
    for (const auto& participant : recording.participants) {
        CalendarAttendee attendee;
        attendee.name = participant;
        if (participant.find('@') != std::string::npos) {
            attendee.email = Support::Text::trimmed(participant);
        }
        attendees.push_back(std::move(attendee));
    }
    return CalendarAttendeeHints::names(attendees, std::nullopt, user);
}

std::vector<Database::DatabaseManager::RecordingTrack>
TranscriptionQueue::tracksOf(const Database::DatabaseManager::Recording& recording) {
    if (!recording.tracks.empty()) {
        return recording.tracks;
    }
    return {{recording.fileURL, false, 0}};
}

void TranscriptionQueue::start() {
    retryTimer_.reset();
    if (running_ && !running_->isDone()) {
        return;
    }
    running_ = pump();
}

void TranscriptionQueue::enqueue(Database::RecordingId id, bool force) {
    try {
        postCount(deps_.file.add(id, force));
    } catch (const std::exception& e) {
        log.error("Recording {} could not be queued for transcription: {}", id, e.what());
        deps_.say("Recording " + std::to_string(id) + " could not be queued for transcription: " + e.what());
        return;
    }
    start();
}

void TranscriptionQueue::stop() {
    retryTimer_.reset();
    if (running_) {
        running_->cancel(); // stays in the file: the next start resumes it
        running_.reset();
    }
}

bool TranscriptionQueue::isIdle() const {
    return !running_ || running_->isDone();
}

void TranscriptionQueue::postCount(const TranscriptionQueueFile::Contents& contents) {
    ProcessingNotifications::postQueueChanged(deps_.center, static_cast<int>(contents.queue.size()), 0);
}

void TranscriptionQueue::reportProblem(const std::string& sentence) {
    try {
        deps_.file.setProblem(sentence);
    } catch (const std::exception& e) {
        log.error("The transcription queue could not be written: {}", e.what());
    }
    if (lastSaid_ != sentence) {
        lastSaid_ = sentence;
        log.warning("{}", sentence);
        deps_.say(sentence + " The recording stays queued.");
    }
}

Support::Task<void> TranscriptionQueue::pump() {
    while (true) {
        auto contents = deps_.file.load();
        postCount(contents);
        if (contents.queue.empty()) {
            if (contents.problem) {
                deps_.file.setProblem(std::nullopt);
            }
            co_return;
        }
        const auto entry = contents.queue.front();
        auto one = transcribeOne(entry); // awaited as owned: stopping the queue stops it too
        const Outcome outcome = co_await Support::awaitOwned(one);
        if (outcome == Outcome::done || outcome == Outcome::dropped) {
            try {
                postCount(deps_.file.remove(entry.id));
            } catch (const std::exception& e) {
                log.error("The transcription queue could not be written: {}", e.what());
                co_return;
            }
            continue;
        }
        retryTimer_ = deps_.scheduler.after(deps_.retryDelay, [this] { start(); });
        if (outcome == Outcome::retryLater) {
            // Nothing is transcribed until the retry: what waits for the transcripts goes ahead without.
            for (const auto& waiting : deps_.file.load().queue) {
                settled(waiting.id);
            }
        }
        co_return;
    }
}

Support::Task<TranscriptionQueue::Outcome>
TranscriptionQueue::transcribeOne(TranscriptionQueueFile::Entry entry) {
    auto lock = deps_.file.tryLock();
    if (!lock) {
        reportProblem("Another Vellmora process is transcribing; this one waits for it.");
        co_return Outcome::busy;
    }
    auto* database = &deps_.database;
    const auto id = entry.id;
    auto recording = co_await Support::BlockingWork::run([database, id] { return database->recording(id); });
    if (!recording) {
        log.info("Recording {} is gone; taken off the transcription queue", id);
        co_return Outcome::dropped;
    }
    if (recording->hasTranscript && !entry.force) {
        settled(id);
        co_return Outcome::dropped;
    }

    std::shared_ptr<Intelligence::SpeechRecognizer> engine;
    try {
        engine = deps_.engine();
    } catch (const Intelligence::TranscriptionError& e) {
        reportProblem(e.description());
        co_return Outcome::retryLater;
    }
    if (!engine) {
        reportProblem("No speech engine is set up. Choose one with `vellmora transcription configure`.");
        co_return Outcome::retryLater;
    }

    ProcessingNotifications::postProcessingStarted(deps_.center, id, transcriptionType, false);
    const Intelligence::SpeechOptions options{deps_.language(), attendeeHints(*recording, deps_.user())};
    std::vector<TranscriptAssembly::TrackSegments> results;
    std::optional<Intelligence::TranscriptionError> failure;
    for (const auto& track : tracksOf(*recording)) {
        try {
            auto work = engine->transcribe({track.file, track.offset}, options, {});
            auto segments = co_await Support::awaitOwned(work);
            results.push_back({track.isMicrophone, std::move(segments)});
        } catch (const Intelligence::TranscriptionError& e) {
            failure = e;
        }
        if (failure) {
            break;
        }
    }
    if (failure) {
        ProcessingNotifications::postProcessingCompleted(deps_.center, id, transcriptionType,
                                                         failure->description());
        if (failure->retryLater()) {
            reportProblem(failure->description());
            co_return Outcome::retryLater;
        }
        deps_.say("Recording " + std::to_string(id) + " cannot be transcribed: " + failure->description());
        settled(id);
        co_return Outcome::dropped;
    }

    auto segments = TranscriptAssembly::assemble(results);
    const int count = static_cast<int>(segments.size());
    std::optional<std::string> storeFailure;
    try {
        co_await Support::BlockingWork::run(
            [database, id, segments = std::move(segments)] { database->saveTranscript(id, segments); });
    } catch (const Database::DatabaseError& e) {
        storeFailure = e.description();
    }
    if (storeFailure) {
        ProcessingNotifications::postProcessingCompleted(deps_.center, id, transcriptionType, storeFailure);
        reportProblem("The transcript of recording " + std::to_string(id) +
                      " could not be stored: " + *storeFailure);
        co_return Outcome::retryLater;
    }
    if (lastSaid_) {
        lastSaid_.reset();
        deps_.file.setProblem(std::nullopt);
    }
    log.info("Recording {} transcribed: {} segments", id, count);
    ProcessingNotifications::postProcessingCompleted(deps_.center, id, transcriptionType);
    transcribed(id, count);
    settled(id);
    co_return Outcome::done;
}

} // namespace UI
