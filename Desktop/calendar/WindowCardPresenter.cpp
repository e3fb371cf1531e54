#include "Desktop/calendar/WindowCardPresenter.h"

namespace Desktop {

void WindowCardPresenter::showCard(const UI::MeetingReminderCard& card, CardActionHandler onAction) {
    if (answered_) {
        *answered_ = true; // the card being replaced must not answer any more
    }
    auto answered = std::make_shared<bool>(false);
    answered_ = answered;
    auto once = [this, answered, onAction](bool fromWindow, const UI::MeetingOverlayAction& action) {
        if (*answered) {
            return;
        }
        *answered = true;
        if (fromWindow) {
            inner_.closeCard();
        } else {
            window_.close();
        }
        onAction(action);
    };
    inner_.showCard(card, [once](const UI::MeetingOverlayAction& a) { once(false, a); });
    window_.show(card, [once](const UI::MeetingOverlayAction& a) { once(true, a); });
}

void WindowCardPresenter::closeCard() {
    if (answered_) {
        *answered_ = true;
    }
    inner_.closeCard();
    window_.close();
}

void WindowCardPresenter::showMeeting(const UI::CalendarMeeting& meeting) {
    inner_.showMeeting(meeting);
}

} // namespace Desktop
