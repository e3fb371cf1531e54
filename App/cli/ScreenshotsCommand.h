// `vellmora screenshots FOLDER [--scale N]`, as both programs declare it: `vellmora-windows` draws the
// windows; `vellmora`, which has none, hands the command over to it.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace App::ScreenshotsCommand {

/// Adds the subcommand with its options, bound to `folder` and `scale`.
CLI::App* add(CLI::App& root, std::string& folder, double& scale);

} // namespace App::ScreenshotsCommand
