// The meeting overlay card as a window: a frameless window over everything on the primary screen (the
// other screens get a dimming window each, where the desktop composites translucency), with the card's
// texts and buttons exactly as `UI::MeetingOverlayPresentation` gives them and its extra meetings' "Join"
// rows. Keys go through `UI::MeetingOverlayKeyPolicy`: everything is swallowed during the guard period,
// Return, Space and keypad Enter only activate the focused button after the user moved the focus with Tab
// or an arrow, and Escape dismisses. The window appears without taking the keyboard (a user typing
// elsewhere keeps typing there) and takes the focus only when the guard period has ended.
//
// Reports the user's choice once through the handler and closes; `close()` from outside (the card is
// replaced or withdrawn) reports nothing.
#pragma once

#include "Support/Scheduler.h"
#include "UI/calendar/MeetingReminderPresenter.h"

#include <QWidget>

#include <memory>
#include <optional>
#include <vector>

class QPushButton;

namespace Desktop {

class MeetingCardWindow : public QWidget {
    Q_OBJECT
public:
    MeetingCardWindow(UI::MeetingReminderCard card, Support::Scheduler& scheduler,
                      UI::MeetingReminderPresenter::CardActionHandler onAction, QWidget* parent = nullptr);
    ~MeetingCardWindow() override;

    /// Shows the card and the dimming windows; the keyboard focus follows when the guard period ends.
    void present();

    /// The virtual key code the key policy knows for a Qt key (0 for any other key).
    static std::uint16_t keyCode(int qtKey);

    /// The main meeting's buttons, in the presentation's order.
    const std::vector<QPushButton*>& buttons() const { return buttons_; }
    bool hasNavigated() const { return hasNavigated_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool isGuarded() const;
    /// Whether the key press was consumed by the policy.
    bool handleKey(QKeyEvent* event);
    void report(const UI::MeetingOverlayAction& action);
    void moveFocus(bool forward);

    UI::MeetingReminderCard card_;
    Support::Scheduler& scheduler_;
    UI::MeetingReminderPresenter::CardActionHandler onAction_;
    /// The end of the guard period after the card was shown, on the monotonic clock.
    Support::MonotonicInstant guardEnds_;
    std::vector<QPushButton*> buttons_;
    std::vector<std::unique_ptr<QWidget>> dimmers_;
    bool hasNavigated_ = false;
    bool reported_ = false;
    Support::Subscription focusTimer_;
};

} // namespace Desktop
