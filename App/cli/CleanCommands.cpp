// `vellmora clean whisper|response|title|action-items`: stdin through one of the text-cleaning rules.
// For a title or action items with no acceptable result nothing is printed and the status is 1.
#include "App/cli/LibraryCliSupport.h"
#include "UI/library/TextCleaning.h"

#include <functional>
#include <optional>

namespace App {

namespace {

using Cleaner = std::function<std::optional<std::string>(const std::string&)>;

const CommandRegistration registration{
    "clean", [](CLI::App& root, CliContext& ctx) {
        auto* clean =
            root.add_subcommand("clean", "Clean speech-recognition text or a model's answer read from stdin");
        clean->require_subcommand(1);
        auto add = [&](const char* name, const char* help, Cleaner cleaner) {
            auto* cmd = clean->add_subcommand(name, help);
            cmd->callback([&ctx, cleaner] {
                auto result = cleaner(LibraryCli::readInput(ctx, ""));
                if (!result) {
                    ctx.setExitStatus(1);
                    return;
                }
                ctx.out() << *result << "\n";
            });
        };
        add("whisper", "Remove recognizer tokens, [BLANK_AUDIO] and double spaces", [](const std::string& s) {
            return std::optional<std::string>(UI::TextCleaning::cleanWhisperTokens(s));
        });
        add("response", "Remove reasoning blocks and model control tokens", [](const std::string& s) {
            return std::optional<std::string>(UI::TextCleaning::sanitizeModelResponse(s));
        });
        add("title", "Pick the meeting title from a model's answer",
            [](const std::string& s) { return UI::TextCleaning::cleanTitleResponse(s); });
        add("action-items", "Turn a model's answer into a list of action items",
            [](const std::string& s) { return UI::TextCleaning::cleanActionItemsResponse(s); });
    }};

} // namespace

} // namespace App
