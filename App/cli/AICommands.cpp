// `vellmora ai ...`: the AI provider settings (status, configure, test) and the AI jobs on one recording
// (title, summary, action items), streamed to stdout with progress on stderr.
#include "App/Cli.h"
#include "App/cli/AICommandSupport.h"
#include "Intelligence/AIProviderSettings.h"
#include "Support/Files.h"
#include "Support/NotificationCenter.h"
#include "Support/Text.h"
#include "Support/UserDefaults.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/ai/AIGenerationRunner.h"
#include "UI/ai/AIServiceObservable.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using Intelligence::AIProvider;

struct ConfigureOptions {
    std::string provider;
    std::string baseURL;
    std::string model;
    std::string apiKey;
    std::string apiKeyFile;
    bool enable = false;
    bool disable = false;
};

std::string readKeyFile(App::CliContext& ctx, const std::string& path) {
    std::string text;
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(ctx.in()), std::istreambuf_iterator<char>());
    } else {
        std::optional<std::string> contents;
        try {
            contents = Support::Files::readIfExists(path);
        } catch (const std::exception&) {
        }
        if (!contents) {
            throw App::UsageError("cannot read the key file " + path);
        }
        text = *contents;
    }
    return Support::Text::trimmed(text);
}

void configure(App::CliContext& ctx, const ConfigureOptions& o) {
    auto& defaults = ctx.defaults();
    auto settings = Intelligence::AIProviderSettings::load(defaults);
    if (!o.provider.empty()) {
        auto provider = Intelligence::aiProviderFromRawValue(o.provider);
        if (!provider) {
            throw App::UsageError("--provider must be none, openai or gemini");
        }
        settings.provider = *provider;
    }
    if (!o.apiKey.empty() && !o.apiKeyFile.empty()) {
        throw App::UsageError("give --api-key or --api-key-file, not both");
    }
    if ((!o.baseURL.empty() || !o.model.empty() || !o.apiKey.empty() || !o.apiKeyFile.empty()) &&
        settings.provider == AIProvider::none) {
        throw App::UsageError("choose a provider first: --provider openai or --provider gemini");
    }
    if (!o.baseURL.empty()) {
        if (!Intelligence::appendingPath(o.baseURL, "")) {
            throw App::UsageError("--base-url must be an http or https address");
        }
        if (settings.provider == AIProvider::gemini) {
            settings.geminiBaseURL = o.baseURL;
        } else {
            settings.openAIBaseURL = o.baseURL;
        }
    }
    if (!o.model.empty()) {
        (settings.provider == AIProvider::gemini ? settings.geminiModel : settings.openAIModel) = o.model;
    }
    std::optional<std::string> key;
    if (!o.apiKey.empty()) {
        key = Support::Text::trimmed(o.apiKey);
    } else if (!o.apiKeyFile.empty()) {
        key = readKeyFile(ctx, o.apiKeyFile);
    }
    if (key) {
        Intelligence::AIKeyStore store;
        auto keys = store.load();
        (settings.provider == AIProvider::gemini ? keys.gemini : keys.openAI) = *key;
        store.save(keys);
    }
    settings.save(defaults);
    if (o.enable || o.disable) {
        defaults.setBool(Intelligence::AIService::enabledKey, o.enable);
    }
}

void printStatus(App::CliContext& ctx, bool asJson) {
    auto settings = Intelligence::AIProviderSettings::load(ctx.defaults());
    Intelligence::AIKeyStore store;
    Intelligence::AIKeys keys;
    std::optional<std::string> keyFileProblem;
    try {
        keys = store.load();
    } catch (const Support::UserFacingError& e) {
        keyFileProblem = e.description();
    }
    App::AICommandEnvironment env(ctx);
    auto& ai = env.ai();
    const auto status = ai.status().get();
    const auto line = UI::AIServiceObservable::statusText(status);
    const auto help = UI::AIServiceObservable::aiStatusHelpText(status);
    const bool gemini = settings.provider == AIProvider::gemini;
    const bool hasKey = !(gemini ? keys.gemini : keys.openAI).empty();
    const std::string baseURL = gemini ? settings.geminiBaseURL : settings.openAIBaseURL;
    if (asJson) {
        nlohmann::ordered_json j;
        j["provider"] = std::string(Intelligence::rawValue(settings.provider));
        j["enabled"] = ctx.defaults().boolean(Intelligence::AIService::enabledKey).value_or(true);
        j["baseURL"] = settings.provider == AIProvider::none ? nlohmann::ordered_json(nullptr)
                                                             : nlohmann::ordered_json(baseURL);
        j["model"] = settings.modelName();
        j["hasAPIKey"] = hasKey;
        j["keyFile"] = store.path().string();
        j["status"] = line;
        j["help"] = help ? nlohmann::ordered_json(*help) : nlohmann::ordered_json(nullptr);
        ctx.out() << j.dump(2) << "\n";
        return;
    }
    ctx.out() << "Provider: " << Intelligence::rawValue(settings.provider) << "\n";
    if (settings.provider != AIProvider::none) {
        ctx.out() << "Base URL: " << baseURL << "\n";
        ctx.out() << "Model: " << settings.modelName() << "\n";
        ctx.out() << "API key: " << (hasKey ? "set" : "not set") << " (" << store.path().string() << ")\n";
    }
    ctx.out() << "Status: " << line << "\n";
    if (help) {
        ctx.out() << *help << "\n";
    }
    if (keyFileProblem) {
        ctx.err() << "vellmora: " << *keyFileProblem << "\n";
    }
}

void runTest(App::CliContext& ctx, const std::string& baseURL, const std::string& apiKey,
             const std::optional<std::string>& geminiKey, const std::string& geminiBaseURL) {
    App::AICommandEnvironment env(ctx);
    UI::AIServiceObservable observable(
        env.http(), nullptr, geminiBaseURL.empty() ? Intelligence::defaultGeminiBaseURL : geminiBaseURL);
    auto task = geminiKey ? observable.performGeminiConnectionTest(*geminiKey)
                          : observable.performConnectionTest(apiKey, baseURL);
    auto result = env.wait(task);
    if (result.isFailure) {
        throw App::CommandFailed(result.message);
    }
    ctx.out() << result.message << "\n";
    for (const auto& model : result.models) {
        ctx.out() << "  " << model << "\n";
    }
}

void runJob(App::CliContext& ctx, UI::AIGenerationJobs::Kind kind, const std::string& idText, bool force) {
    const auto recordingId = App::parseRecordingId(idText);
    App::AICommandEnvironment env(ctx);
    auto& ai = env.ai();
    auto& database = env.database();
    if (!database.recording(recordingId)) {
        throw App::CommandFailed("There is no recording with id " + idText + ".");
    }
    Support::NotificationCenter center;
    UI::AIGenerationJobs jobs(center);
    auto client = UI::AIGenerationClient::live(database, ai);
    UI::AIGenerationRunner::Display display;
    auto& out = ctx.out();
    auto& err = ctx.err();
    display.onFragment = [&out](const std::string& fragment) { out << fragment << std::flush; };
    display.onProgress = [&err](const std::string& line) { err << line << "\n"; };
    display.onTitleError = [&err](const std::string& message) { err << message << "\n"; };
    std::optional<UI::AIGenerationJobs::JobEnd> end;
    auto subscription = jobs.presenter.connect([&end](const UI::AIGenerationJobs::JobEnd& e) { end = e; });
    using Kind = UI::AIGenerationJobs::Kind;
    jobs.startWithToken(kind, recordingId, [&, recordingId](UI::AIGenerationJobs::Token token) {
        switch (kind) {
        case Kind::summary:
            return UI::AIGenerationRunner::summary(recordingId, token, std::nullopt, client, database, jobs,
                                                   display);
        case Kind::actionItems:
            return UI::AIGenerationRunner::actionItems(recordingId, token, force, client, database, jobs,
                                                       display);
        case Kind::title:
            break;
        }
        return UI::AIGenerationRunner::title(recordingId, token, client, database, jobs, display);
    });
    while (!end) {
        env.loop().runOne(100);
    }
    out << "\n";
    if (end->outcome.kind == UI::AIGenerationJobs::Outcome::Case::failed) {
        throw App::CommandFailed(end->outcome.message);
    }
    if (kind == Kind::actionItems) {
        const auto items = UI::AIGenerationRunner::persistedActionItems(recordingId, database);
        err << (items.empty() ? "No action items."
                              : "Stored " + std::to_string(items.size()) + " action items.")
            << "\n";
    } else if (end->outcome.stored && end->outcome.result) {
        err << (kind == Kind::title ? "Saved the title: " + *end->outcome.result
                                    : std::string("Saved the summary."))
            << "\n";
    } else if (kind == Kind::title) {
        throw App::CommandFailed("No title was saved.");
    }
}

struct Options {
    bool statusJson = false;
    ConfigureOptions configure;
    std::string testBaseURL, testKey, testGeminiBase;
    std::optional<std::string> testGemini;
    std::string recordingId;
    bool force = false;
};

const App::CommandRegistration registration{
    "ai", [](CLI::App& root, App::CliContext& ctx) {
        // Option storage lives as long as the parsed command (the callbacks hold it).
        auto o = std::make_shared<Options>();
        auto* ai =
            root.add_subcommand("ai", "AI provider settings, and AI titles, summaries and action items");
        ai->require_subcommand(1);

        auto* status = ai->add_subcommand("status", "Show the AI provider and whether AI can run");
        status->add_flag("--json", o->statusJson, "Print JSON");
        status->callback([&ctx, o] { printStatus(ctx, o->statusJson); });

        auto* configureCmd =
            ai->add_subcommand("configure", "Choose the AI provider, its address, model and key");
        configureCmd->add_option("--provider", o->configure.provider,
                                 "none, openai (any OpenAI-compatible server) or gemini");
        configureCmd->add_option("--base-url", o->configure.baseURL,
                                 "Server address without /v1 (default https://api.openai.com)");
        configureCmd->add_option("--model", o->configure.model, "Model name");
        configureCmd->add_option("--api-key", o->configure.apiKey,
                                 "API key (prefer --api-key-file: arguments are visible to other users)");
        configureCmd
            ->add_option("--api-key-file", o->configure.apiKeyFile,
                         "Read the API key from FILE ('-' for stdin)")
            ->option_text("FILE");
        configureCmd->add_flag("--enable", o->configure.enable, "Turn AI on");
        configureCmd->add_flag("--disable", o->configure.disable, "Turn AI off");
        configureCmd->callback([&ctx, o] {
            if (o->configure.enable && o->configure.disable) {
                throw App::UsageError("give --enable or --disable, not both");
            }
            configure(ctx, o->configure);
            printStatus(ctx, false);
        });

        auto* test = ai->add_subcommand("test", "Test provider settings before applying them");
        test->add_option("--base-url", o->testBaseURL,
                         "OpenAI-compatible server address (default https://api.openai.com)");
        test->add_option("--api-key", o->testKey, "API key of the OpenAI-compatible server");
        test->add_option("--gemini", o->testGemini, "Test this Gemini API key instead")->option_text("KEY");
        test->add_option("--gemini-base-url", o->testGeminiBase, "Gemini API address")->group("");
        test->callback([&ctx, o] {
            if (o->testGemini && (!o->testKey.empty() || !o->testBaseURL.empty())) {
                throw App::UsageError(
                    "--gemini tests a Gemini key; do not combine it with --api-key or --base-url");
            }
            runTest(ctx, o->testBaseURL, o->testKey, o->testGemini, o->testGeminiBase);
        });

        struct Job {
            const char* name;
            const char* help;
            UI::AIGenerationJobs::Kind kind;
        };
        using Kind = UI::AIGenerationJobs::Kind;
        for (const auto& job :
             {Job{"title", "Write and save a title for a recording", Kind::title},
              Job{"summary", "Write and save the summary of a recording", Kind::summary},
              Job{"action-items", "List and save the action items of a recording", Kind::actionItems}}) {
            auto* cmd = ai->add_subcommand(job.name, job.help);
            cmd->add_option("RECORDING_ID", o->recordingId, "The recording's id")->required();
            if (job.kind == Kind::actionItems) {
                cmd->add_flag("--force", o->force, "Ask the model again even when items are stored");
            }
            const auto kind = job.kind;
            cmd->callback([&ctx, o, kind] {
                runJob(ctx, kind, o->recordingId, kind != Kind::actionItems || o->force);
            });
        }
    }};

} // namespace
