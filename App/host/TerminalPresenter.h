// The terminal face of the host: a status line with the recording control for the current phase and the
// elapsed time; reminders (banners and the overlay card); the menu on request; and single keys for actions.
//
// On a terminal, keys act at once and the status line is redrawn in place every second while recording;
// otherwise (a pipe, CI) each change is printed as a line and commands are read as lines. On a terminal,
// everything else printed goes above the status line, which is drawn again after it: the presenter's own
// messages, and the log's lines for stderr (from any thread), which it takes over while it lives.
//
// Keys: r = the record/stop control, m = print the menu, j = join and record the next meeting, l = the
// library, q = quit (Ctrl-C too). While the overlay card is shown it has the keyboard, with its key policy:
// every key is swallowed during the guard period, Tab and the arrows move the focus, Return or Space choose
// the focused button once the focus was moved, Escape dismisses.
#pragma once

#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "UI/calendar/MeetingReminderPresenter.h"
#include "UI/recording/RecordingState.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace App {

class TerminalPresenter final : public UI::MeetingReminderPresenter {
public:
    struct Actions {
        std::function<void()> toggleRecording;
        std::function<void()> quit;
        std::function<void()> showMenu;
        std::function<void()> joinNext;
        std::function<void()> showLibrary;
    };

    struct Streams {
        std::ostream& out;
        /// Where the log's lines go (stderr).
        std::ostream& err;
        /// Where keys come from (-1: none).
        int inputFd = 0;
        /// Keys act at once and the status line stays in place (see `isTerminal`).
        bool interactive = false;
    };

    TerminalPresenter(Support::MainLoop& loop, Support::Scheduler& scheduler, UI::RecordingState& state,
                      Streams streams, std::string timeZoneID, std::string locale);
    ~TerminalPresenter() override;
    /// The keys' actions (set once the host's services exist; keys do nothing before).
    void setActions(Actions actions) { actions_ = std::move(actions); }
    /// Whether keys on `inputFd` and the standard output are a terminal.
    static bool isTerminal(int inputFd);

    /// Prints a block of text above the status line (notifications, events, the menu).
    void message(const std::string& text);
    void redraw();

    // Reminders.
    void prepare() override {}
    void showBanner(const UI::MeetingReminderBanner& banner, Support::Date now) override;
    void removeBanners(const std::set<std::string>&) override {}
    void showCard(const UI::MeetingReminderCard& card, CardActionHandler onAction) override;
    void closeCard() override;
    void showMeeting(const UI::CalendarMeeting& meeting) override;

    bool isShowingCard() const { return card_.has_value(); }

    /// "Recording 00:05" style status for a phase at `now`.
    static std::string statusText(const UI::RecordingPhase& phase, Support::Date now);
    /// The status line: status, then the keys.
    static std::string statusLine(const UI::RecordingPhase& phase, Support::Date now);
    /// The card as text, with the focused button (if any) in brackets.
    static std::string cardText(const UI::MeetingReminderCard& card, std::optional<std::size_t> focus);

private:
    struct CardState {
        UI::MeetingReminderCard card;
        CardActionHandler onAction;
        std::optional<std::size_t> focus;
        bool hasNavigated = false;
        /// The end of the guard period after the card was shown, on the monotonic clock.
        Support::MonotonicInstant guardEnds{};
    };
    void onInput();
    void handleKey(char key);
    /// Keys while the card is up, as virtual key codes.
    void handleCardKey(std::uint16_t keyCode);
    void drawCard();
    /// A log line for stderr, from any thread.
    void printLogLine(std::string_view line);

    struct Terminal;
    Support::Scheduler& scheduler_;
    UI::RecordingState& state_;
    std::ostream& out_;
    std::ostream& err_;
    int inputFd_;
    Actions actions_;
    std::string timeZoneID_;
    std::string locale_;
    bool interactive_;
    std::unique_ptr<Terminal> terminal_;
    /// Guards the streams and `lastLine_`: log lines arrive from any thread.
    std::mutex outputMutex_;
    std::string lastLine_;
    std::string pendingInput_;
    std::optional<CardState> card_;
    Support::Subscription phaseSub_;
    Support::Subscription tick_;
    Support::Subscription inputWatch_;
};

} // namespace App
