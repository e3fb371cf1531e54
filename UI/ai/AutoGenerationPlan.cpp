#include "UI/ai/AutoGenerationPlan.h"

#include <algorithm>

namespace UI {

std::vector<ProcessingType> AutoGenerationPlan::types(bool wantsSummary, bool wantsActionItems,
                                                      const std::set<ProcessingType>& alreadyInProgress) {
    std::vector<ProcessingType> result;
    if (wantsSummary && !alreadyInProgress.count(ProcessingType::summary)) {
        result.push_back(ProcessingType::summary);
    }
    if (wantsActionItems && !alreadyInProgress.count(ProcessingType::actionItems)) {
        result.push_back(ProcessingType::actionItems);
    }
    return result;
}

bool AutoGenerationPlan::runsCombined(const std::vector<ProcessingType>& types) {
    auto has = [&](ProcessingType t) { return std::find(types.begin(), types.end(), t) != types.end(); };
    return has(ProcessingType::summary) && has(ProcessingType::actionItems);
}

} // namespace UI
