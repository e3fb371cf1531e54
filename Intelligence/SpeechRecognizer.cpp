#include "Intelligence/SpeechRecognizer.h"

#include "Support/Text.h"

namespace Intelligence {

std::string SpeechOptions::prompt() const {
    std::string text;
    for (const auto& name : attendeeNames) {
        auto trimmed = Support::Text::trimmed(name);
        if (trimmed.empty()) {
            continue;
        }
        text += text.empty() ? trimmed : ", " + trimmed;
    }
    return text.empty() ? text : text + ".";
}

} // namespace Intelligence
