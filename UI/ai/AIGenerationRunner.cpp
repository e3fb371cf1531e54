#include "UI/ai/AIGenerationRunner.h"

#include "Intelligence/ResponseProcessor.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "UI/ai/AIGenerationService.h"
#include "UI/ai/AIModelWaitCopy.h"
#include "UI/ai/AIRerunCopy.h"
#include "UI/ai/AutoGenerationPlan.h"
#include "UI/ai/ModelNotReadyError.h"
#include "UI/ai/ProcessingType.h"
#include "UI/library/TextCleaning.h"

#include <memory>
#include <set>

namespace UI {

namespace {

using Intelligence::TextStream;
using Kind = AIGenerationJobs::Kind;
using Outcome = AIGenerationJobs::Outcome;
using Support::Task;

const Support::Logger log("ai.runner");

/// Reads the whole stream, showing it as it grows.
Task<std::string> run(TextStream stream, const AIGenerationRunner::Display& display) {
    std::string text;
    while (true) {
        auto fragment = co_await stream.next();
        if (!fragment) {
            break;
        }
        text += *fragment;
        if (display.onFragment) {
            display.onFragment(*fragment);
        }
        if (display.onText) {
            display.onText(text);
        }
    }
    co_return text;
}

std::string cleanedModelText(const std::string& raw) {
    return Support::Text::trimmed(Intelligence::ResponseProcessor::stripSpecialTokens(
        Intelligence::ResponseProcessor::stripThinkingPatterns(raw)));
}

std::string describe(const std::exception& e) {
    if (auto* facing = dynamic_cast<const Support::UserFacingError*>(&e)) {
        return facing->description();
    }
    return e.what();
}

} // namespace

Task<void> AIGenerationRunner::waitForModel(Kind kind, RecordingId recordingId, std::optional<Token> token,
                                            const AIGenerationClient& generation, AIGenerationJobs& jobs,
                                            Display display) {
    auto onWaiting = [kind, recordingId, token, &jobs, display] {
        if (jobs.token(kind, recordingId) != token) {
            return;
        }
        if (kind == Kind::summary || kind == Kind::actionItems) {
            ProcessingNotifications::postProcessingStarted(
                jobs.center(), recordingId,
                kind == Kind::summary ? ProcessingType::summary : ProcessingType::actionItems, true);
        }
    };
    auto wait = Support::awaitOwned(generation.waitUntilReady(onWaiting));
    co_await wait;
}

Task<void> AIGenerationRunner::summary(RecordingId recordingId, Token token,
                                       std::optional<Intelligence::SummaryTemplate> summaryTemplate,
                                       AIGenerationClient generation, Database::DatabaseManager& database,
                                       AIGenerationJobs& jobs, Display display) {
    const AIGenerationJobs::Key key{Kind::summary, recordingId};
    try {
        auto wait =
            Support::awaitOwned(waitForModel(Kind::summary, recordingId, token, generation, jobs, display));
        co_await wait;
        if (display.onProgress) {
            display.onProgress(AIRerunCopy::summary(std::nullopt));
        }
        Intelligence::ProgressHandler progress = [display](const Intelligence::GenerationProgress& p) {
            if (display.onProgress) {
                display.onProgress(AIRerunCopy::summary(p));
            }
        };
        auto stream = summaryTemplate ? generation.templatedSummary(recordingId, *summaryTemplate, progress)
                                      : generation.summary(recordingId, progress);
        auto running = Support::awaitOwned(run(stream, display));
        auto raw = co_await running;
        auto text = cleanedModelText(raw);
        if (text.empty()) {
            jobs.finish(key, token, Outcome::finished(std::nullopt, false));
            co_return;
        }
        auto pending1 = Support::BlockingWork::run(
            [&database, recordingId, text] { database.saveSummary(recordingId, text); });
        co_await pending1;
        auto index = Support::awaitOwned(generation.indexSummary(recordingId));
        co_await index;
        jobs.finish(key, token, Outcome::finished(text, true));
    } catch (const std::exception& e) {
        jobs.finish(key, token, Outcome::failed(describe(e)));
    }
}

Task<void> AIGenerationRunner::actionItems(RecordingId recordingId, Token token, bool force,
                                           AIGenerationClient generation, Database::DatabaseManager& database,
                                           AIGenerationJobs& jobs, Display display) {
    const AIGenerationJobs::Key key{Kind::actionItems, recordingId};
    try {
        if (!force) {
            auto pending2 = Support::BlockingWork::run(
                [&database, recordingId] { return persistedActionItems(recordingId, database); });
            auto stored = co_await pending2;
            if (!stored.empty()) {
                if (display.onActionItems) {
                    display.onActionItems(stored);
                }
                jobs.finish(key, token, Outcome::finished(std::nullopt, false));
                co_return;
            }
        }
        auto wait = Support::awaitOwned(
            waitForModel(Kind::actionItems, recordingId, token, generation, jobs, display));
        co_await wait;
        if (display.onProgress) {
            display.onProgress(AIRerunCopy::actionItems(std::nullopt));
        }
        Intelligence::ProgressHandler progress = [display](const Intelligence::GenerationProgress& p) {
            if (display.onProgress) {
                display.onProgress(AIRerunCopy::actionItems(p));
            }
        };
        auto stream = generation.actionItems(recordingId, progress);
        auto running = Support::awaitOwned(run(stream, display));
        auto raw = co_await running;
        auto pending3 = Support::BlockingWork::run([&database, recordingId, raw] {
            return AIGenerationService::finalActionItems(recordingId, raw, database);
        });
        auto items = co_await pending3;
        if (display.onActionItems) {
            display.onActionItems(items);
        }
        std::vector<std::string> texts;
        for (const auto& item : items) {
            texts.push_back(item.text);
        }
        jobs.finish(key, token, Outcome::finished(Support::Text::joined(texts, "\n"), true));
    } catch (const std::exception& e) {
        log.error("Failed to generate action items: {}", describe(e));
        jobs.finish(key, token, Outcome::failed(describe(e)));
    }
}

Task<void> AIGenerationRunner::title(RecordingId recordingId, Token token, AIGenerationClient generation,
                                     Database::DatabaseManager& database, AIGenerationJobs& jobs,
                                     Display display) {
    const AIGenerationJobs::Key key{Kind::title, recordingId};
    try {
        auto wait =
            Support::awaitOwned(waitForModel(Kind::title, recordingId, token, generation, jobs, display));
        co_await wait;
        auto stream = generation.title(recordingId);
        auto running = Support::awaitOwned(run(stream, display));
        auto raw = co_await running;
        auto title = TextCleaning::cleanTitleResponse(cleanedModelText(raw));
        if (!title) {
            if (display.onTitleError) {
                display.onTitleError(titleErrorMessage);
            }
            jobs.finish(key, token, Outcome::finished(std::nullopt, false));
            co_return;
        }
        auto saved = *title;
        auto pending4 = Support::BlockingWork::run(
            [&database, recordingId, saved] { database.saveTitle(recordingId, saved); });
        co_await pending4;
        jobs.finish(key, token, Outcome::finished(saved, true));
    } catch (const std::exception& e) {
        jobs.finish(key, token, Outcome::failed(describe(e)));
    }
}

std::vector<AIGenerationRunner::ActionItem>
AIGenerationRunner::persistedActionItems(RecordingId recordingId, Database::DatabaseManager& database) {
    return database.actionItems(recordingId);
}

void AIGenerationRunner::startAutomatic(RecordingId recordingId, bool wantsSummary, bool wantsActionItems,
                                        bool wantsTitle, AIGenerationJobs& jobs,
                                        AIGenerationClient generation, Database::DatabaseManager& database,
                                        Intelligence::AIService& ai) {
    std::set<ProcessingType> inProgress;
    if (jobs.isRunning(Kind::summary, recordingId)) {
        inProgress.insert(ProcessingType::summary);
    }
    if (jobs.isRunning(Kind::actionItems, recordingId)) {
        inProgress.insert(ProcessingType::actionItems);
    }
    const auto types = AutoGenerationPlan::types(wantsSummary, wantsActionItems, inProgress);
    if (AutoGenerationPlan::runsCombined(types)) {
        // One engine request for both; each job awaits the shared result and stores its half. The request
        // stops when neither job is left to want it.
        auto waiting = [recordingId, &jobs] {
            for (auto kind : {Kind::summary, Kind::actionItems}) {
                if (jobs.isRunning(kind, recordingId)) {
                    ProcessingNotifications::postProcessingStarted(
                        jobs.center(), recordingId,
                        kind == Kind::summary ? ProcessingType::summary : ProcessingType::actionItems, true);
                }
            }
        };
        auto combined = Support::startTask([=, &database, &ai]() -> Task<Intelligence::LongMeetingResult> {
            auto wait = Support::awaitOwned(generation.waitUntilReady(waiting));
            co_await wait;
            auto result = std::make_shared<Intelligence::LongMeetingResult>();
            auto stream = translatingUnavailable(AIGenerationService::generateMeetingContent(
                recordingId, true, true, Intelligence::SummaryTemplate::defaultTemplate(),
                Intelligence::LLMExecutionMode::background, database, ai,
                [result](const Intelligence::LongMeetingResult& r) { *result = r; }));
            auto collecting = Support::awaitOwned(TextStream::collect(stream));
            auto text = co_await collecting;
            (void)text;
            co_return *result;
        });
        auto stopIfUnwanted = [combined, recordingId, &jobs] {
            if (!jobs.isRunning(Kind::summary, recordingId) &&
                !jobs.isRunning(Kind::actionItems, recordingId)) {
                combined.cancel();
            }
        };
        jobs.startWithToken(Kind::summary, recordingId, [=, &jobs, &database](Token token) -> Task<void> {
            const AIGenerationJobs::Key key{Kind::summary, recordingId};
            try {
                auto content = co_await combined;
                auto text = cleanedModelText(content.summary.value_or(""));
                if (text.empty()) {
                    jobs.finish(key, token, Outcome::finished(std::nullopt, false));
                    co_return;
                }
                auto pending5 = Support::BlockingWork::run(
                    [&database, recordingId, text] { database.saveSummary(recordingId, text); });
                co_await pending5;
                jobs.finish(key, token, Outcome::finished(text, true));
            } catch (const Support::Cancelled&) {
                stopIfUnwanted();
                throw;
            } catch (const std::exception& e) {
                jobs.finish(key, token, Outcome::failed(describe(e)));
            }
        });
        jobs.startWithToken(Kind::actionItems, recordingId, [=, &jobs, &database](Token token) -> Task<void> {
            const AIGenerationJobs::Key key{Kind::actionItems, recordingId};
            try {
                auto content = co_await combined;
                auto raw = content.actionItems.value_or("");
                auto pending6 = Support::BlockingWork::run([&database, recordingId, raw] {
                    return AIGenerationService::finalActionItems(recordingId, raw, database);
                });
                auto items = co_await pending6;
                std::vector<std::string> texts;
                for (const auto& item : items) {
                    texts.push_back(item.text);
                }
                jobs.finish(key, token, Outcome::finished(Support::Text::joined(texts, "\n"), true));
            } catch (const Support::Cancelled&) {
                stopIfUnwanted();
                throw;
            } catch (const std::exception& e) {
                log.error("Failed to generate action items: {}", describe(e));
                jobs.finish(key, token, Outcome::failed(describe(e)));
            }
        });
    } else {
        for (auto type : types) {
            if (type == ProcessingType::summary) {
                jobs.startWithToken(Kind::summary, recordingId, [=, &jobs, &database](Token token) {
                    return summary(recordingId, token, std::nullopt, generation, database, jobs);
                });
            } else {
                jobs.startWithToken(Kind::actionItems, recordingId, [=, &jobs, &database](Token token) {
                    return actionItems(recordingId, token, false, generation, database, jobs);
                });
            }
        }
    }
    if (wantsTitle && !jobs.isRunning(Kind::title, recordingId)) {
        jobs.startWithToken(Kind::title, recordingId, [=, &jobs, &database](Token token) {
            return title(recordingId, token, generation, database, jobs);
        });
    }
}

} // namespace UI
