// The user-visible texts of the AI jobs: model wait texts, progress lines and the automatic plan.
#include "UI/ai/AIModelWaitCopy.h"
#include "UI/ai/AIRerunCopy.h"
#include "UI/ai/AutoGenerationPlan.h"
#include "UI/ai/ModelNotReadyError.h"

#include <gtest/gtest.h>

using namespace UI;
using Reason = Intelligence::AIService::GenerationUnavailableReason;
using Generation = Intelligence::AIService::Generation;
using Progress = Intelligence::GenerationProgress;
using Stage = Progress::Stage;

TEST(AIModelWaitCopy, DescribesEveryReasonAndRecognisesItsOwnTexts) {
    const std::vector<std::pair<Reason, std::string>> cases = {
        {Reason::modelNotDownloaded("Llama 3"),
         "The AI model (Llama 3) isn't downloaded. Download it in Settings, then try again."},
        {Reason::downloadFailed("No space left."), "The AI model couldn't be downloaded. No space left."},
        {Reason::engineError("Invalid API key (401 Unauthorized)"),
         "AI error: Invalid API key (401 Unauthorized)"},
        {Reason::appQuitting(), "Vellmora is quitting."},
        {Reason::aiDisabled(), "AI is turned off. Turn it on in Settings to use this."},
        {Reason::noModelConfigured(), "AI model not configured. Go to Settings to set up an AI model."},
    };
    for (const auto& [reason, text] : cases) {
        EXPECT_EQ(AIModelWaitCopy::unavailableMessage(reason), text);
        EXPECT_TRUE(AIModelWaitCopy::isUnavailableMessage(text)) << text;
        EXPECT_EQ(ModelNotReadyError(reason).description(), text);
    }
    EXPECT_EQ(ModelNotReadyError(Reason::aiDisabled()), ModelNotReadyError(Reason::aiDisabled()));
    EXPECT_FALSE(ModelNotReadyError(Reason::aiDisabled()) == ModelNotReadyError(Reason::appQuitting()));
    for (const std::string other : {"The AI model (x) is great", "AI error", "Vellmora is quitting",
                                    "Network down", "The AI model () isn't downloaded."}) {
        EXPECT_FALSE(AIModelWaitCopy::isUnavailableMessage(other)) << other;
    }
}

TEST(AIModelWaitCopy, SaysWhatAJobIsWaitingFor) {
    Generation ready;
    EXPECT_EQ(AIModelWaitCopy::message(ready), std::nullopt);
    EXPECT_EQ(AIModelWaitCopy::buttonHelp(ready), std::nullopt);

    Generation downloading{Generation::Kind::downloading, 0.427, "Qwen"};
    EXPECT_EQ(AIModelWaitCopy::message(downloading), "Waiting for Qwen to finish downloading... 42%");
    EXPECT_EQ(AIModelWaitCopy::buttonHelp(downloading),
              "The AI model is still downloading (42%). This starts as soon as it's ready.");

    Generation loading{Generation::Kind::loading, 0, "Qwen"};
    EXPECT_EQ(AIModelWaitCopy::message(loading), "Waiting for Qwen to load...");
    EXPECT_EQ(AIModelWaitCopy::buttonHelp(loading),
              "The AI model is loading. This starts as soon as it's ready.");

    Generation install{Generation::Kind::registryInstall, 0.999, "", "unknown-model", false};
    EXPECT_EQ(AIModelWaitCopy::message(install), "Waiting for the AI model to finish downloading... 99%");
    install.downloadedAndLoading = true;
    EXPECT_EQ(AIModelWaitCopy::message(install), "Waiting for the AI model to load...");
}

TEST(AIRerunCopy, NamesEachStageOfASummaryAndAnActionItemList) {
    struct Case {
        std::optional<Progress> progress;
        std::string summary;
        std::string actionItems;
    };
    const std::vector<Case> cases = {
        {std::nullopt, "Generating summary...", "Extracting action items..."},
        {Progress{Stage::perPart, 2, 5, false}, "Summarizing part 2 of 5…", "Reading part 2 of 5…"},
        {Progress{Stage::perPart, 2, 8, true}, "Summarizing part 2 of 5…", "Reading part 2 of 5…"},
        {Progress{Stage::perTopic, 1, 3, true}, "Summarizing topic 1 of 3…",
         "Listing action items for topic 1 of 3…"},
        {Progress{Stage::findingTopics, 1, 1}, "Finding topics…", "Extracting action items..."},
        {Progress{Stage::writingOverview, 1, 1}, "Writing overview…", "Extracting action items..."},
        {Progress{Stage::listingDecisions, 1, 1}, "Listing key decisions…", "Extracting action items..."},
        {Progress{Stage::listingOutcomes, 1, 1}, "Listing outcomes and next steps…",
         "Extracting action items..."},
        {Progress{Stage::finalCombined, 1, 1}, "Writing overview, decisions and next steps…",
         "Extracting action items..."},
        {Progress{Stage::readingWholeMeeting, 1, 1}, "Generating summary...", "Reading the meeting…"},
        {Progress{Stage::merging, 1, 1}, "Generating summary...", "Combining action items…"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AIRerunCopy::summary(c.progress), c.summary);
        EXPECT_EQ(AIRerunCopy::actionItems(c.progress), c.actionItems);
    }
}

TEST(AutoGenerationPlan, PutsTheSummaryFirstAndCombinesOnlyWhenBothRun) {
    using T = ProcessingType;
    struct Case {
        bool summary, actions;
        std::set<T> inProgress;
        std::vector<T> expected;
        bool combined;
    };
    const std::vector<Case> cases = {
        {true, true, {}, {T::summary, T::actionItems}, true},
        {true, true, {T::summary}, {T::actionItems}, false},
        {true, true, {T::actionItems, T::transcription}, {T::summary}, false},
        {false, true, {}, {T::actionItems}, false},
        {false, false, {}, {}, false},
    };
    for (const auto& c : cases) {
        const auto types = AutoGenerationPlan::types(c.summary, c.actions, c.inProgress);
        EXPECT_EQ(types, c.expected);
        EXPECT_EQ(AutoGenerationPlan::runsCombined(types), c.combined);
    }
    EXPECT_EQ(rawValue(T::actionItems), "actionItems");
    EXPECT_EQ(processingTypeFromRawValue("video"), T::video);
    EXPECT_EQ(processingTypeFromRawValue("Video"), std::nullopt);
}
