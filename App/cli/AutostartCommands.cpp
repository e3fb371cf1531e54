// `vellmora autostart on|off|status`: starting Vellmora (the tray host) when the user logs in, through the
// desktop's XDG autostart folder.
#include "App/Cli.h"

#include "Platform/Linux/XdgAutostart.h"
#include "Support/RunningProgram.h"
#include "UI/aiapps/AIAppsHelperLocation.h"

#include <cstdlib>

namespace App {

namespace {

namespace fs = std::filesystem;
using Platform::Linux::XdgAutostart;

XdgAutostart userAutostart() {
    return XdgAutostart(XdgAutostart::defaultFolder([](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        return value && *value ? std::optional<std::string>(value) : std::nullopt;
    }));
}

fs::path runningProgram() {
    auto self = Support::runningProgram();
    if (self.empty()) {
        throw CommandFailed("cannot tell where this program lies (no /proc/self/exe)");
    }
    if (UI::AIAppsHelperLocation::isTemporary(self, UI::AIAppsHelperLocation::temporaryRoots())) {
        throw CommandFailed(
            "this Vellmora runs from a temporary folder, which does not stay: install Vellmora "
            "first, then turn on start at login");
    }
    return self;
}

} // namespace

static CommandRegistration registration{
    "autostart", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand("autostart", "Start Vellmora when you log in, or not");
        cmd->require_subcommand(1);
        cmd->footer(
            "The entry is dev.tessadine.vellmora.desktop in $XDG_CONFIG_HOME/autostart (default "
            "~/.config/autostart); it starts `vellmora run --no-input`. Instead, the systemd user unit "
            "does the same: systemctl --user enable --now vellmora.service (use one of the two).");

        cmd->add_subcommand("on", "Start Vellmora (this program) when you log in")->callback([&ctx] {
            auto autostart = userAutostart();
            auto program = runningProgram();
            try {
                autostart.enable(program);
            } catch (const std::exception& e) {
                throw CommandFailed(std::string("cannot write the autostart entry: ") + e.what());
            }
            ctx.out() << "Vellmora will start when you log in (" << autostart.entryPath().string() << ").\n";
        });
        cmd->add_subcommand("off", "Do not start Vellmora when you log in")->callback([&ctx] {
            auto autostart = userAutostart();
            bool removed = false;
            try {
                removed = autostart.disable();
            } catch (const std::exception& e) {
                throw CommandFailed(std::string("cannot remove the autostart entry: ") + e.what());
            }
            ctx.out() << (removed ? "Vellmora will no longer start when you log in.\n"
                                  : "Vellmora was not set to start when you log in.\n");
        });
        cmd->add_subcommand("status", "Say whether Vellmora starts when you log in (exit status 1 when not)")
            ->callback([&ctx] {
                auto autostart = userAutostart();
                XdgAutostart::Status status;
                try {
                    status = autostart.status();
                } catch (const std::exception& e) {
                    throw CommandFailed(std::string("cannot read the autostart entry: ") + e.what());
                }
                switch (status) {
                case XdgAutostart::Status::on:
                    ctx.out() << "on (" << autostart.entryPath().string() << ")\n";
                    return;
                case XdgAutostart::Status::turnedOff:
                    ctx.out()
                        << "off (turned off in the desktop's settings; vellmora autostart on turns it on)\n";
                    break;
                case XdgAutostart::Status::off:
                    ctx.out() << "off\n";
                    break;
                }
                ctx.setExitStatus(1);
            });
    }};

} // namespace App
