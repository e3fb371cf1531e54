// Where reminders appear besides the system notifications: the overlay card, and an echo of each banner
// for surfaces that show their own (the terminal presenter prints them; the desktop presenter leaves them
// to the notification). Implemented by the host. The card reports the user's choice through the callback
// given with it; a card that is closed or replaced must not call it afterwards.
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/MeetingOverlayAction.h"
#include "UI/calendar/MeetingOverlayPresentation.h"
#include "UI/calendar/MeetingReminderBanner.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace UI {

/// The overlay card on screen: what it says and which meetings it is about.
struct MeetingReminderCard {
    CalendarMeeting main;
    std::vector<CalendarMeeting> extras;
    MeetingOverlayPresentation presentation;
    bool isRecording = false;
    bool isCallDetected = false;
    Support::Date shownAt;

    bool shows(const std::string& occurrenceKey) const {
        if (main.occurrenceKey == occurrenceKey) {
            return true;
        }
        for (const auto& extra : extras) {
            if (extra.occurrenceKey == occurrenceKey) {
                return true;
            }
        }
        return false;
    }
};

class MeetingReminderPresenter {
public:
    using CardActionHandler = std::function<void(const MeetingOverlayAction&)>;

    virtual ~MeetingReminderPresenter() = default;

    virtual void prepare() = 0;
    virtual void showBanner(const MeetingReminderBanner& banner, Support::Date now) = 0;
    virtual void removeBanners(const std::set<std::string>& occurrenceKeys) = 0;
    /// Shows the card (replacing one on screen); `onAction` receives the user's choice.
    virtual void showCard(const MeetingReminderCard& card, CardActionHandler onAction) = 0;
    virtual void closeCard() = 0;
    /// Brings the app forward showing this meeting (a click on a reminder's body).
    virtual void showMeeting(const CalendarMeeting& meeting) = 0;
};

} // namespace UI
