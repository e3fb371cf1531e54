// The processing queue from a saved recording to its transcript: recordings are queued by id (a saved or
// recovered recording, an import, `vellmora library transcribe`), one is transcribed at a time, track by
// track, and the merged transcript is stored (`TranscriptAssembly`); then the "transcription" processing
// notification is posted, which starts the AI title, summary and action items (App's BackgroundServices
// listens) and refreshes the library.
//
// The queue lives in `TranscriptionQueueFile`, so a queue interrupted by quit, crash or reboot resumes at the
// next `start`; an entry leaves the file only after its transcript is stored (a crash mid-way transcribes it
// again from the start, once). The file's lock keeps two processes from transcribing at once.
//
// Work that must follow transcription (slides extraction, which would compete with it for the processor and
// matches its pictures to the transcript's times) waits for `settled`, which also comes when transcription is
// off or failed, so that it never waits for a transcript that will not come.
//
// The menu is told through the processing notifications: "queuedTranscriptions" after every change, and
// processing started/completed of type "transcription" around each recording.
//
// Failures: a missing engine, model, key or server (`TranscriptionError::retryLater`) leaves the recording
// queued, keeps the sentence as the queue's `problem` (shown by `vellmora transcription status`), says it
// once, and tries again after `retryDelay` or at the next `enqueue`/`start`. Audio that cannot be read is
// taken off the queue with its sentence said; the recording itself is never touched. A recording that no
// longer exists, or already has a transcript (unless forced), is taken off silently.
//
// Main loop only. The engine is asked for at each recording (`Dependencies::engine`), so a change of settings
// takes effect at the next one.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/SpeechRecognizer.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "UI/calendar/CalendarAttendeeHints.h"
#include "UI/transcription/TranscriptionQueueFile.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace UI {

class TranscriptionQueue {
public:
    struct Dependencies {
        Database::DatabaseManager& database;
        Support::NotificationCenter& center;
        Support::Scheduler& scheduler;
        /// The engine to use now; throws `Intelligence::TranscriptionError` when none is set up.
        std::function<std::shared_ptr<Intelligence::SpeechRecognizer>()> engine;
        /// "auto" or a language code.
        std::function<std::string()> language = [] { return std::string("auto"); };
        TranscriptionQueueFile file = TranscriptionQueueFile();
        /// Who the user is (name and address), whose own name is left out of the attendee names.
        std::function<std::optional<CalendarAttendeeHints::User>()> user = [] {
            return std::optional<CalendarAttendeeHints::User>();
        };
        /// A sentence for the user's terminal or notification.
        std::function<void(const std::string&)> say = [](const std::string&) {};
        Support::Duration retryDelay = Support::seconds(600);
    };

    explicit TranscriptionQueue(Dependencies dependencies);
    ~TranscriptionQueue();
    TranscriptionQueue(const TranscriptionQueue&) = delete;
    TranscriptionQueue& operator=(const TranscriptionQueue&) = delete;

    /// Resumes what the file holds.
    void start();
    /// Queues the recording and starts on it when nothing else is being transcribed.
    void enqueue(Database::RecordingId id, bool force = false);
    /// Stops the current transcription (it stays queued for the next start) and the retry timer.
    void stop();

    bool isIdle() const;
    /// The persisted queue, in order.
    TranscriptionQueueFile::Contents contents() const { return deps_.file.load(); }

    /// After a recording's transcript was stored, with its number of segments.
    Support::Signal<Database::RecordingId, int> transcribed;
    /// When the queue is done with a recording for now, so that the work that follows its transcription
    /// (the slides of its screen video) starts: after its transcript was stored, after its transcription
    /// failed, when it needs none (it has a transcript), and when no transcription can run now (no engine
    /// set up, the engine or the store failing), then for every queued recording, again at each retry.
    /// Not for a recording that no longer exists, nor while another process transcribes.
    Support::Signal<Database::RecordingId> settled;

    /// The attendee names handed to the engine for a recording: its participants as `CalendarAttendeeHints`
    /// picks them (trimmed, each once, at most 15, none when there are more than 25, the user left out). A
    /// participant written as an address is compared with the user's address.
    static std::vector<std::string> attendeeHints(const Database::DatabaseManager::Recording& recording,
                                                  const std::optional<CalendarAttendeeHints::User>& user);
    /// The tracks of a recording: its own, or its single file as the other side's.
    static std::vector<Database::DatabaseManager::RecordingTrack>
    tracksOf(const Database::DatabaseManager::Recording& recording);

private:
    enum class Outcome { done, dropped, retryLater, busy };
    Support::Task<void> pump();
    Support::Task<Outcome> transcribeOne(TranscriptionQueueFile::Entry entry);
    void postCount(const TranscriptionQueueFile::Contents& contents);
    void reportProblem(const std::string& sentence);

    Dependencies deps_;
    std::optional<Support::Task<void>> running_;
    Support::Subscription retryTimer_;
    std::optional<std::string> lastSaid_;
};

} // namespace UI
