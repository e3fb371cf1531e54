// `vellmora open library`: what the launcher's "Open Library" action runs. Until Vellmora has a library
// window, it opens the recordings folder in the file manager.
#include "App/Cli.h"

#include "Platform/Linux/LinuxWorkspace.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"
#include "Support/Url.h"

#include <cctype>
#include <filesystem>

namespace App {

namespace {

/// A file URL for an absolute path, every byte but the unreserved ones and '/' percent-encoded.
std::string fileURL(const std::filesystem::path& path) {
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string url = "file://";
    for (unsigned char c : path.string()) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
            url += static_cast<char>(c);
        } else {
            url += '%';
            url += hex[c >> 4];
            url += hex[c & 0xf];
        }
    }
    return url;
}

} // namespace

static CommandRegistration registration{
    "open", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand("open", "Open a part of Vellmora on the desktop");
        cmd->require_subcommand(1);
        cmd->add_subcommand("library", "Open the recordings folder in the file manager")->callback([&ctx] {
            auto folder = Support::Files::dataHome() / "Recordings";
            std::error_code ec;
            std::filesystem::create_directories(folder, ec);
            if (ec) {
                throw CommandFailed("cannot create " + folder.string() + ": " + ec.message());
            }
            auto url = Support::Url::parse(fileURL(folder));
            if (!url) {
                throw CommandFailed("cannot open " + folder.string());
            }
            Support::MainLoop loop;
            Platform::LinuxWorkspace workspace;
            auto task = workspace.open(*url);
            while (!task.isDone()) {
                loop.runOne(1000);
            }
            if (!task.get()) {
                throw CommandFailed("nothing opened " + folder.string() + " (is xdg-open installed?)");
            }
            ctx.out() << folder.string() << "\n";
        });
    }};

} // namespace App
