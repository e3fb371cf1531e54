// `vellmora redact`: standard input with user names removed from file paths, to standard output.
#include "App/Cli.h"
#include "UI/feedback/DiagnosticRedaction.h"

#include <iterator>

namespace App {
namespace {

CommandRegistration registration{
    "redact", [](CLI::App& root, CliContext& ctx) {
        auto* redact = root.add_subcommand(
            "redact",
            "Copy standard input to standard output with the user names in /Users/… and /home/… paths "
            "replaced by <redacted>, as in a problem report");
        redact->callback([&ctx] {
            const std::string text((std::istreambuf_iterator<char>(ctx.in())),
                                   std::istreambuf_iterator<char>());
            ctx.out() << UI::DiagnosticRedaction::redactingUserPaths(text);
        });
    }};

} // namespace
} // namespace App
