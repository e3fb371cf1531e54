// `vellmora library list|search|show|favorite|delete|import|transcribe`: the recordings library from the
// terminal.
#include "App/cli/LibraryCliSupport.h"
#include "App/cli/TranscriptionCliSupport.h"
#include "Database/TranscriptTextFormatter.h"
#include "Intelligence/UnifiedSearchEngine.h"
#include "Support/Text.h"
#include "UI/library/Formatters.h"
#include "UI/library/RecordingFilter.h"
#include "UI/library/RecordingImporter.h"
#include "UI/library/RecordingSort.h"
#include "UI/library/RecordingTextIndex.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>
#include <memory>

namespace App {

namespace {

using Recording = Database::DatabaseManager::Recording;
using nlohmann::json;

struct LibraryOptions {
    std::string database;
    bool json = false;
    std::string filter = "all";
    std::string sort = "newest";
    std::string query;
    std::int64_t id = 0;
    bool yes = false;
    std::string file;
    std::vector<std::string> files;
    bool force = false;
};

const std::map<std::string, UI::RecordingFilter> filterNames = {
    {"all", UI::RecordingFilter::all},
    {"today", UI::RecordingFilter::today},
    {"this-week", UI::RecordingFilter::thisWeek},
    {"transcribed", UI::RecordingFilter::transcribed},
    {"favorites", UI::RecordingFilter::favorites},
};

const std::map<std::string, UI::RecordingSort> sortNames = {
    {"newest", UI::RecordingSort::newestFirst},   {"oldest", UI::RecordingSort::oldestFirst},
    {"longest", UI::RecordingSort::longestFirst}, {"shortest", UI::RecordingSort::shortestFirst},
    {"title", UI::RecordingSort::titleAZ},
};

template <typename Map> std::vector<std::string> keys(const Map& map) {
    std::vector<std::string> out;
    for (const auto& [k, v] : map) {
        out.push_back(k);
    }
    return out;
}

std::string listLine(const Recording& r, Support::Date now) {
    return fmt::format("{:>5}  {:<12}  {:>8}  {} {}", r.id,
                       UI::Formatters::formatRelativeDate(r.startDate, false, now),
                       LibraryCli::durationText(r.duration), r.isFavorite ? "★" : " ", r.title);
}

void addDatabaseOption(CLI::App* cmd, LibraryOptions& o) {
    cmd->add_option("--database", o.database, "The library file (default: library.sqlite in the data folder)")
        ->option_text("PATH");
}

void list(CliContext& ctx, const LibraryOptions& o) {
    auto db = LibraryCli::openLibrary(o.database, false);
    std::vector<Recording> all = db ? db->allRecordings() : std::vector<Recording>{};
    const auto now = Support::systemNow();
    const auto filter = filterNames.at(o.filter);
    const auto bounds = UI::dateBounds(filter, now, UI::DateContext::current());
    std::vector<Recording> shown;
    for (auto& r : all) {
        if (UI::matches(filter, r, bounds)) {
            shown.push_back(std::move(r));
        }
    }
    UI::sortRecordings(shown, sortNames.at(o.sort));
    if (o.json) {
        json out = json::array();
        for (const auto& r : shown) {
            out.push_back(LibraryCli::recordingJson(r));
        }
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    if (shown.empty()) {
        ctx.out() << "No recordings.\n";
        return;
    }
    for (const auto& r : shown) {
        ctx.out() << listLine(r, now) << "\n";
    }
}

void search(CliContext& ctx, const LibraryOptions& o) {
    if (Support::Text::isBlank(o.query)) {
        throw UsageError("Give some words to search for.");
    }
    auto db = LibraryCli::openLibrary(o.database, false);
    std::vector<Recording> all = db ? db->allRecordings() : std::vector<Recording>{};
    UI::RecordingTextIndex index;
    index.rebuild(all);
    std::vector<Recording> matches;
    for (auto i : index.matching(o.query, false)) {
        matches.push_back(all[i]);
    }
    std::vector<Intelligence::MomentHit> moments;
    if (db) {
        moments = Intelligence::UnifiedSearchEngine(*db).search(Support::Text::trimmed(o.query)).hits;
    }
    std::map<Database::RecordingId, const Recording*> byId;
    for (const auto& r : all) {
        byId.emplace(r.id, &r);
    }
    if (o.json) {
        json out{{"recordings", json::array()}, {"moments", json::array()}};
        for (const auto& r : matches) {
            out["recordings"].push_back(LibraryCli::recordingJson(r));
        }
        for (const auto& m : moments) {
            auto it = byId.find(m.recordingId);
            out["moments"].push_back({{"recordingId", m.recordingId},
                                      {"title", it == byId.end() ? "" : it->second->title},
                                      {"start", m.startTime},
                                      {"speaker", m.speaker},
                                      {"text", m.text}});
        }
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    if (matches.empty() && moments.empty()) {
        ctx.out() << fmt::format("Nothing matches \"{}\".\n", Support::Text::trimmed(o.query));
        return;
    }
    const auto now = Support::systemNow();
    if (!matches.empty()) {
        ctx.out() << "Recordings:\n";
        for (const auto& r : matches) {
            ctx.out() << listLine(r, now) << "\n";
        }
    }
    if (!moments.empty()) {
        ctx.out() << "Moments:\n";
        for (const auto& m : moments) {
            auto it = byId.find(m.recordingId);
            ctx.out() << fmt::format("{:>5}  {} ({}) {}: {}\n", m.recordingId,
                                     it == byId.end() ? "" : it->second->title,
                                     Database::TranscriptTextFormatter::timestamp(m.startTime),
                                     m.speaker.empty() ? "Speaker" : m.speaker, m.text);
        }
    }
}

void show(CliContext& ctx, const LibraryOptions& o) {
    auto db = LibraryCli::openLibrary(o.database, false);
    const auto r = LibraryCli::requireRecording(db.get(), o.id);
    const int segments = db->segmentCount(r.id);
    const auto items = db->actionItems(r.id);
    const auto topics = db->topics(r.id);
    if (o.json) {
        auto out = LibraryCli::recordingJson(r);
        out["segmentCount"] = segments;
        out["actionItems"] = json::array();
        for (const auto& item : items) {
            out["actionItems"].push_back({{"text", item.text}, {"isCompleted", item.isCompleted}});
        }
        out["topics"] = json::array();
        for (const auto& t : topics) {
            out["topics"].push_back({{"title", t.title}, {"start", t.startTime}, {"end", t.endTime}});
        }
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    auto& out = ctx.out();
    out << r.title << "\n";
    out << "Date: " << UI::Formatters::formatRelativeDate(r.startDate, true, Support::systemNow()) << "\n";
    out << "Duration: " << LibraryCli::durationText(r.duration) << "\n";
    out << "Favorite: " << (r.isFavorite ? "yes" : "no") << "\n";
    out << "Transcript: " << (segments ? fmt::format("{} segments", segments) : "none") << "\n";
    for (const auto& track : r.tracks) {
        out << (track.isMicrophone ? "Track, your microphone: "
                                   : "Track, the call (what the computer played): ")
            << track.file.string();
        if (track.offset > 0) {
            out << fmt::format(" (starts {:.2f} s in)", track.offset);
        }
        out << "\n";
    }
    if (r.tracks.empty() && !r.fileURL.empty()) {
        out << "Audio: " << r.fileURL.string() << "\n";
    }
    if (r.videoFileURL) {
        out << "Video: " << r.videoFileURL->string() << "\n";
    }
    if (r.notes && !Support::Text::isBlank(*r.notes)) {
        out << "Notes: " << *r.notes << "\n";
    }
    if (r.summary && !Support::Text::isBlank(*r.summary)) {
        out << "\nSummary:\n" << *r.summary << "\n";
    }
    if (!items.empty()) {
        out << "\nAction items:\n";
        for (const auto& item : items) {
            out << (item.isCompleted ? "- [x] " : "- [ ] ") << item.text << "\n";
        }
    }
    if (!topics.empty()) {
        out << "\nTopics:\n";
        for (const auto& t : topics) {
            out << "  " << Database::TranscriptTextFormatter::timestamp(t.startTime) << "  " << t.title
                << "\n";
        }
    }
}

void favorite(CliContext& ctx, const LibraryOptions& o) {
    auto db = LibraryCli::openLibrary(o.database, true);
    const auto r = LibraryCli::requireRecording(db.get(), o.id);
    const bool now = db->toggleFavorite(r.id).value_or(r.isFavorite);
    if (o.json) {
        ctx.out() << json{{"id", r.id}, {"isFavorite", now}}.dump() << "\n";
        return;
    }
    if (now) {
        ctx.out() << fmt::format("\"{}\" is now a favorite.\n", r.title);
    } else {
        ctx.out() << fmt::format("\"{}\" is no longer a favorite.\n", r.title);
    }
}

void remove(CliContext& ctx, const LibraryOptions& o) {
    auto db = LibraryCli::openLibrary(o.database, true);
    const auto r = LibraryCli::requireRecording(db.get(), o.id);
    if (!o.yes) {
        ctx.err() << fmt::format("Delete \"{}\" (recording {}) with its transcript and video? [y/N] ",
                                 r.title, r.id);
        std::string answer;
        std::getline(ctx.in(), answer);
        answer = Support::Text::asciiLowercased(Support::Text::trimmed(answer));
        if (answer != "y" && answer != "yes") {
            throw CommandFailed("Nothing was deleted.");
        }
    }
    db->deleteRecording(r.id);
    if (r.videoFileURL) {
        std::error_code ec;
        std::filesystem::remove(*r.videoFileURL, ec);
        if (ec) {
            throw CommandFailed(fmt::format("Deleted \"{}\", but its video {} couldn't be removed: {}.",
                                            r.title, r.videoFileURL->string(), ec.message()));
        }
    }
    ctx.out() << fmt::format("Deleted \"{}\".\n", r.title);
}

void import(CliContext& ctx, LibraryOptions o) {
    if (!o.files.empty() && TranscriptionCli::isAudioFile(o.files.front())) {
        TranscriptionCli::importAudio(ctx, o.database, o.files, o.json);
        return;
    }
    if (o.files.size() > 1) {
        throw UsageError(
            "give one JSON file, or audio files (one, or the microphone's then the other side's)");
    }
    o.file = o.files.empty() ? "" : o.files.front();
    UI::ImportedRecording imported;
    try {
        imported = UI::RecordingImporter::parse(LibraryCli::readInput(ctx, o.file));
    } catch (const UI::ImportError& e) {
        throw UsageError(
            fmt::format("{}: {}", o.file.empty() || o.file == "-" ? "stdin" : o.file, e.description()));
    }
    auto db = LibraryCli::openLibrary(o.database, true);
    const auto id = UI::RecordingImporter::store(*db, imported);
    if (o.json) {
        ctx.out() << json{{"id", id}, {"segmentCount", imported.segments.size()}}.dump() << "\n";
        return;
    }
    ctx.out() << fmt::format("Imported \"{}\" as recording {} with {} segment{}.\n", imported.recording.title,
                             id, imported.segments.size(), imported.segments.size() == 1 ? "" : "s");
}

const CommandRegistration registration{
    "library", [](CLI::App& root, CliContext& ctx) {
        auto* library = root.add_subcommand("library", "List, search and edit the recordings library");
        library->require_subcommand(1);
        auto o = std::make_shared<LibraryOptions>();

        auto* listCmd = library->add_subcommand("list", "List the recordings");
        listCmd->add_option("--filter", o->filter, "all, today, this-week, transcribed or favorites")
            ->check(CLI::IsMember(keys(filterNames)));
        listCmd->add_option("--sort", o->sort, "newest, oldest, longest, shortest or title")
            ->check(CLI::IsMember(keys(sortNames)));
        listCmd->add_flag("--json", o->json, "Print JSON");
        addDatabaseOption(listCmd, *o);
        listCmd->callback([&ctx, o] { list(ctx, *o); });

        auto* searchCmd = library->add_subcommand(
            "search", "Find recordings by title or notes, and moments in transcripts");
        searchCmd->add_option("QUERY", o->query, "Words to look for")->required();
        searchCmd->add_flag("--json", o->json, "Print JSON");
        addDatabaseOption(searchCmd, *o);
        searchCmd->callback([&ctx, o] { search(ctx, *o); });

        auto* showCmd = library->add_subcommand(
            "show",
            "Show one recording: date, length, its audio tracks (your microphone, the call), notes, summary");
        showCmd->add_option("ID", o->id, "The recording's id")->required();
        showCmd->add_flag("--json", o->json, "Print JSON");
        addDatabaseOption(showCmd, *o);
        showCmd->callback([&ctx, o] { show(ctx, *o); });

        auto* favoriteCmd =
            library->add_subcommand("favorite", "Mark a recording as a favorite, or unmark it");
        favoriteCmd->add_option("ID", o->id, "The recording's id")->required();
        favoriteCmd->add_flag("--json", o->json, "Print JSON");
        addDatabaseOption(favoriteCmd, *o);
        favoriteCmd->callback([&ctx, o] { favorite(ctx, *o); });

        auto* deleteCmd =
            library->add_subcommand("delete", "Delete a recording with its transcript and video");
        deleteCmd->add_option("ID", o->id, "The recording's id")->required();
        deleteCmd->add_flag("--yes,-y", o->yes, "Do not ask for confirmation");
        addDatabaseOption(deleteCmd, *o);
        deleteCmd->callback([&ctx, o] { remove(ctx, *o); });

        auto* importCmd = library->add_subcommand(
            "import", "Add a recording with its transcript from a JSON file, or audio files to transcribe");
        importCmd->add_option(
            "FILE", o->files,
            "The JSON file (- or nothing: stdin), or audio files (WAV, FLAC, Ogg): one, or the "
            "microphone's then the other side's track, queued for transcription");
        importCmd->add_flag("--json", o->json, "Print JSON");
        addDatabaseOption(importCmd, *o);
        importCmd->callback([&ctx, o] { import(ctx, *o); });

        auto* transcribeCmd = library->add_subcommand(
            "transcribe",
            "Transcribe a recording now with the configured speech engine (it is queued first)");
        transcribeCmd->add_option("ID", o->id, "The recording's id")->required();
        transcribeCmd->add_flag("--force", o->force, "Transcribe again even when it has a transcript");
        transcribeCmd->add_flag("--json", o->json, "Print JSON");
        addDatabaseOption(transcribeCmd, *o);
        transcribeCmd->callback(
            [&ctx, o] { TranscriptionCli::transcribeRecording(ctx, o->database, o->id, o->force, o->json); });
    }};

} // namespace

} // namespace App
