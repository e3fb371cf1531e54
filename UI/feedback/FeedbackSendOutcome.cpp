#include "UI/feedback/FeedbackSendOutcome.h"

namespace UI {

FeedbackSendOutcome FeedbackSendOutcome::forStatus(int status) {
    if (status >= 200 && status < 300) {
        return {Kind::sent, status};
    }
    if (status == rateLimitedStatus) {
        return {Kind::rateLimited, status};
    }
    return {Kind::httpStatus, status};
}

std::string FeedbackSendOutcome::message() const {
    switch (kind) {
    case Kind::sent:
        return sentMessage;
    case Kind::rateLimited:
        return rateLimitedMessage;
    case Kind::httpStatus:
        if (status == tooLargeStatus) {
            return tooLargeMessage;
        }
        break;
    case Kind::networkFailure:
    case Kind::undecodableAnswer:
        break;
    }
    return genericFailureMessage;
}

namespace CrashReportTexts {

std::string waitingText(std::size_t count) {
    if (count <= 1) {
        return {};
    }
    return std::to_string(count) + " crash reports are waiting. They'll be sent together.";
}

std::string couldNotKeepLogMessage(const std::string& reason) {
    return "Could not keep a crash report: " + reason;
}

} // namespace CrashReportTexts

} // namespace UI
