// The error a job ends with when the AI model cannot run: its description is the wait copy's sentence
// for the reason. Equal when the reasons are equal.
#pragma once

#include "Intelligence/AIService.h"
#include "Support/Errors.h"
#include "UI/ai/AIModelWaitCopy.h"

namespace UI {

class ModelNotReadyError : public Support::UserFacingError {
public:
    using Reason = Intelligence::AIService::GenerationUnavailableReason;
    explicit ModelNotReadyError(Reason reason)
        : Support::UserFacingError(AIModelWaitCopy::unavailableMessage(reason)), reason_(std::move(reason)) {}
    const Reason& reason() const { return reason_; }
    bool operator==(const ModelNotReadyError& other) const { return reason_ == other.reason_; }

private:
    Reason reason_{};
};

} // namespace UI
