// `vellmora menu`: the menu-bar menu as it would be shown now, in plain text.
//
// The command has no recorder and no reminder coordinator of its own, so it shows the idle menu with
// recording available; Up Next appears only in the running host, where the reminder coordinator supplies
// the day's meetings.
#include "App/Cli.h"
#include "App/host/HostEnvironment.h"
#include "Platform/StatusItem.h"
#include "Support/MainLoop.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "UI/recording/MenuBarController.h"
#include "UI/recording/MenuTextRenderer.h"

namespace App {
namespace {

/// Keeps what the controller shows, for printing.
class CapturedStatusItem final : public Platform::StatusItem {
public:
    Platform::StatusIcon icon;
    Platform::Menu menu;
    void setIcon(const Platform::StatusIcon& i) override { icon = i; }
    void setMenu(const Platform::Menu& m) override { menu = m; }
};

CommandRegistration registration{
    "menu", [](CLI::App& root, CliContext& ctx) {
        auto* menu = root.add_subcommand("menu", "Print the menu-bar menu as it would be shown now");
        auto width = std::make_shared<std::size_t>(UI::MenuTextRenderer::defaultWidth);
        menu->add_option("--width", *width, "Line width")->check(CLI::Range(20, 200));
        menu->callback([&ctx, width] {
            Support::MainLoop loop;
            Support::RealScheduler scheduler(loop);
            Support::NotificationCenter center;
            CapturedStatusItem item;
            const auto environment = HostEnvironment::read();
            UI::MenuBarController controller({item, scheduler, center, ctx.defaults(), environment.timeZoneID,
                                              environment.localeID,
                                              std::string("Vellmora ") + VELLMORA_VERSION});
            controller.setRecordingAvailability(UI::MenuBarController::RecordingAvailability::ready());
            controller.setUpdateCheckAvailable(true);
            controller.setupMenuBar();
            ctx.out() << "Icon: " << UI::MenuTextRenderer::describeIcon(item.icon) << "\n"
                      << UI::MenuTextRenderer::render(item.menu, *width);
        });
    }};

} // namespace
} // namespace App
