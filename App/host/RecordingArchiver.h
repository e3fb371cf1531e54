// Keeps what the capture saved: each `AudioEngine::CapturedRecording` the recording controller hands over
// becomes a library record (title, tracks, video, and the meeting it belongs to: its title, notes excerpt,
// platform and named attendees). The insert runs on the blocking-work pool, never on the main loop; the
// result is said in one line and `recordingAdded` is emitted on the main loop (the background services and,
// later, processing queues follow it).
//
// Without a library (it could not be opened), or when the insert fails, the recording stays a file and the
// user is told where it is: a recording is never lost silently. `stop` cancels inserts still waiting for
// their result (the pool finishes the write itself, so the row is not lost either). Main loop only.
#pragma once

#include "AudioEngine/CaptureEngine.h"
#include "Database/DatabaseManager.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"

#include <filesystem>
#include <functional>
#include <list>
#include <optional>
#include <string>

namespace App {

class RecordingArchiver {
public:
    struct Dependencies {
        /// Null when the library could not be opened.
        Database::DatabaseManager* database = nullptr;
        /// The meeting the recording belongs to, taken once (nothing for a recording of no meeting).
        std::function<std::optional<UI::CalendarMeeting>()> takeMeeting;
        std::function<void(const std::string&)> say;
    };

    explicit RecordingArchiver(Dependencies dependencies);
    ~RecordingArchiver();
    RecordingArchiver(const RecordingArchiver&) = delete;
    RecordingArchiver& operator=(const RecordingArchiver&) = delete;

    /// Starts adding `recording` to the library.
    void archive(const AudioEngine::CapturedRecording& recording);
    /// Finishes the recordings in `folder` that a crash or a power cut interrupted and archives them; each
    /// problem and a summary are said. Call before anything records, so that no new recording's note can be
    /// taken for an old one.
    void recoverInterrupted(const std::filesystem::path& folder);
    /// Cancels inserts still waiting for their result.
    void stop();
    /// Done when every insert started so far has finished (tests, shutdown).
    Support::Task<> idle();

    /// The new record's id and whether it has a screen video.
    Support::Signal<Database::RecordingId, bool> recordingAdded;

    /// The library record for a captured recording, and the meeting it belongs to.
    static Database::DatabaseManager::Recording record(const AudioEngine::CapturedRecording& recording,
                                                       const std::optional<UI::CalendarMeeting>& meeting);
    /// "Thu 26 Nov 14:05" in the local time zone.
    static std::string localClock(Support::Date date);

private:
    Support::Task<> insert(Database::DatabaseManager::Recording record,
                           AudioEngine::CapturedRecording recording);

    Dependencies deps_;
    std::list<Support::Task<>> inserts_;
};

} // namespace App
