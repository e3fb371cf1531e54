#include "App/host/AutostartPrompt.h"

#include "Support/Log.h"
#include "Support/RunningProgram.h"
#include "UI/aiapps/AIAppsHelperLocation.h"

#include <cstdlib>
#include <unistd.h>

namespace App {

namespace fs = std::filesystem;

namespace {

const Support::Logger log("autostart");

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value && *value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace

AutostartPrompt AutostartPrompt::live(Platform::UserNotificationCenter& center,
                                      Support::UserDefaults& defaults,
                                      std::function<void(const std::string&)> say) {
    auto self = Support::runningProgram();
    bool installed = !self.empty() && UI::AIAppsHelperLocation::helperPath(
                                          self, UI::AIAppsHelperLocation::temporaryRoots(),
                                          [](const fs::path& p) { return ::access(p.c_str(), X_OK) == 0; })
                                          .has_value();
    return AutostartPrompt({.center = center,
                            .defaults = defaults,
                            .autostart = Platform::Linux::XdgAutostart(
                                Platform::Linux::XdgAutostart::defaultFolder(environment)),
                            .executable = self,
                            .installed = installed,
                            .say = std::move(say)});
}

AutostartOffer::Facts AutostartPrompt::facts(bool demo, bool terminalOnly) const {
    AutostartOffer::Facts facts;
    facts.desktopSession = !terminalOnly && environment("DBUS_SESSION_BUS_ADDRESS") &&
                           (environment("DISPLAY") || environment("WAYLAND_DISPLAY"));
    facts.demo = demo;
    facts.offeredBefore = d_.defaults.boolean(AutostartOffer::offeredKey).value_or(false);
    try {
        facts.entryExists = d_.autostart.status() != Platform::Linux::XdgAutostart::Status::off;
    } catch (const std::exception& e) {
        log.warning("Cannot read the autostart entry: {}", e.what());
        facts.entryExists = true; // unreadable: do not offer to overwrite it
    }
    facts.installed = d_.installed;
    facts.systemdService = environment("INVOCATION_ID").has_value();
    return facts;
}

void AutostartPrompt::start(const AutostartOffer::Facts& facts) {
    if (!AutostartOffer::shouldOffer(facts)) {
        return;
    }
    d_.defaults.setBool(AutostartOffer::offeredKey, true);
    responses_ = d_.center.observeResponses(
        [this](const Platform::NotificationResponse& response) { answered(response); });
    d_.say(AutostartOffer::terminalHint);
    posting_ = Support::startTask([this]() -> Support::Task<> {
        try {
            co_await d_.center.add(
                {.identifier = AutostartOffer::requestIdentifier,
                 .content = {.title = AutostartOffer::title, .body = AutostartOffer::body}});
        } catch (const Platform::NotificationError& e) {
            log.notice("The start-at-login offer was not shown: {}", e.what());
        }
    });
}

void AutostartPrompt::answered(const Platform::NotificationResponse& response) {
    switch (AutostartOffer::answer(response)) {
    case AutostartOffer::Answer::unrelated:
        return;
    case AutostartOffer::Answer::decline:
        log.info("Start at login declined");
        break;
    case AutostartOffer::Answer::accept:
        try {
            d_.autostart.enable(d_.executable);
            d_.say(AutostartOffer::acceptedText);
        } catch (const std::exception& e) {
            d_.say(std::string("Could not turn on start at login: ") + e.what());
        }
        break;
    }
    responses_ = {};
}

} // namespace App
