// The texts users read while the AI model cannot run yet or at all: why a job could not start, what it is
// waiting for, and the help of a button that starts as soon as the model is ready. Pure.
#pragma once

#include "Intelligence/AIService.h"

#include <optional>
#include <string>

namespace UI {

struct AIModelWaitCopy {
    using Reason = Intelligence::AIService::GenerationUnavailableReason;
    using Generation = Intelligence::AIService::Generation;

    static std::string unavailableMessage(const Reason& reason);
    /// True for any text `unavailableMessage` can produce.
    static bool isUnavailableMessage(const std::string& text);
    /// What a job is waiting for; nothing when the model is ready.
    static std::optional<std::string> message(const Generation& status);
    static std::optional<std::string> buttonHelp(const Generation& status);
    /// The display name of the model a status is about ("the AI model" for an unknown registry model).
    static std::string modelName(const Generation& status);
};

} // namespace UI
