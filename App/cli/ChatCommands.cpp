// `vellmora chat [--recording ID] QUESTION`: an answer from the recordings' transcripts, streamed, then the
// passages it was written from.
#include "App/Cli.h"
#include "App/cli/AICommandSupport.h"
#include "Database/TranscriptTextFormatter.h"
#include "Intelligence/RAGPipeline.h"
#include "Support/Text.h"
#include "UI/ai/ChatErrorMessage.h"

namespace {

void chat(App::CliContext& ctx, const std::optional<std::string>& recording,
          const std::vector<std::string>& words) {
    const auto question = Support::Text::trimmed(Support::Text::joined(words, " "));
    if (question.empty()) {
        throw App::UsageError("ask a question");
    }
    Intelligence::ChatScope scope;
    if (recording) {
        scope.recordingId = App::parseRecordingId(*recording);
    }
    App::AICommandEnvironment env(ctx);
    auto& database = env.database();
    if (scope.recordingId && !database.recording(*scope.recordingId)) {
        throw App::CommandFailed("There is no recording with id " + *recording + ".");
    }
    Intelligence::RAGPipeline pipeline(env.ai(), database);
    auto& out = ctx.out();
    auto task = Support::startTask([&]() -> Support::Task<Intelligence::AnswerSources> {
        auto asking = pipeline.answer(question, scope, "cli");
        auto answer = co_await asking;
        while (true) {
            auto token = co_await answer.tokens.next();
            if (!token) {
                break;
            }
            out << *token << std::flush;
        }
        co_return answer.sources;
    });
    Intelligence::AnswerSources sources;
    try {
        sources = env.wait(task);
    } catch (...) {
        throw App::CommandFailed(UI::ChatErrorMessage::text(std::current_exception()));
    }
    out << "\n\nSources:\n";
    for (const auto& s : sources.all) {
        out << "[" << s.number << "] " << (s.recordingTitle.empty() ? "Untitled" : s.recordingTitle)
            << " (recording " << s.recordingId << ", "
            << Database::TranscriptTextFormatter::timestamp(s.startTime) << ")";
        if (!s.speaker.empty()) {
            out << " " << s.speaker;
        }
        out << ": " << s.text << "\n";
    }
}

const App::CommandRegistration registration{
    "chat", [](CLI::App& root, App::CliContext& ctx) {
        struct Options {
            std::optional<std::string> recording;
            std::vector<std::string> words;
        };
        auto o = std::make_shared<Options>();
        auto* cmd = root.add_subcommand("chat", "Ask a question about your recordings");
        cmd->add_option("--recording", o->recording, "Ask about this recording only")->option_text("ID");
        cmd->add_option("QUESTION", o->words, "The question")->required();
        cmd->callback([&ctx, o] { chat(ctx, o->recording, o->words); });
    }};

} // namespace
