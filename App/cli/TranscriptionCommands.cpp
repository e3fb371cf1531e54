// `vellmora transcribe FILE...` and `vellmora transcription status|configure|test|models`: the speech engine
// settings, trying the engine, the whisper.cpp models, and transcribing audio files straight to the terminal.
#include "App/Cli.h"
#include "App/cli/AICommandSupport.h"
#include "App/cli/TranscriptionCliSupport.h"
#include "App/host/SpeechEngines.h"
#include "Database/TranscriptTextFormatter.h"
#include "Intelligence/AIProviderSettings.h"
#include "Intelligence/SpeechModels.h"
#include "Intelligence/TranscriptionSettings.h"
#include "Support/Files.h"
#include "Support/Text.h"
#include "UI/transcription/TranscriptAssembly.h"
#include "UI/transcription/TranscriptionQueueFile.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <iterator>

namespace {

using json = nlohmann::json;
using Intelligence::TranscriptionEngine;
using Intelligence::TranscriptionSettings;

struct ConfigureOptions {
    std::string engine, serverURL, model, responseFormat, language, program, whisperModel, key, keyFile;
    double maxUploadMB = 0;
};

void configure(App::CliContext& ctx, const ConfigureOptions& o) {
    auto settings = TranscriptionSettings::load(ctx.defaults());
    if (!o.engine.empty()) {
        auto engine = Intelligence::transcriptionEngineFromRawValue(o.engine);
        if (!engine) {
            throw App::UsageError("--engine must be none, server, whisper-cli or simulated");
        }
        settings.engine = *engine;
    }
    if (!o.serverURL.empty()) {
        if (!o.serverURL.starts_with("http://") && !o.serverURL.starts_with("https://")) {
            throw App::UsageError("--server-url must be an http or https address");
        }
        settings.serverBaseURL = o.serverURL;
    }
    if (!o.model.empty()) {
        settings.serverModel = o.model;
    }
    if (!o.responseFormat.empty()) {
        if (o.responseFormat != "verbose_json" && o.responseFormat != "diarized_json") {
            throw App::UsageError("--response-format must be verbose_json or diarized_json");
        }
        settings.responseFormat = o.responseFormat;
    }
    if (!o.language.empty()) {
        settings.language = o.language;
    }
    if (!o.program.empty()) {
        settings.whisperCliPath = o.program;
    }
    if (!o.whisperModel.empty()) {
        settings.whisperModel = o.whisperModel;
    }
    if (o.maxUploadMB > 0) {
        settings.maxUploadBytes = static_cast<std::int64_t>(o.maxUploadMB * 1000 * 1000);
    }
    if (!o.key.empty() || !o.keyFile.empty()) {
        if (!o.key.empty() && !o.keyFile.empty()) {
            throw App::UsageError("give --key or --key-file, not both");
        }
        std::string key = o.key;
        if (!o.keyFile.empty()) {
            std::optional<std::string> text;
            if (o.keyFile == "-") {
                text =
                    std::string(std::istreambuf_iterator<char>(ctx.in()), std::istreambuf_iterator<char>());
            } else {
                try {
                    text = Support::Files::readIfExists(o.keyFile);
                } catch (const std::exception&) {
                }
            }
            if (!text) {
                throw App::UsageError("cannot read the key file " + o.keyFile);
            }
            key = *text;
        }
        Intelligence::AIKeyStore store;
        auto keys = store.load();
        keys.transcription = Support::Text::trimmed(key);
        store.save(keys);
    }
    settings.save(ctx.defaults());
    ctx.out() << "Speech engine: " << App::SpeechEngines::describe(settings) << "\n";
}

void status(App::CliContext& ctx, bool asJson) {
    const auto settings = TranscriptionSettings::load(ctx.defaults());
    const auto contents = UI::TranscriptionQueueFile().load();
    bool hasKey = false;
    std::optional<std::string> keyProblem;
    try {
        auto keys = Intelligence::AIKeyStore().load();
        hasKey = !keys.transcription.empty() || !keys.openAI.empty();
    } catch (const Support::UserFacingError& e) {
        keyProblem = e.description();
    }
    const auto models = Intelligence::SpeechModels().installed();
    std::vector<std::int64_t> queued;
    for (const auto& e : contents.queue) {
        queued.push_back(e.id);
    }
    if (asJson) {
        json out = {{"engine", std::string(Intelligence::rawValue(settings.engine))},
                    {"description", App::SpeechEngines::describe(settings)},
                    {"language", settings.language},
                    {"hasKey", hasKey},
                    {"queued", queued},
                    {"installedModels", models}};
        out["problem"] = contents.problem ? json(*contents.problem) : json(nullptr);
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    ctx.out() << "Speech engine: " << App::SpeechEngines::describe(settings) << "\n";
    ctx.out() << "Language: " << settings.language << "\n";
    if (settings.engine == TranscriptionEngine::server) {
        ctx.out() << "Key: " << (hasKey ? "set" : "not set") << "\n";
    }
    if (keyProblem) {
        ctx.out() << *keyProblem << "\n";
    }
    ctx.out() << "Speech models: " << (models.empty() ? "none" : fmt::format("{}", fmt::join(models, ", ")))
              << "\n";
    ctx.out() << "Queued recordings: "
              << (queued.empty() ? "none" : fmt::format("{}", fmt::join(queued, ", "))) << "\n";
    if (contents.problem) {
        ctx.out() << "Waiting: " << *contents.problem << "\n";
    }
}

void transcribeFiles(App::CliContext& ctx, const std::vector<std::string>& files, bool asJson, bool test) {
    App::AICommandEnvironment env(ctx);
    auto settings = TranscriptionSettings::load(ctx.defaults());
    auto segments = App::TranscriptionCli::transcribeTracks(
        env, settings, App::TranscriptionCli::tracksForFiles(files),
        [&ctx](const std::string& line) { ctx.err() << line << "\n"; });
    if (test) {
        ctx.out() << "The speech engine works: " << App::SpeechEngines::describe(settings) << " gave "
                  << segments.size() << " segment" << (segments.size() == 1 ? "" : "s") << ".\n";
        return;
    }
    if (asJson) {
        json out = json::array();
        for (const auto& s : segments) {
            out.push_back({{"start", s.startTime},
                           {"end", s.endTime},
                           {"text", s.text},
                           {"speaker", s.speaker},
                           {"isFromMicrophone", s.isFromMicrophone}});
        }
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    for (const auto& line : Database::TranscriptTextFormatter::lines(segments)) {
        ctx.out() << line << "\n";
    }
}

void downloadModel(App::CliContext& ctx, const std::string& name) {
    App::AICommandEnvironment env(ctx);
    Intelligence::SpeechModels models;
    int shown = -1;
    auto& err = ctx.err();
    auto task = models.download(env.http(), name, [&err, &shown, name](double p) {
        const int percent = static_cast<int>(p * 100);
        if (percent != shown) {
            shown = percent;
            err << "\rSpeech model " << name << ": " << percent << "%" << std::flush;
        }
    });
    try {
        env.wait(task);
    } catch (...) {
        err << "\n";
        throw;
    }
    err << "\n";
    ctx.out() << "Installed the speech model " << name << " at " << models.path(name).string() << "\n";
}

const App::CommandRegistration registration{
    "transcription", [](CLI::App& root, App::CliContext& ctx) {
        auto* transcribe = root.add_subcommand(
            "transcribe",
            "Transcribe audio files with the configured speech engine and print the transcript");
        auto files = std::make_shared<std::vector<std::string>>();
        auto asJson = std::make_shared<bool>(false);
        transcribe
            ->add_option("FILE", *files,
                         "Audio files (WAV, FLAC, Ogg): one, or the microphone's then the other side's track")
            ->required()
            ->check(CLI::ExistingFile);
        transcribe->add_flag("--json", *asJson, "Print the segments as JSON");
        transcribe->callback([&ctx, files, asJson] { transcribeFiles(ctx, *files, *asJson, false); });

        auto* group =
            root.add_subcommand("transcription", "Speech engine settings, speech models and the queue");
        group->require_subcommand(1);
        auto statusJson = std::make_shared<bool>(false);
        auto* statusCmd =
            group->add_subcommand("status", "Show the speech engine, the queue and why it waits");
        statusCmd->add_flag("--json", *statusJson, "Print JSON");
        statusCmd->callback([&ctx, statusJson] { status(ctx, *statusJson); });

        auto o = std::make_shared<ConfigureOptions>();
        auto* configureCmd = group->add_subcommand("configure", "Choose the speech engine and its settings");
        configureCmd->add_option("--engine", o->engine, "none, server, whisper-cli or simulated");
        configureCmd->add_option("--server-url", o->serverURL,
                                 "Address of a server with /v1/audio/transcriptions (without /v1)");
        configureCmd->add_option("--model", o->model,
                                 "The server's model (whisper-1, whisper-large-v3, ...)");
        configureCmd->add_option("--response-format", o->responseFormat, "verbose_json or diarized_json");
        configureCmd->add_option("--key", o->key, "The server's key (kept in ai-keys.json, mode 0600)");
        configureCmd->add_option("--key-file", o->keyFile, "Read the key from a file (- for stdin)");
        configureCmd->add_option("--max-upload-mb", o->maxUploadMB, "The server's upload limit in MB (25)");
        configureCmd->add_option("--language", o->language, "auto, or a language code such as en");
        configureCmd->add_option("--program", o->program,
                                 "whisper-cli's path (default: whisper-cli on PATH)");
        configureCmd->add_option("--whisper-model", o->whisperModel,
                                 "A speech model name (base.en) or a ggml file for whisper-cli");
        configureCmd->callback([&ctx, o] { configure(ctx, *o); });

        auto testFile = std::make_shared<std::string>();
        auto* testCmd =
            group->add_subcommand("test", "Transcribe a file (or a second of silence) to try the engine");
        testCmd->add_option("FILE", *testFile, "An audio file")->check(CLI::ExistingFile);
        testCmd->callback([&ctx, testFile] {
            std::string file = *testFile;
            if (file.empty()) {
                file = App::TranscriptionCli::writeTestAudio().string();
            }
            transcribeFiles(ctx, {file}, false, true);
        });

        auto* models = group->add_subcommand("models", "List, download and remove whisper.cpp speech models");
        models->require_subcommand(1);
        models->add_subcommand("list", "The known models and which are installed")->callback([&ctx] {
            Intelligence::SpeechModels store;
            const auto installed = store.installed();
            for (const auto& m : Intelligence::SpeechModels::catalogue()) {
                const bool has = std::find(installed.begin(), installed.end(), m.name) != installed.end();
                ctx.out() << fmt::format("{:<10} {:>6} MB  {}\n", m.name, m.approximateBytes / 1000000,
                                         has ? "installed" : "");
            }
            for (const auto& name : installed) {
                if (!Intelligence::SpeechModels::find(name)) {
                    ctx.out() << fmt::format("{:<10} {:>6}     installed\n", name, "");
                }
            }
            ctx.out() << "Folder: " << store.folder().string() << "\n";
        });
        auto downloadName = std::make_shared<std::string>();
        auto* download = models->add_subcommand("download", "Download a model (resumes; checks its SHA-1)");
        download->add_option("NAME", *downloadName, "The model, e.g. base.en")->required();
        download->callback([&ctx, downloadName] { downloadModel(ctx, *downloadName); });
        auto removeName = std::make_shared<std::string>();
        auto* remove = models->add_subcommand("remove", "Delete a downloaded model");
        remove->add_option("NAME", *removeName, "The model")->required();
        remove->callback([&ctx, removeName] {
            if (!Intelligence::SpeechModels().remove(*removeName)) {
                throw App::CommandFailed("The speech model " + *removeName + " is not installed.");
            }
            ctx.out() << "Removed the speech model " << *removeName << ".\n";
        });
    }};

} // namespace
