#include "UI/ai/AIRerunCopy.h"

namespace UI {

namespace {
using Stage = Intelligence::GenerationProgress::Stage;

std::string counted(const char* before, const Intelligence::GenerationProgress& p, bool partStage) {
    int count = p.count;
    if (partStage && p.countIncludesClosingSteps) {
        count -= 3;
    }
    return before + std::to_string(p.step) + " of " + std::to_string(count) + "…";
}
} // namespace

std::string AIRerunCopy::summary(const std::optional<Intelligence::GenerationProgress>& progress) {
    if (!progress) {
        return "Generating summary...";
    }
    switch (progress->stage) {
    case Stage::perPart:
        return counted("Summarizing part ", *progress, true);
    case Stage::perTopic:
        return counted("Summarizing topic ", *progress, false);
    case Stage::findingTopics:
        return "Finding topics…";
    case Stage::writingOverview:
        return "Writing overview…";
    case Stage::listingDecisions:
        return "Listing key decisions…";
    case Stage::listingOutcomes:
        return "Listing outcomes and next steps…";
    case Stage::finalCombined:
        return "Writing overview, decisions and next steps…";
    case Stage::readingWholeMeeting:
    case Stage::merging:
        break;
    }
    return "Generating summary...";
}

std::string AIRerunCopy::actionItems(const std::optional<Intelligence::GenerationProgress>& progress) {
    if (!progress) {
        return "Extracting action items...";
    }
    switch (progress->stage) {
    case Stage::perPart:
        return counted("Reading part ", *progress, true);
    case Stage::perTopic:
        return counted("Listing action items for topic ", *progress, false);
    case Stage::readingWholeMeeting:
        return "Reading the meeting…";
    case Stage::merging:
        return "Combining action items…";
    default:
        break;
    }
    return "Extracting action items...";
}

} // namespace UI
