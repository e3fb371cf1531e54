// `vellmora video capture [on|off] [--frame-rate N]`, `vellmora video expire [--dry-run]`,
// `vellmora video delete RECORDING_ID`,
// `vellmora slides extract RECORDING_ID [--force]` and `vellmora slides sweep`: the video retention sweep and
// the slides service, run once against the library in the data folder.
#include "App/Cli.h"

#include "AudioEngine/ScreenCapturePreferences.h"
#include "AudioEngine/VideoExpiryPreferences.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/FileInspecting.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Task.h"
#include "UI/video/SlidesExtractionService.h"
#include "UI/video/VideoExpiryCoordinator.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <charconv>

namespace App {

namespace {

/// Runs the loop until `task` ends and gives its value (or rethrows what it threw).
template <typename T> T runToCompletion(Support::MainLoop& loop, const Support::Task<T>& task) {
    while (!task.isDone()) {
        loop.runOne(100);
    }
    return task.get();
}

Database::RecordingId parseRecordingId(const std::string& text) {
    Database::RecordingId id = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size() || id <= 0) {
        throw UsageError("\"" + text + "\" is not a recording id (a whole number).");
    }
    return id;
}

/// "512 bytes", "3.4 MB", "1.25 GB".
std::string formatBytes(std::int64_t bytes) {
    if (bytes < 1000) {
        return fmt::format("{} {}", bytes, bytes == 1 ? "byte" : "bytes");
    }
    static constexpr const char* units[] = {"KB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes);
    int unit = -1;
    while (value >= 1000 && unit < 3) {
        value /= 1000;
        ++unit;
    }
    return fmt::format("{:.{}f} {}", value, value < 10 ? 2 : (value < 100 ? 1 : 0), units[unit]);
}

/// The pieces a one-shot command needs around the coordinator.
struct ExpiryContext {
    Support::MainLoop loop;
    Support::RealScheduler scheduler{loop};
    Intelligence::LiveFileInspector files;
    Database::SqliteDatabase database;
    UI::VideoExpiryCoordinator coordinator;

    explicit ExpiryContext(CliContext& context)
        : coordinator(UI::VideoExpiryCoordinator::Dependencies{
              .scheduler = scheduler,
              .defaults = context.defaults(),
              .center = Support::NotificationCenter::defaultCenter(),
              .files = files,
          }) {
        // One sweep now, not the host's timers: arm with the store, then drop the triggers at once.
        coordinator.start(database);
        coordinator.stop();
    }
};

void expire(CliContext& context, bool dryRun, bool json) {
    ExpiryContext expiry(context);
    auto option = AudioEngine::VideoExpiryPreferences::currentOption(context.defaults());
    auto now = Support::systemNow();
    auto& out = context.out();
    if (dryRun) {
        auto preview = runToCompletion(expiry.loop, expiry.coordinator.preview(option, now));
        if (json) {
            auto items = nlohmann::json::array();
            for (const auto& item : preview.recordings) {
                items.push_back({{"recordingId", item.recordingId},
                                 {"title", item.title},
                                 {"video", item.videoURL.string()},
                                 {"bytes", item.bytes}});
            }
            out << nlohmann::json{{"retention", AudioEngine::VideoExpiryPreferences::displayName(option)},
                                  {"recordings", items},
                                  {"bytes", preview.bytes}}
                       .dump(2)
                << "\n";
            return;
        }
        if (!AudioEngine::VideoExpiryPreferences::retentionDays(option)) {
            out << "Screen videos are kept: the retention is set to Never.\n";
            return;
        }
        for (const auto& item : preview.recordings) {
            out << fmt::format("{}\t{}\t{}\n", item.recordingId, formatBytes(item.bytes), item.title);
        }
        out << fmt::format("Would delete {} screen {}, freeing {} (retention: {}).\n",
                           preview.recordings.size(), preview.recordings.size() == 1 ? "video" : "videos",
                           formatBytes(preview.bytes),
                           AudioEngine::VideoExpiryPreferences::displayName(option));
        return;
    }

    auto report = runToCompletion(expiry.loop, expiry.coordinator.run(now));
    if (json) {
        out << (report ? nlohmann::json{{"recordingsScanned", report->recordingsScanned},
                                        {"videosDeleted", report->videosDeleted},
                                        {"bytesFreed", report->bytesFreed}}
                       : nlohmann::json(nullptr))
                   .dump(2)
            << "\n";
        return;
    }
    if (!report) {
        out << "Screen videos are kept: the retention is set to Never.\n";
        return;
    }
    out << fmt::format("Looked at {} {} older than the retention ({}): deleted {} screen {}, freed {}.\n",
                       report->recordingsScanned, report->recordingsScanned == 1 ? "recording" : "recordings",
                       AudioEngine::VideoExpiryPreferences::displayName(option), report->videosDeleted,
                       report->videosDeleted == 1 ? "video" : "videos", formatBytes(report->bytesFreed));
}

/// Turns screen recording on or off (`state` "on"/"off"; empty: unchanged), sets the frame rate when given,
/// and says the setting as it now stands.
void captureSetting(CliContext& context, const std::string& state, std::optional<double> frameRate) {
    using Preferences = AudioEngine::ScreenCapturePreferences;
    auto& defaults = context.defaults();
    if (state == "on" || state == "off") {
        Preferences::setEnabled(defaults, state == "on");
    } else if (!state.empty()) {
        throw UsageError("\"" + state + "\" is neither on nor off.");
    }
    if (frameRate) {
        if (!(*frameRate > 0)) {
            throw UsageError("The frame rate must be a number of frames per second above 0.");
        }
        Preferences::setFrameRate(defaults, *frameRate);
    }
    auto rate = Preferences::frameRate(defaults);
    if (Preferences::isEnabled(defaults)) {
        context.out() << fmt::format("Recordings also record the shared screen, at {:g} {} per second.\n",
                                     rate, rate == 1 ? "frame" : "frames");
    } else {
        context.out()
            << "Recordings do not record the screen (turn it on with: vellmora video capture on).\n";
    }
}

void deleteVideo(CliContext& context, const std::string& idText) {
    auto id = parseRecordingId(idText);
    ExpiryContext expiry(context);
    auto recording = expiry.database.recording(id);
    if (!recording) {
        throw CommandFailed(fmt::format("There is no recording {}.", id));
    }
    auto result = runToCompletion(expiry.loop, expiry.coordinator.deleteVideo(*recording));
    auto words = UI::VideoExpiryCoordinator::describe(result, recording->title);
    if (result.kind != UI::VideoExpiryCoordinator::DeleteResult::Kind::deleted) {
        throw CommandFailed(words);
    }
    context.out() << words << fmt::format(" Freed {}.\n", formatBytes(result.bytes));
}

void extractSlides(CliContext& context, const std::string& idText, bool force) {
    using Kind = Intelligence::Slide::Outcome::Kind;
    auto id = parseRecordingId(idText);
    Support::MainLoop loop;
    Database::SqliteDatabase database;
    if (!database.recording(id)) {
        throw CommandFailed(fmt::format("There is no recording {}.", id));
    }
    UI::SlidesExtractionService service(database, Support::NotificationCenter::defaultCenter());
    context.err() << "Reading the shared screen\u2026\n";
    auto outcome = runToCompletion(loop, service.extract(id, force));
    auto& out = context.out();
    switch (outcome.kind) {
    case Kind::read:
        if (outcome.slideCount == 0 && outcome.screenCount == 0) {
            out << "Nothing was shared on screen.\n";
        } else {
            out << fmt::format("Kept {} {} and {} {}.\n", outcome.slideCount,
                               outcome.slideCount == 1 ? "slide" : "slides", outcome.screenCount,
                               outcome.screenCount == 1 ? "screen" : "screens");
        }
        return;
    case Kind::alreadyRead:
        out << fmt::format("Already read: {} slides and {} screens. Use --force to read the screen again.\n",
                           outcome.slideCount, outcome.screenCount);
        return;
    case Kind::cancelled:
        throw CommandFailed("Reading the screen was cancelled.");
    case Kind::noVideo:
    case Kind::toolMissing:
    case Kind::failed:
        throw CommandFailed(outcome.message);
    }
}

void sweepSlides(CliContext& context) {
    Support::MainLoop loop;
    Database::SqliteDatabase database;
    UI::SlidesExtractionService service(database, Support::NotificationCenter::defaultCenter());
    auto removed = runToCompletion(loop, service.sweepOrphans());
    context.out() << fmt::format("Removed {} picture {} nothing refers to.\n", removed,
                                 removed == 1 ? "folder" : "folders");
}

CommandRegistration videoCommands{
    "video", [](CLI::App& root, CliContext& context) {
        auto* video = root.add_subcommand(
            "video", "Screen recording, and deleting old screen videos (audio, transcript "
                     "and slides stay)");
        video->require_subcommand(1);

        auto* captureCommand = video->add_subcommand(
            "capture",
            "Record the shared screen with each recording (\"video.captureScreen\", off by default), "
            "for the slides");
        auto state = std::make_shared<std::string>();
        auto frameRate = std::make_shared<std::optional<double>>();
        captureCommand->add_option("STATE", *state, "on or off; without it, says the setting")
            ->check(CLI::IsMember({"on", "off"}));
        captureCommand->add_option("--frame-rate", *frameRate,
                                   "Frames per second, 0.2 to 5 (\"video.frameRate\", 1 by default)");
        captureCommand->callback(
            [&context, state, frameRate] { captureSetting(context, *state, *frameRate); });

        auto* expireCommand = video->add_subcommand(
            "expire",
            "Delete the screen videos older than the retention chosen in settings (\"video.retention\")");
        auto dryRun = std::make_shared<bool>(false);
        auto json = std::make_shared<bool>(false);
        expireCommand->add_flag("--dry-run", *dryRun, "Only list what would be deleted");
        expireCommand->add_flag("--json", *json, "Print the result as JSON");
        expireCommand->callback([&context, dryRun, json] { expire(context, *dryRun, *json); });

        auto* deleteCommand = video->add_subcommand("delete", "Delete one recording's screen video file");
        auto id = std::make_shared<std::string>();
        deleteCommand->add_option("RECORDING_ID", *id, "The recording's id")->required();
        deleteCommand->callback([&context, id] { deleteVideo(context, *id); });
    }};

CommandRegistration slidesCommands{
    "slides", [](CLI::App& root, CliContext& context) {
        auto* slides = root.add_subcommand("slides", "Slides and key screens kept from screen videos");
        slides->require_subcommand(1);

        auto* extract =
            slides->add_subcommand("extract", "Read a recording's screen video for slides and screens");
        auto id = std::make_shared<std::string>();
        auto force = std::make_shared<bool>(false);
        extract->add_option("RECORDING_ID", *id, "The recording's id")->required();
        extract->add_flag("--force", *force, "Read the screen again even when it was read before");
        extract->callback([&context, id, force] { extractSlides(context, *id, *force); });

        auto* sweep = slides->add_subcommand("sweep", "Remove picture folders that no recording refers to");
        sweep->callback([&context] { sweepSlides(context); });
    }};

} // namespace

} // namespace App
