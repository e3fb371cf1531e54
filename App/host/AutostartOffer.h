// The one-time offer to start Vellmora at login, as decisions and texts: whether the host offers it now,
// and what the user's answer to the offer's notification means. Used by `AutostartPrompt` (the host) and
// its tests.
//
// Offered once per user ("autostart.offered" remembers it, whatever the answer), only on a desktop session
// (a session bus and a display; never with --terminal-only), never in the demo, never when start-at-login
// is already on or Vellmora runs as the systemd user unit, and only for an installed Vellmora (an entry
// pointing into a build folder or a temporary folder would break). An entry the desktop turned off counts
// as an answer already given: no offer.
#pragma once

#include "Platform/UserNotificationCenter.h"

#include <string>

namespace App {

struct AutostartOffer {
    static constexpr const char* offeredKey = "autostart.offered";
    static constexpr const char* requestIdentifier = "dev.tessadine.vellmora.autostartOffer";
    static constexpr const char* title = "Start Vellmora when you log in?";
    static constexpr const char* body =
        "Click here and Vellmora starts by itself each time you log in, so no meeting goes unreminded. "
        "(vellmora autostart off undoes it.)";
    static constexpr const char* terminalHint =
        "Vellmora can start when you log in: click the notification, or run vellmora autostart on.";
    static constexpr const char* acceptedText = "Vellmora will start when you log in (vellmora autostart off "
                                                "undoes it).";

    struct Facts {
        bool desktopSession = false;
        bool demo = false;
        bool offeredBefore = false;
        /// An autostart entry exists (on, or turned off in the desktop's settings).
        bool entryExists = false;
        bool installed = false;
        /// Started by systemd (the user unit), which already starts it at login.
        bool systemdService = false;
    };
    static bool shouldOffer(const Facts& facts);

    enum class Answer { accept, decline, unrelated };
    /// A click on the offer accepts it; closing it declines; every other notification is unrelated.
    static Answer answer(const Platform::NotificationResponse& response);
};

} // namespace App
