// The reminder presenter when the desktop windows are there: banners and everything else go to the
// presenter it wraps (the terminal's), and the overlay card is shown both there and as the card window.
// Whichever answers first wins: the other is closed and its answer ignored. A card that is replaced or
// withdrawn reports nothing.
#pragma once

#include "Desktop/app/DesktopWindows.h"
#include "UI/calendar/MeetingReminderPresenter.h"

#include <memory>

namespace Desktop {

class WindowCardPresenter final : public UI::MeetingReminderPresenter {
public:
    WindowCardPresenter(UI::MeetingReminderPresenter& inner, DesktopWindows& windows)
        : inner_(inner), windows_(windows) {}

    void prepare() override { inner_.prepare(); }
    void showBanner(const UI::MeetingReminderBanner& banner, Support::Date now) override {
        inner_.showBanner(banner, now);
    }
    void removeBanners(const std::set<std::string>& keys) override { inner_.removeBanners(keys); }
    void showCard(const UI::MeetingReminderCard& card, CardActionHandler onAction) override;
    void closeCard() override;
    void showMeeting(const UI::CalendarMeeting& meeting) override;

private:
    UI::MeetingReminderPresenter& inner_;
    DesktopWindows& windows_;
    std::shared_ptr<bool> answered_;
};

} // namespace Desktop
