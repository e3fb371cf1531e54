// The short text the chat shows for a failure, by the kind of failure: the model not ready, nothing found,
// a broken answer, the recordings store; any other error shows its own description. Pure.
#pragma once

#include <exception>
#include <string>

namespace UI {

struct ChatErrorMessage {
    static constexpr const char* notReady = "The AI isn't ready yet. Try again in a moment.";
    static constexpr const char* noMatches =
        "Nothing in your recordings matched that. Try asking another way.";
    static constexpr const char* modelFailedToLoad =
        "The AI model couldn't be loaded. Try again in a moment.";
    static constexpr const char* writingFailed = "Couldn't write an answer just now. Try again in a moment.";
    static constexpr const char* databaseFailed =
        "Couldn't look through your recordings just now. Try again in a moment.";

    static std::string text(const std::exception_ptr& error);
};

} // namespace UI
