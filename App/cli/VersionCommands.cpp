// `vellmora version compare A B` and `vellmora version is-newer CANDIDATE CURRENT`.
#include "App/Cli.h"
#include "UI/updates/AppVersion.h"

namespace App {
namespace {

UI::AppVersion parsedOrUsageError(const std::string& text) {
    auto version = UI::AppVersion::parse(text);
    if (!version) {
        throw UsageError("\"" + text +
                         "\" is not a version (expected numbers separated by dots, like 1.10.2)");
    }
    return *version;
}

CommandRegistration registration{
    "version", [](CLI::App& root, CliContext& ctx) {
        auto* version =
            root.add_subcommand("version", "Compare application versions the way the update check does");
        version->require_subcommand(1);

        auto* compare = version->add_subcommand("compare", "Print <, = or > for A compared with B");
        auto a = std::make_shared<std::string>();
        auto b = std::make_shared<std::string>();
        compare->add_option("A", *a, "A version")->required();
        compare->add_option("B", *b, "Another version")->required();
        compare->callback([&ctx, a, b] {
            const auto order = parsedOrUsageError(*a) <=> parsedOrUsageError(*b);
            ctx.out() << (order < 0 ? "<" : order > 0 ? ">" : "=") << "\n";
        });

        auto* isNewer =
            version->add_subcommand("is-newer", "Print true when CANDIDATE is newer than CURRENT");
        auto candidate = std::make_shared<std::string>();
        auto current = std::make_shared<std::string>();
        isNewer->add_option("CANDIDATE", *candidate, "The offered version")->required();
        isNewer->add_option("CURRENT", *current, "The installed version")->required();
        isNewer->callback([&ctx, candidate, current] {
            // A version that does not parse is never newer: "2.0 beta" is not offered over 1.0.
            ctx.out() << (UI::AppVersion::isNewer(*candidate, *current) ? "true" : "false") << "\n";
        });
    }};

} // namespace
} // namespace App
