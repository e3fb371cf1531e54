// The host's start-at-login offer: asked once, on the desktop, as a notification whose click turns
// start-at-login on (`AutostartOffer` decides and words it; `XdgAutostart` writes the entry). The terminal
// gets one line saying how to answer there. When the notification server refuses the notification, that
// line is the whole offer. The offer is remembered as made as soon as it is shown, whatever the answer.
#pragma once

#include "App/host/AutostartOffer.h"
#include "Platform/Linux/XdgAutostart.h"
#include "Platform/UserNotificationCenter.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace App {

class AutostartPrompt {
public:
    struct Dependencies {
        Platform::UserNotificationCenter& center;
        Support::UserDefaults& defaults;
        Platform::Linux::XdgAutostart autostart;
        /// The program the entry starts.
        std::filesystem::path executable;
        /// Whether `executable` is an installed Vellmora (see AIAppsHelperLocation).
        bool installed = false;
        std::function<void(const std::string&)> say;
    };

    explicit AutostartPrompt(Dependencies dependencies) : d_(std::move(dependencies)) {}
    /// The running program in the user's autostart folder.
    static AutostartPrompt live(Platform::UserNotificationCenter& center, Support::UserDefaults& defaults,
                                std::function<void(const std::string&)> say);

    /// The facts of now: the session from the environment ($DBUS_SESSION_BUS_ADDRESS and $DISPLAY or
    /// $WAYLAND_DISPLAY; $INVOCATION_ID when systemd started it), the entry and the remembered offer from
    /// disk.
    AutostartOffer::Facts facts(bool demo, bool terminalOnly) const;
    /// Offers when `facts` say so.
    void start(const AutostartOffer::Facts& facts);

private:
    void answered(const Platform::NotificationResponse& response);

    Dependencies d_;
    Support::Subscription responses_;
    std::optional<Support::Task<>> posting_;
};

} // namespace App
