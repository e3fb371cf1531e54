// Records calls as the user asked: the host hands it the calls the detector (or the demo) sees starting and
// ending, and the "record now" answers of the reminders. It asks the join intents and the automatic-recording
// preference ("autoRecord", on when absent) whether a call is recorded, keeps the join-recording decider in
// step with the recording phase, and remembers the meeting a recording belongs to (for its title).
//
// A recording started on the user's explicit "record now" while the call already held the microphone is
// held: releasing the microphone does not end it, and it stops by itself at the hold deadline (the meeting's
// end plus five minutes, at least fifteen minutes from the start) unless the microphone was seen again for
// that call, after which the normal rule applies (the recording ends when the last call lets go). A call
// that starts while another one is recorded is left alone.
#pragma once

#include "App/host/RecordingController.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/JoinIntentStore.h"
#include "UI/calendar/JoinRecordingDecider.h"
#include "UI/recording/RecordingState.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace App {

class CallRecorder {
public:
    struct Dependencies {
        UI::RecordingState& state;
        RecordingController& controller;
        UI::JoinIntentStore& intents;
        Support::UserDefaults& defaults;
        Support::Scheduler& scheduler;
        /// The meetings of the calendar near now, for the title of a call no intent names.
        std::function<std::vector<UI::CalendarMeeting>()> upcoming;
        /// Told when a detected call is being recorded (the reminders then stop nagging).
        std::function<void(const std::string& bundleID, bool isBrowser)> didStartRecording;
        /// One line for the user.
        std::function<void(const std::string&)> say;
    };

    explicit CallRecorder(Dependencies deps);
    CallRecorder(const CallRecorder&) = delete;
    CallRecorder& operator=(const CallRecorder&) = delete;

    /// A meeting app or a browser took the microphone.
    void callStarted(const std::string& bundleID, bool isBrowser);
    /// Calls let go of the microphone; `noCallLeft` when none holds it any more.
    void callsEnded(bool noCallLeft);
    /// The user asked to record the meeting of this join intent now.
    void recordNow(const UI::JoinIntent& intent);

    /// Whether a recording is on, and whether one that a call caused is under way (for the reminders).
    bool isRecording() const;
    bool isHandlingCall() const { return decider_.phase != UI::JoinRecordingDecider::Phase::watching; }
    /// The meeting of the recording under way (or just saved), if known; taken once by whoever saves it.
    std::optional<UI::CalendarMeeting>& meeting() { return meeting_; }
    const UI::JoinRecordingDecider& decider() const { return decider_; }

private:
    void start(std::optional<Support::Date> holdUntil);
    void phaseChanged(const UI::RecordingPhase& phase);

    Dependencies deps_;
    UI::JoinRecordingDecider decider_;
    UI::JoinRecordingDecider::MicrophoneSource current_;
    std::optional<UI::CalendarMeeting> meeting_;
    Support::Subscription phaseSubscription_;
    Support::Subscription startWatch_;
    Support::Subscription holdTimer_;
};

} // namespace App
