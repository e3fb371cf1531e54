// `vellmora update check [--endpoint URL] [--store-id ID] [--json]`: one store lookup, the outcome in words.
#include "App/Cli.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/UserDefaults.h"
#include "UI/updates/AppStoreLookupClient.h"
#include "UI/updates/AppVersion.h"
#include "UI/updates/UpdateCheckConfiguration.h"
#include "UI/updates/UpdateCheckCoordinator.h"
#include "UI/updates/UpdateCheckPreferences.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace App {
namespace {

struct Options {
    std::string endpoint;
    std::string storeID;
    std::string country;
    std::string installed = VELLMORA_VERSION;
    bool json = false;
};

std::optional<std::string> countryFromEnvironment() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const char* value = std::getenv(name); value && *value) {
            return UI::AppStoreLookupClient::storefrontCountry(value);
        }
    }
    return std::nullopt;
}

void run(CliContext& ctx, const Options& options) {
    auto endpoint = UI::AppStoreLookupClient::Endpoint::load(ctx.defaults());
    if (!options.endpoint.empty()) {
        endpoint.lookupEndpoint = options.endpoint;
    }
    if (!options.storeID.empty()) {
        endpoint.storeID = options.storeID;
    }
    const auto country = options.country.empty() ? countryFromEnvironment() : std::optional(options.country);

    Support::MainLoop loop;
    Platform::CurlHttpClient http;
    UI::AppStoreLookupClient client(http, endpoint);
    auto task = client.latestRelease(country);
    while (!task.isDone()) {
        loop.runOne(100);
    }
    const auto outcome = task.get();
    using Kind = UI::AppStoreLookupClient::Outcome::Kind;
    if (outcome.kind == Kind::failed) {
        throw CommandFailed("The update check failed: " + outcome.failureReason);
    }
    UI::UpdateCheckPreferences(ctx.defaults()).setLastCheckDate(Support::systemNow());

    const bool newer =
        outcome.release && UI::AppVersion::isNewer(outcome.release->version, options.installed);
    if (options.json) {
        nlohmann::json out{{"installedVersion", options.installed}, {"updateAvailable", newer}};
        if (outcome.release) {
            const auto& r = *outcome.release;
            out["release"] = {{"version", r.version}};
            if (r.releaseDate) {
                out["release"]["releaseDate"] = Support::formatISO8601(*r.releaseDate);
            }
            if (r.storeURL) {
                out["release"]["storeURL"] = *r.storeURL;
            }
            if (r.minimumOSVersion) {
                out["release"]["minimumOSVersion"] = *r.minimumOSVersion;
            }
        }
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    if (!outcome.release) {
        ctx.out() << "The store lists no release of Vellmora.\n";
        return;
    }
    const auto& r = *outcome.release;
    ctx.out() << "Latest release: " << r.version;
    if (r.releaseDate) {
        ctx.out() << " (released " << Support::formatISO8601(*r.releaseDate) << ")";
    }
    ctx.out() << "\n";
    ctx.out() << (newer ? "An update is available: Vellmora " + r.version + " (you have " +
                              options.installed + ")."
                        : "You're up to date. Vellmora " + options.installed + " is the latest version.")
              << "\n";
    if (newer && r.storeURL) {
        ctx.out() << "Get it at " << *r.storeURL << "\n";
    }
    if (newer && r.releaseNotes) {
        ctx.out() << "\n"
                  << UI::UpdateCheckCoordinator::shownReleaseNotes(*r.releaseNotes,
                                                                   UI::UpdateCheckConfiguration::standard)
                  << "\n";
    }
}

CommandRegistration registration{
    "update", [](CLI::App& root, CliContext& ctx) {
        auto* update = root.add_subcommand("update", "Look for a newer release of Vellmora");
        update->require_subcommand(1);
        auto* check = update->add_subcommand("check", "Ask the store once for the latest release");
        auto options = std::make_shared<Options>();
        check
            ->add_option(
                "--endpoint", options->endpoint,
                "Lookup address (default: the \"updateCheck.lookupEndpoint\" setting, else the store's)")
            ->option_text("URL");
        check->add_option("--store-id", options->storeID, "The application's store id")->option_text("ID");
        check->add_option("--country", options->country,
                          "Storefront country code (default: from the locale)");
        check->add_option("--installed", options->installed,
                          "Compare with this version instead of this build's");
        check->add_flag("--json", options->json, "Machine-readable output");
        check->callback([&ctx, options] { run(ctx, *options); });
    }};

} // namespace
} // namespace App
