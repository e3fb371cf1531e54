// What the report sheet says after a send, for problem reports and crash reports alike. The sheet's model
// sets `message(outcome)` when a send ends; the fallback button is always offered on failure.
//
// Rate limiting: the service answers HTTP 429 when too many reports came from this computer; the client
// maps that status (and only that one) to `rateLimited`.
#pragma once

#include <cstddef>
#include <string>

namespace UI {

struct FeedbackSendOutcome {
    enum class Kind {
        sent,
        httpStatus,        ///< the service answered with a status other than success
        rateLimited,       ///< the service refused: too many reports from this computer
        networkFailure,    ///< no answer at all
        undecodableAnswer, ///< an answer that could not be read
    };
    Kind kind = Kind::sent;
    int status = 0;

    static constexpr int tooLargeStatus = 413;
    static constexpr int rateLimitedStatus = 429;

    static constexpr const char* sentMessage = "Thanks — your report was sent.";
    static constexpr const char* tooLargeMessage = "This report is too large to send. Email us instead.";
    static constexpr const char* rateLimitedMessage =
        "Too many reports from this Mac right now. Try again in a minute, or email us.";
    static constexpr const char* genericFailureMessage =
        "Vellmora couldn't send the report. Check your internet connection, or email us instead.";
    static constexpr const char* emailFallbackTitle = "Email Us Instead";

    /// The outcome of an answer with `status`: success for 2xx, rate limited for 429, else `httpStatus`.
    static FeedbackSendOutcome forStatus(int status);

    bool isSuccess() const { return kind == Kind::sent; }
    /// The sentence the sheet shows.
    std::string message() const;

    bool operator==(const FeedbackSendOutcome&) const = default;
};

/// The texts around crash reports and the reports preference.
namespace CrashReportTexts {
inline constexpr const char* offerToSendKey = "crashReports.offerToSend";
inline constexpr const char* offerToSendToggle = "Offer to send crash reports";
inline constexpr const char* offerToSendHelp =
    "After Vellmora quits unexpectedly, ask before sending a crash report";
inline constexpr const char* noTelemetryNote = "No telemetry. Reports are sent only when you choose to";
inline constexpr const char* promptExplanation =
    "You can send the developer a crash report to help fix this. It shows where in its code Vellmora "
    "stopped, your app and macOS versions and your Mac model. It never includes recordings, transcripts or "
    "file names.";

/// "<count> crash reports are waiting. They'll be sent together." when more than one waits; else empty.
std::string waitingText(std::size_t count);
/// The log line written when a crash report cannot be kept on disk.
std::string couldNotKeepLogMessage(const std::string& reason);
} // namespace CrashReportTexts

} // namespace UI
