#include "UI/ai/AIGenerationClient.h"

#include "Support/BlockingWork.h"
#include "UI/ai/AIGenerationService.h"
#include "UI/ai/ModelNotReadyError.h"

namespace UI {

using Intelligence::TextStream;
using Support::Task;

TextStream translatingUnavailable(TextStream stream) {
    return TextStream::make([stream](TextStream::Sink sink) -> Task<void> {
        try {
            while (true) {
                auto fragment = co_await stream.next();
                if (!fragment) {
                    break;
                }
                sink.yield(std::move(*fragment));
            }
        } catch (const Intelligence::AIService::GenerationUnavailable& e) {
            throw ModelNotReadyError(e.reason());
        }
    });
}

namespace {

// Coroutines with their inputs as parameters: a coroutine lambda's captures would die with the client.
Task<void> waitTranslating(Intelligence::AIService& ai, std::function<void()> onWaiting) {
    try {
        auto wait = Support::awaitOwned(AIGenerationService::waitUntilModelIsReady(ai, std::move(onWaiting)));
        co_await wait;
    } catch (const Intelligence::AIService::GenerationUnavailable& e) {
        throw ModelNotReadyError(e.reason());
    }
}

Task<Intelligence::SummaryTemplate> resolveTemplateTask(Database::DatabaseManager& database,
                                                        Intelligence::SummaryTemplateStore store,
                                                        std::optional<std::string> explicitId,
                                                        Database::RecordingId id) {
    if (store.isAutoMatchEnabled()) {
        auto pending1 = Support::BlockingWork::run(
            [&database, id] { return AIGenerationService::summaryMeetingContext(id, database); });
        auto context = co_await pending1;
        co_return Intelligence::SummaryTemplateResolver::resolve(explicitId, context, store);
    }
    if (explicitId) {
        if (auto found = store.templateWithId(*explicitId)) {
            co_return *found;
        }
    }
    co_return Intelligence::SummaryTemplate::defaultTemplate();
}

} // namespace

AIGenerationClient AIGenerationClient::live(Database::DatabaseManager& database, Intelligence::AIService& ai,
                                            const Intelligence::SummaryTemplateStore& store,
                                            ScreenLabeler labelScreensBeforeSummary) {
    AIGenerationClient client;
    client.waitUntilReady = [&ai](std::function<void()> onWaiting) {
        return waitTranslating(ai, std::move(onWaiting));
    };
    auto summaryWith = [&database, &ai, labelScreensBeforeSummary](
                           RecordingId id, Intelligence::SummaryTemplate summaryTemplate,
                           Intelligence::ProgressHandler progress) {
        auto session = "summary-" + std::to_string(id);
        auto inner = TextStream::make([=, &database, &ai](TextStream::Sink sink) -> Task<void> {
            if (labelScreensBeforeSummary) {
                auto labelling = Support::awaitOwned(labelScreensBeforeSummary(id));
                co_await labelling;
            }
            auto stream = AIGenerationService::generateSummary(id, summaryTemplate, session,
                                                               Intelligence::LLMExecutionMode::interactive,
                                                               database, ai, progress);
            while (true) {
                auto fragment = co_await stream.next();
                if (!fragment) {
                    break;
                }
                sink.yield(std::move(*fragment));
            }
        });
        return translatingUnavailable(inner);
    };
    client.summary = [summaryWith](RecordingId id, Intelligence::ProgressHandler progress) {
        return summaryWith(id, Intelligence::SummaryTemplate::defaultTemplate(), std::move(progress));
    };
    client.templatedSummary = summaryWith;
    client.actionItems = [&database, &ai](RecordingId id, Intelligence::ProgressHandler progress) {
        return translatingUnavailable(AIGenerationService::generateActionItems(
            id, "actions-" + std::to_string(id), Intelligence::LLMExecutionMode::interactive, database, ai,
            std::move(progress)));
    };
    client.title = [&database, &ai](RecordingId id) {
        return translatingUnavailable(AIGenerationService::generateTitle(id, database, ai));
    };
    // The stored summary is what chat and search read; there is no separate summary index to feed.
    client.indexSummary = [](RecordingId) -> Task<void> { co_return; };
    client.resolveTemplate = [&database, store](std::optional<std::string> explicitId, RecordingId id) {
        return resolveTemplateTask(database, store, std::move(explicitId), id);
    };
    return client;
}

} // namespace UI
