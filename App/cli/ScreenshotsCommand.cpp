#include "App/cli/ScreenshotsCommand.h"

#include "App/Cli.h"
#include "App/host/WindowedProgram.h"
#include "App/host/WindowsShell.h"

namespace App {

CLI::App* ScreenshotsCommand::add(CLI::App& root, std::string& folder, double& scale) {
    auto* cmd = root.add_subcommand(
        "screenshots", "Write a PNG of every desktop window (demo data) into FOLDER, for review");
    cmd->add_option("FOLDER", folder, "Where the pictures go (created when needed)")->required();
    cmd->add_option("--scale", scale, "The interface scale, as QT_SCALE_FACTOR (2 for 200%)")
        ->check(CLI::Range(0.5, 4.0));
    return cmd;
}

namespace {

CommandRegistration registration{
    "screenshots", [](CLI::App& root, CliContext& ctx) {
        if (WindowsShell::isBuiltIn()) {
            return; // the windowed program's own command
        }
        auto folder = std::make_shared<std::string>();
        auto scale = std::make_shared<double>(1.0);
        ScreenshotsCommand::add(root, *folder, *scale)->callback([&ctx, folder, scale] {
            ctx.out().flush();
            throw CommandFailed(WindowedProgram::handOverOrExplain(ctx.arguments()));
        });
    }};

} // namespace

} // namespace App
