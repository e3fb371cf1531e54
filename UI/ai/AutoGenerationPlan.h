// Which AI jobs start by themselves after a recording was transcribed, and whether the summary and the
// action items then come from one combined request. Pure.
#pragma once

#include "UI/ai/ProcessingType.h"

#include <set>
#include <vector>

namespace UI {

struct AutoGenerationPlan {
    /// `summary` (when wanted and not already in progress), then `actionItems` (likewise).
    static std::vector<ProcessingType> types(bool wantsSummary, bool wantsActionItems,
                                             const std::set<ProcessingType>& alreadyInProgress);
    /// True exactly when both `summary` and `actionItems` are in `types`.
    static bool runsCombined(const std::vector<ProcessingType>& types);
};

} // namespace UI
