// `vellmora transcript lines [FILE]` and `vellmora transcript show ID`: transcripts as speaker-labelled
// lines.
#include "App/cli/LibraryCliSupport.h"
#include "Database/TranscriptTextFormatter.h"
#include "UI/library/RecordingImporter.h"

#include <fmt/format.h>

#include <memory>

namespace App {

namespace {

struct TranscriptOptions {
    std::string file;
    std::string database;
    std::int64_t id = 0;
};

void printLines(CliContext& ctx, const std::vector<Database::DatabaseManager::TranscriptSegment>& segments) {
    for (const auto& line : Database::TranscriptTextFormatter::lines(segments)) {
        ctx.out() << line << "\n";
    }
}

const CommandRegistration registration{
    "transcript", [](CLI::App& root, CliContext& ctx) {
        auto* transcript = root.add_subcommand("transcript", "Show transcripts as speaker-labelled lines");
        transcript->require_subcommand(1);
        auto o = std::make_shared<TranscriptOptions>();

        auto* lines = transcript->add_subcommand(
            "lines",
            "Format a JSON list of segments ({\"start\", \"text\", \"speaker\", \"isFromMicrophone\"})");
        lines->add_option("FILE", o->file, "The JSON file (- or nothing: stdin)");
        lines->callback([&ctx, o] {
            std::vector<Database::DatabaseManager::TranscriptSegment> segments;
            try {
                segments = UI::RecordingImporter::parseSegments(LibraryCli::readInput(ctx, o->file));
            } catch (const UI::ImportError& e) {
                throw UsageError(fmt::format("{}: {}", o->file.empty() || o->file == "-" ? "stdin" : o->file,
                                             e.description()));
            }
            printLines(ctx, segments);
        });

        auto* show = transcript->add_subcommand("show", "Show the transcript of a stored recording");
        show->add_option("ID", o->id, "The recording's id")->required();
        show->add_option("--database", o->database,
                         "The library file (default: library.sqlite in the data folder)")
            ->option_text("PATH");
        show->callback([&ctx, o] {
            auto db = LibraryCli::openLibrary(o->database, false);
            const auto r = LibraryCli::requireRecording(db.get(), o->id);
            printLines(ctx, db->allSegments(r.id));
        });
    }};

} // namespace

} // namespace App
