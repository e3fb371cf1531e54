#include "App/Cli.h"

#include "Support/Errors.h"
#include "Support/Files.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace App {

namespace {
std::map<std::string, CommandBuilder>& registry() {
    static std::map<std::string, CommandBuilder> commands;
    return commands;
}
} // namespace

CommandRegistration::CommandRegistration(std::string name, CommandBuilder build) {
    registry().emplace(std::move(name), std::move(build));
}

CliContext::~CliContext() = default;

Support::UserDefaults& CliContext::defaults() {
    if (!defaults_) {
        defaults_ =
            std::make_unique<Support::JsonFileUserDefaults>(Support::JsonFileUserDefaults::defaultPath());
    }
    return *defaults_;
}

int runCommandLine(int argc, char** argv, std::istream& in, std::ostream& out, std::ostream& err) {
    CLI::App root{"Vellmora: reminds you of online meetings, joins and records them, and keeps a library of "
                  "recordings with transcripts, summaries and action items.",
                  "vellmora"};
    root.set_version_flag("--version", std::string("vellmora ") + VELLMORA_VERSION);
    root.require_subcommand(1);
    root.fallthrough();

    auto folder = [&root](const char* flag, const char* env, const char* what) {
        root.add_option_function<std::string>(
                flag, [env](const std::string& dir) { ::setenv(env, dir.c_str(), 1); },
                std::string("Use DIR for ") + what + " instead of the per-user folder")
            ->option_text("DIR");
    };
    folder("--config-dir", "VELLMORA_CONFIG_HOME", "settings");
    folder("--data-dir", "VELLMORA_DATA_HOME", "the library, slides and recordings");
    folder("--cache-dir", "VELLMORA_CACHE_HOME", "caches");

    CliContext context(in, out, err);
    context.setArguments(std::vector<std::string>(argv, argv + argc));
    for (auto& [name, build] : registry()) {
        build(root, context);
    }

    try {
        root.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return root.exit(e, out, err);
    } catch (const CLI::CallForAllHelp& e) {
        return root.exit(e, out, err);
    } catch (const CLI::CallForVersion& e) {
        return root.exit(e, out, err);
    } catch (const CLI::ParseError& e) {
        err << "vellmora: " << e.what() << "\n";
        return 2;
    } catch (const UsageError& e) {
        err << "vellmora: " << e.what() << "\n";
        return 2;
    } catch (const CommandFailed& e) {
        if (*e.what() != '\0') {
            err << "vellmora: " << e.what() << "\n";
        }
        return 1;
    } catch (const Support::UserFacingError& e) {
        err << "vellmora: " << e.description() << "\n";
        return 1;
    } catch (const std::exception& e) {
        err << "vellmora: " << e.what() << "\n";
        return 1;
    } catch (const Support::Cancelled& e) {
        err << "vellmora: " << e.what() << "\n";
        return 1;
    }
    out.flush();
    return context.exitStatus();
}

} // namespace App
