// `vellmora screenshots FOLDER [--scale N]`: writes a picture of every desktop window, filled with the demo
// library and a demo meeting card, so that a person can look at them without a desktop session (the
// offscreen platform is used when there is no display). Part of `vellmora-windows`; `vellmora` hands the
// command over to it.

#include "App/Cli.h"
#include "App/cli/ScreenshotsCommand.h"
#include "App/host/DemoData.h"
#include "App/host/HostEnvironment.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Desktop/app/DesktopWindows.h"
#include "Platform/Linux/CommandLineClipboard.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Platform/PosixProcessRunner.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/Url.h"
#include "UI/calendar/MeetingOverlayPresentation.h"

#include <fmt/format.h>

#include <cstdlib>

namespace App {
namespace {

UI::CalendarMeeting demoMeeting(const std::string& id, const std::string& title, Support::Date start,
                                UI::MeetingService service, const char* url) {
    return UI::CalendarMeeting{.occurrenceKey = UI::CalendarMeeting::occurrenceKeyFor(id, start),
                               .calendarItemID = id,
                               .externalID = std::nullopt,
                               .calendarID = "demo",
                               .title = title,
                               .start = start,
                               .end = start + std::chrono::minutes(30),
                               .link = UI::MeetingLink{service, *Support::Url::parse(url), std::nullopt},
                               .notesExcerpt = std::nullopt,
                               .attendees = {},
                               .organizer = std::nullopt};
}

// The command itself; `vellmora`, which has no windows, registers one that hands over to this program.
CommandRegistration registration{
    "screenshots (windows)", [](CLI::App& root, CliContext& ctx) {
        auto folder = std::make_shared<std::string>();
        auto scale = std::make_shared<double>(1.0);
        auto* cmd = ScreenshotsCommand::add(root, *folder, *scale);
        cmd->callback([&ctx, folder, scale] {
            if (!Desktop::DesktopWindows::hasDisplay()) {
                ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
            }
            ::setenv("QT_SCALE_FACTOR", fmt::format("{}", *scale).c_str(), 1);
            const auto env = HostEnvironment::read();
            Support::MainLoop loop;
            Support::RealScheduler scheduler(loop);
            Support::NotificationCenter center;
            UI::AIGenerationJobs jobs(center);
            Support::InMemoryUserDefaults defaults;
            Database::SqliteDatabase database(":memory:");
            DemoData::installLibrary(database, scheduler.now());
            auto windows = Desktop::DesktopWindows::connect(
                {loop, database, scheduler, center, defaults, UI::DateContext{env.localeID, env.timeZoneID},
                 jobs},
                [&ctx](const std::string& line) { ctx.err() << line << "\n"; });
            if (!windows) {
                ctx.setExitStatus(1);
                return;
            }
            // The settings pages: nothing is sent or run while they are drawn.
            auto processes = std::make_shared<Platform::PosixProcessRunner>();
            windows->setSettingsSources(
                {.calendars = {},
                 .checkForUpdates = {},
                 .version = VELLMORA_VERSION,
                 .http = std::make_shared<Platform::CurlHttpClient>(),
                 .processes = processes,
                 .clipboard = std::make_shared<Platform::CommandLineClipboard>(processes)});
            auto now = scheduler.now();
            auto start = now + std::chrono::seconds(60);
            auto main = demoMeeting("demo-design-review", "Design review", start, UI::MeetingService::zoom,
                                    "https://zoom.us/j/81234567890");
            auto extra =
                demoMeeting("demo-customer-call", "Customer call: Northwind", start,
                            UI::MeetingService::teams, "https://teams.microsoft.com/l/meetup-join/x");
            UI::MeetingReminderCard card{main,
                                         {extra},
                                         UI::MeetingOverlayPresentation(main, {extra}, now,
                                                                        start + std::chrono::seconds(60),
                                                                        env.timeZoneID, env.localeID),
                                         false,
                                         false,
                                         now};
            auto suffix = *scale == 1.0 ? std::string() : fmt::format("@{}x", *scale);
            for (const auto& path : windows->writeScreenshots(*folder, suffix, card)) {
                ctx.out() << path.string() << "\n";
            }
        });
    }};

} // namespace
} // namespace App
