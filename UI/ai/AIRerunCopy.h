// The progress line shown while a summary or an action-item list is being written, from the engine's
// latest progress report (nothing before the first report). A stage the job does not have reads as the
// job's opening text. Pure.
#pragma once

#include "Intelligence/LongMeeting.h"

#include <optional>
#include <string>

namespace UI {

struct AIRerunCopy {
    static std::string summary(const std::optional<Intelligence::GenerationProgress>& progress);
    static std::string actionItems(const std::optional<Intelligence::GenerationProgress>& progress);
};

} // namespace UI
