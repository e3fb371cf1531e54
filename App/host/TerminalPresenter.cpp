#include "App/host/TerminalPresenter.h"

#include "Support/Log.h"
#include "UI/calendar/MeetingOverlayKeyPolicy.h"
#include "UI/recording/RecordingControlPresentation.h"

#include <fmt/format.h>

#include <termios.h>
#include <unistd.h>

namespace App {

using KeyPolicy = UI::MeetingOverlayKeyPolicy;

struct TerminalPresenter::Terminal {
    int fd;
    termios saved{};
    bool active = false;
    explicit Terminal(int f) : fd(f) {
        if (::tcgetattr(fd, &saved) == 0) {
            termios raw = saved;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // keep ISIG: Ctrl-C still quits
            raw.c_cc[VMIN] = 0;
            raw.c_cc[VTIME] = 0;
            active = ::tcsetattr(fd, TCSANOW, &raw) == 0;
        }
    }
    ~Terminal() {
        if (active) {
            ::tcsetattr(fd, TCSANOW, &saved);
        }
    }
};

bool TerminalPresenter::isTerminal(int inputFd) {
    return inputFd >= 0 && ::isatty(inputFd) && ::isatty(STDOUT_FILENO);
}

TerminalPresenter::TerminalPresenter(Support::MainLoop& loop, Support::Scheduler& scheduler,
                                     UI::RecordingState& state, Streams streams, std::string timeZoneID,
                                     std::string locale)
    : scheduler_(scheduler), state_(state), out_(streams.out), err_(streams.err), inputFd_(streams.inputFd),
      timeZoneID_(std::move(timeZoneID)), locale_(std::move(locale)), interactive_(streams.interactive) {
    if (interactive_) {
        if (inputFd_ >= 0 && ::isatty(inputFd_)) {
            terminal_ = std::make_unique<Terminal>(inputFd_);
        }
        Support::setStderrSink([this](std::string_view line) { printLogLine(line); });
    }
    phaseSub_ = state_.phasePublisher().observe([this](const UI::RecordingPhase& phase) {
        tick_.reset();
        if (phase.isRecording() && interactive_) {
            tick_ = scheduler_.every(std::chrono::seconds(1), [this] { redraw(); });
        }
        redraw();
    });
    if (inputFd_ >= 0) {
        inputWatch_ = loop.watchReadable(inputFd_, [this] { onInput(); });
    }
    redraw();
}

TerminalPresenter::~TerminalPresenter() {
    if (interactive_) {
        Support::setStderrSink({});
        out_ << "\n" << std::flush;
    }
}

std::string TerminalPresenter::statusText(const UI::RecordingPhase& phase, Support::Date now) {
    using Kind = UI::RecordingPhase::Kind;
    switch (phase.kind) {
    case Kind::idle:
        return "Not recording";
    case Kind::starting:
        return "Starting…";
    case Kind::recording: {
        auto secs = std::max<long long>(
            0, std::chrono::duration_cast<std::chrono::seconds>(now - phase.date).count());
        if (secs >= 3600) {
            return fmt::format("Recording {}:{:02}:{:02}", secs / 3600, (secs / 60) % 60, secs % 60);
        }
        return fmt::format("Recording {:02}:{:02}", secs / 60, secs % 60);
    }
    case Kind::saving:
        return "Saving…";
    }
    return "";
}

std::string TerminalPresenter::statusLine(const UI::RecordingPhase& phase, Support::Date now) {
    auto control = UI::RecordingControlPresentation::forToolbar(phase);
    std::string hint = control.isEnabled ? fmt::format("[r] {}", control.title) : control.title;
    return fmt::format("{}  ·  {}  ·  [j] Join next  [m] Menu  [l] Library  [q] Quit", statusText(phase, now),
                       hint);
}

std::string TerminalPresenter::cardText(const UI::MeetingReminderCard& card,
                                        std::optional<std::size_t> focus) {
    const auto& p = card.presentation;
    std::string out = fmt::format("┌─ {} · {}\n", p.serviceName, p.relativeTime);
    out += fmt::format("│ {}   {}\n", p.title, p.timeRangeText);
    for (const auto& extra : p.extraRows) {
        out += fmt::format("│ also: {} ({})\n", extra.title, extra.detail);
    }
    std::string buttons;
    for (std::size_t i = 0; i < p.buttons.size(); ++i) {
        auto label = std::string(UI::title(p.buttons[i]));
        buttons += (focus && *focus == i) ? fmt::format(" [{}] ", label) : fmt::format("  {}  ", label);
    }
    out += "│" + buttons + "\n";
    if (p.snoozeLine) {
        out += "│ " + *p.snoozeLine + "\n";
    }
    out += "└─ Tab/arrows move · Return chooses · Esc dismisses";
    return out;
}

void TerminalPresenter::message(const std::string& text) {
    if (interactive_) {
        {
            std::lock_guard lock(outputMutex_);
            out_ << "\r\033[2K" << text << "\n";
            lastLine_.clear();
        }
        redraw();
    } else {
        std::lock_guard lock(outputMutex_);
        out_ << text << "\n" << std::flush;
    }
}

void TerminalPresenter::printLogLine(std::string_view line) {
    std::lock_guard lock(outputMutex_);
    out_ << "\r\033[2K" << std::flush;
    err_ << line << std::flush;
    out_ << lastLine_ << std::flush;
}

void TerminalPresenter::redraw() {
    auto line = statusLine(state_.phase(), scheduler_.now());
    std::lock_guard lock(outputMutex_);
    if (line == lastLine_) {
        return;
    }
    lastLine_ = line;
    if (interactive_) {
        out_ << "\r\033[2K" << line << std::flush;
    } else {
        out_ << line << "\n" << std::flush;
    }
}

void TerminalPresenter::showBanner(const UI::MeetingReminderBanner& banner, Support::Date now) {
    auto when = UI::MeetingOverlayPresentation::timeText(banner.meeting.start, now);
    switch (banner.kind) {
    case UI::MeetingReminderBanner::Kind::headsUp:
        message(
            fmt::format("⏰ Heads-up: {} · {}  ([j] joins and records)", banner.meeting.displayTitle(), when));
        break;
    case UI::MeetingReminderBanner::Kind::busy:
        message(
            fmt::format("⏰ Next up while you are in a call: {} · {}", banner.meeting.displayTitle(), when));
        break;
    case UI::MeetingReminderBanner::Kind::notRecordingYet:
        message(fmt::format("⚠ {} has started and nothing is being recorded ([r] records)",
                            banner.meeting.displayTitle()));
        break;
    }
}

void TerminalPresenter::showCard(const UI::MeetingReminderCard& card, CardActionHandler onAction) {
    const auto guardEnds = scheduler_.monotonicNow() +
                           (card.shownAt + Support::seconds(KeyPolicy::guardPeriod) - scheduler_.now());
    card_ = CardState{card, std::move(onAction), std::nullopt, false, guardEnds};
    drawCard();
}

void TerminalPresenter::drawCard() {
    if (card_) {
        message(cardText(card_->card, card_->focus));
    }
}

void TerminalPresenter::closeCard() {
    if (card_) {
        card_.reset();
        message("(the meeting card closed)");
    }
}

void TerminalPresenter::showMeeting(const UI::CalendarMeeting& meeting) {
    message(fmt::format("{} — {} ({})", meeting.displayTitle(),
                        UI::MeetingOverlayPresentation::timeText(meeting.start, scheduler_.now()),
                        meeting.link.webURL.string()));
}

void TerminalPresenter::onInput() {
    char buf[256];
    ssize_t n = ::read(inputFd_, buf, sizeof buf);
    if (n <= 0) {
        if (n == 0) {
            inputWatch_.reset(); // end of input: keep running until a signal
        }
        return;
    }
    std::string_view bytes(buf, static_cast<std::size_t>(n));
    if (!interactive_) {
        // Line mode: one command per line; card keys by name ("tab", "enter", "esc", "right", "left").
        for (char c : bytes) {
            if (c != '\n') {
                if (c != '\r') {
                    pendingInput_ += c;
                }
                continue;
            }
            auto command = std::exchange(pendingInput_, "");
            if (card_) {
                if (command == "tab" || command == "right" || command == "down") {
                    handleCardKey(command == "tab" ? KeyPolicy::tabKey : 124);
                } else if (command == "left" || command == "up") {
                    handleCardKey(123);
                } else if (command == "enter" || command == "return" || command.empty()) {
                    handleCardKey(KeyPolicy::returnKey);
                } else if (command == "esc" || command == "escape") {
                    handleCardKey(KeyPolicy::escapeKey);
                }
                continue;
            }
            if (!command.empty()) {
                handleKey(command[0]);
            }
        }
        return;
    }
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char c = bytes[i];
        if (!card_) {
            handleKey(c);
            continue;
        }
        if (c == '\033') {
            if (i + 2 < bytes.size() + 0 && bytes[i + 1] == '[') {
                char code = bytes[i + 2];
                i += 2;
                std::uint16_t key = code == 'A'   ? 126
                                    : code == 'B' ? 125
                                    : code == 'C' ? 124
                                    : code == 'D' ? 123
                                                  : 0;
                if (key) {
                    handleCardKey(key);
                }
                continue;
            }
            handleCardKey(KeyPolicy::escapeKey);
        } else if (c == '\t') {
            handleCardKey(KeyPolicy::tabKey);
        } else if (c == '\r' || c == '\n') {
            handleCardKey(KeyPolicy::returnKey);
        } else if (c == ' ') {
            handleCardKey(KeyPolicy::spaceKey);
        } else {
            handleCardKey(0xFFFF); // any other key: swallowed by the card's policy or passed through
        }
    }
}

void TerminalPresenter::handleCardKey(std::uint16_t keyCode) {
    if (!card_) {
        return;
    }
    bool guarded = scheduler_.monotonicNow() < card_->guardEnds;
    auto outcome = KeyPolicy::outcome(keyCode, guarded, card_->hasNavigated);
    const auto& buttons = card_->card.presentation.buttons;
    switch (outcome) {
    case KeyPolicy::Outcome::swallow:
        return;
    case KeyPolicy::Outcome::escape: {
        if (auto action = KeyPolicy::action(outcome)) {
            auto handler = card_->onAction;
            handler(*action);
        }
        return;
    }
    case KeyPolicy::Outcome::navigation: {
        if (buttons.empty()) {
            return;
        }
        bool back = keyCode == 123 || keyCode == 126;
        std::size_t count = buttons.size();
        if (!card_->focus) {
            card_->focus = back ? count - 1 : 0;
        } else {
            card_->focus = back ? (*card_->focus + count - 1) % count : (*card_->focus + 1) % count;
        }
        card_->hasNavigated = true;
        drawCard();
        return;
    }
    case KeyPolicy::Outcome::passThrough:
        if ((keyCode == KeyPolicy::returnKey || keyCode == KeyPolicy::spaceKey ||
             keyCode == KeyPolicy::keypadEnterKey) &&
            card_->hasNavigated && card_->focus && *card_->focus < buttons.size()) {
            auto action = UI::MeetingOverlayAction::button(buttons[*card_->focus]);
            auto handler = card_->onAction;
            handler(action);
        }
        return;
    }
}

void TerminalPresenter::handleKey(char key) {
    switch (key) {
    case 'r':
    case 'R':
        if (UI::RecordingControlPresentation::forToolbar(state_.phase()).isEnabled) {
            actions_.toggleRecording();
        }
        break;
    case 'm':
    case 'M':
        actions_.showMenu();
        break;
    case 'j':
    case 'J':
        actions_.joinNext();
        break;
    case 'l':
    case 'L':
        actions_.showLibrary();
        break;
    case 'q':
    case 'Q':
        actions_.quit();
        break;
    default:
        break;
    }
}

} // namespace App
