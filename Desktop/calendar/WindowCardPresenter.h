// The reminder presenter when the desktop windows are there: banners and everything else go to the
// presenter it wraps (the terminal's), and the overlay card is shown both there and as the card window.
// Whichever answers first wins: the other is closed and its answer ignored. A card that is replaced or
// withdrawn reports nothing.
#pragma once

#include "Desktop/app/DesktopWindows.h"
#include "UI/calendar/MeetingReminderPresenter.h"

#include <functional>
#include <memory>

namespace Desktop {

class WindowCardPresenter final : public UI::MeetingReminderPresenter {
public:
    /// Where the card window is shown and withdrawn (the desktop windows; a test's recorder).
    struct CardWindow {
        std::function<void(const UI::MeetingReminderCard&, CardActionHandler)> show;
        std::function<void()> close;
    };

    WindowCardPresenter(UI::MeetingReminderPresenter& inner, CardWindow window)
        : inner_(inner), window_(std::move(window)) {}
    WindowCardPresenter(UI::MeetingReminderPresenter& inner, DesktopWindows& windows)
        : WindowCardPresenter(
              inner, CardWindow{[&windows](const UI::MeetingReminderCard& card, CardActionHandler onAction) {
                                    windows.showCard(card, std::move(onAction));
                                },
                                [&windows] { windows.closeCard(); }}) {}

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
    CardWindow window_;
    std::shared_ptr<bool> answered_;
};

} // namespace Desktop
