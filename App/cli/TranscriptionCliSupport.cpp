#include "App/cli/TranscriptionCliSupport.h"

#include "App/cli/LibraryCliSupport.h"
#include "App/host/SpeechEngines.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Intelligence/AudioPieces.h"
#include "Platform/HttpClient.h"
#include "Support/Files.h"
#include "Support/NotificationCenter.h"
#include "UI/transcription/TranscriptAssembly.h"
#include "UI/transcription/TranscriptionQueue.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace App::TranscriptionCli {

bool isAudioFile(const std::string& file) {
    auto extension = std::filesystem::path(file).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const char* known : {".wav", ".flac", ".ogg", ".opus", ".oga", ".aiff", ".aif"}) {
        if (extension == known) {
            return true;
        }
    }
    return false;
}

std::vector<Database::DatabaseManager::RecordingTrack> tracksForFiles(const std::vector<std::string>& files) {
    std::vector<Database::DatabaseManager::RecordingTrack> tracks;
    if (files.size() == 1) {
        tracks.push_back({std::filesystem::absolute(files[0]), false, 0});
        return tracks;
    }
    for (size_t i = 0; i < files.size(); ++i) {
        tracks.push_back({std::filesystem::absolute(files[i]), i == 0, 0});
    }
    return tracks;
}

std::vector<Database::DatabaseManager::TranscriptSegment>
transcribeTracks(AICommandEnvironment& env, const Intelligence::TranscriptionSettings& settings,
                 const std::vector<Database::DatabaseManager::RecordingTrack>& tracks,
                 const std::function<void(const std::string&)>& progress) {
    const char* path = std::getenv("PATH");
    std::vector<UI::TranscriptAssembly::TrackSegments> results;
    try {
        auto engine = SpeechEngines::make(settings, {env.http(), env.scheduler(), path ? path : ""});
        Intelligence::SpeechOptions options;
        options.language = settings.language;
        for (const auto& track : tracks) {
            progress("Transcribing " + track.file.string() + " with " + engine->name() + "...");
            auto work = engine->transcribe({track.file, track.offset}, options, {});
            results.push_back({track.isMicrophone, env.wait(work)});
        }
    } catch (const Intelligence::TranscriptionError& e) {
        throw CommandFailed(e.description());
    }
    return UI::TranscriptAssembly::assemble(results);
}

void transcribeRecording(CliContext& ctx, const std::string& database, Database::RecordingId id, bool force,
                         bool asJson) {
    auto db = LibraryCli::openLibrary(database, true);
    LibraryCli::requireRecording(db.get(), id);
    AICommandEnvironment env(ctx);
    Support::NotificationCenter center;
    const char* path = std::getenv("PATH");
    const std::string searchPath = path ? path : "";
    auto& defaults = ctx.defaults();
    auto& err = ctx.err();
    UI::TranscriptionQueue queue({
        .database = *db,
        .center = center,
        .scheduler = env.scheduler(),
        .engine =
            [&] {
                return SpeechEngines::make(Intelligence::TranscriptionSettings::load(defaults),
                                           {env.http(), env.scheduler(), searchPath});
            },
        .language = [&] { return Intelligence::TranscriptionSettings::load(defaults).language; },
        .say = [&err](const std::string& line) { err << line << "\n"; },
    });
    std::optional<int> count;
    auto done = queue.transcribed.connect([&count, id](Database::RecordingId which, int segments) {
        if (which == id) {
            count = segments;
        }
    });
    err << "Transcribing recording " << id << "...\n";
    queue.enqueue(id, force);
    while (!queue.isIdle()) {
        env.loop().runOne(100);
    }
    if (count) {
        if (asJson) {
            ctx.out() << nlohmann::json{{"id", id}, {"segmentCount", *count}}.dump() << "\n";
        } else {
            ctx.out() << fmt::format("Transcribed recording {}: {} segment{}.\n", id, *count,
                                     *count == 1 ? "" : "s");
        }
        return;
    }
    const auto contents = queue.contents();
    const bool queued = std::any_of(contents.queue.begin(), contents.queue.end(),
                                    [id](const UI::TranscriptionQueueFile::Entry& e) { return e.id == id; });
    if (queued) {
        throw CommandFailed(contents.problem.value_or("The transcription did not finish.") + " Recording " +
                            std::to_string(id) + " stays queued.");
    }
    if (auto r = db->recording(id); r && r->hasTranscript && !force) {
        ctx.out() << "Recording " << id
                  << " already has a transcript (use --force to transcribe it again).\n";
        return;
    }
    throw CommandFailed("Recording " + std::to_string(id) + " could not be transcribed.");
}

void importAudio(CliContext& ctx, const std::string& database, const std::vector<std::string>& files,
                 bool asJson) {
    if (files.size() > 2) {
        throw UsageError("give one audio file, or two: the microphone's then the other side's track");
    }
    double duration = 0;
    for (const auto& file : files) {
        try {
            Intelligence::AudioFile audio(file);
            duration = std::max(duration, audio.duration());
        } catch (const Intelligence::TranscriptionError& e) {
            throw UsageError(e.description());
        }
    }
    Database::DatabaseManager::Recording r;
    const auto first = std::filesystem::absolute(files.front());
    r.title = first.stem().string();
    std::error_code ec;
    const auto modified = std::filesystem::last_write_time(first, ec);
    r.startDate = ec ? Support::systemNow()
                     : std::chrono::time_point_cast<std::chrono::microseconds>(
                           std::chrono::file_clock::to_sys(modified) -
                           std::chrono::duration_cast<std::chrono::microseconds>(
                               std::chrono::duration<double>(duration)));
    r.duration = duration;
    r.fileURL = first;
    if (files.size() > 1) {
        r.tracks = tracksForFiles(files);
    }
    auto db = LibraryCli::openLibrary(database, true);
    const auto id = db->insertRecording(r);
    UI::TranscriptionQueueFile().add(id, false);
    if (asJson) {
        ctx.out() << nlohmann::json{{"id", id}, {"queued", true}}.dump() << "\n";
        return;
    }
    ctx.out() << fmt::format(
        "Imported \"{}\" as recording {}; it is queued for transcription (`vellmora run` "
        "takes it up when it starts or saves its next recording; now: `vellmora library "
        "transcribe {}`).\n",
        r.title, id, id);
}

std::filesystem::path writeTestAudio() {
    auto file = Support::Files::cacheHome() / "transcription" / "test-silence.wav";
    Support::Files::writeAtomically(file, AudioEngine::SimulatedCapture::silentWav(1.0));
    return file;
}

} // namespace App::TranscriptionCli
