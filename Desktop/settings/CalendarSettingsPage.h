// The "Calendars" settings page: meeting reminders on or off, the heads-up and overlay lead times, and every
// calendar under its account with a switch that leaves it out of reminders and meetings. A thin view over
// `CalendarSettingsModel`; each calendar's switch is named "calendar:<id>".
#pragma once

#include "Desktop/settings/CalendarSettingsModel.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QVBoxLayout;

namespace Desktop {

class CalendarSettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit CalendarSettingsPage(CalendarSettingsModel& model, QWidget* parent = nullptr);

private:
    void rebuildCalendars();
    void refreshSettings();

    CalendarSettingsModel& model_;
    QCheckBox* enabled_ = nullptr;
    QComboBox* headsUp_ = nullptr;
    QComboBox* overlay_ = nullptr;
    QVBoxLayout* calendars_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
