#include "App/host/TerminalPresenter.h"

#include "UI/recording/RecordingControlPresentation.h"

#include <fmt/format.h>

#include <termios.h>
#include <unistd.h>

namespace App {

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

TerminalPresenter::TerminalPresenter(Support::MainLoop& loop, Support::Scheduler& scheduler,
                                     UI::RecordingState& state, std::ostream& out, int inputFd,
                                     Actions actions)
    : scheduler_(scheduler), state_(state), out_(out), inputFd_(inputFd), actions_(std::move(actions)),
      interactive_(inputFd >= 0 && ::isatty(inputFd) && ::isatty(STDOUT_FILENO)) {
    if (interactive_) {
        terminal_ = std::make_unique<Terminal>(inputFd_);
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
    return fmt::format("{}  ·  {}  ·  [q] Quit", statusText(phase, now), hint);
}

void TerminalPresenter::message(const std::string& text) {
    if (interactive_) {
        out_ << "\r\033[2K" << text << "\n";
        lastLine_.clear();
        redraw();
    } else {
        out_ << text << "\n" << std::flush;
    }
}

void TerminalPresenter::redraw() {
    auto line = statusLine(state_.phase(), scheduler_.now());
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

void TerminalPresenter::onInput() {
    char buf[256];
    ssize_t n = ::read(inputFd_, buf, sizeof buf);
    if (n <= 0) {
        if (n == 0) {
            inputWatch_.reset(); // end of input: keep running until a signal
        }
        return;
    }
    for (ssize_t i = 0; i < n; ++i) {
        if (interactive_) {
            handleKey(buf[i]);
        } else if (buf[i] == '\n') {
            auto command = std::exchange(pendingInput_, "");
            if (!command.empty()) {
                handleKey(command[0]);
            }
        } else if (buf[i] != '\r' && buf[i] != ' ') {
            pendingInput_ += buf[i];
        }
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
    case 'q':
    case 'Q':
        actions_.quit();
        break;
    default:
        break;
    }
}

} // namespace App
