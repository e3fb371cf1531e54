// The terminal face of the host: a status line with the recording control for the current phase and the
// elapsed time, and single keys for its actions. On a terminal, keys act at once (no Return needed) and the
// status line is redrawn in place every second while recording; otherwise (a pipe, CI) each change is
// printed as a line and commands are read as lines ("r", "q").
//
// Keys: r = the record/stop control (whatever it offers now), q = quit. Ctrl-C also quits.
#pragma once

#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "UI/recording/RecordingState.h"

#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace App {

class TerminalPresenter {
public:
    struct Actions {
        std::function<void()> toggleRecording;
        std::function<void()> quit;
    };

    TerminalPresenter(Support::MainLoop& loop, Support::Scheduler& scheduler, UI::RecordingState& state,
                      std::ostream& out, int inputFd, Actions actions);
    ~TerminalPresenter();

    /// Prints a line above the status line (notifications, events).
    void message(const std::string& text);
    void redraw();

    /// "Recording 00:05" style status for a phase at `now`.
    static std::string statusText(const UI::RecordingPhase& phase, Support::Date now);
    /// The status line: status, then the control's key hint ("[r] Stop").
    static std::string statusLine(const UI::RecordingPhase& phase, Support::Date now);

private:
    void onInput();
    void handleKey(char key);

    struct Terminal;
    Support::Scheduler& scheduler_;
    UI::RecordingState& state_;
    std::ostream& out_;
    int inputFd_;
    Actions actions_;
    bool interactive_;
    std::unique_ptr<Terminal> terminal_;
    std::string lastLine_;
    std::string pendingInput_;
    Support::Subscription phaseSub_;
    Support::Subscription tick_;
    Support::Subscription inputWatch_;
};

} // namespace App
