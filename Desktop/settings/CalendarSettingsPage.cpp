#include "Desktop/settings/CalendarSettingsPage.h"

#include "Desktop/settings/SettingsForm.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;

namespace {
template <std::size_t N>
void fill(QComboBox* box, const std::array<UI::CalendarReminderSettings::Choice, N>& choices) {
    for (const auto& choice : choices) {
        box->addItem(qs(choice.label), choice.minutes);
    }
}
void select(QComboBox* box, std::optional<int> minutes) {
    box->setCurrentIndex(box->findData(minutes.value_or(UI::CalendarReminderSettings::off)));
}
} // namespace

CalendarSettingsPage::CalendarSettingsPage(CalendarSettingsModel& model, QWidget* parent)
    : QWidget(parent), model_(model) {
    setObjectName("calendarSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("Meeting Reminders"), this));
    enabled_ = named(new QCheckBox(tr("Remind me of online meetings"), this), "remindersEnabled",
                     tr("Remind me of online meetings"));
    layout->addWidget(enabled_);
    auto* form = new QFormLayout;
    headsUp_ = named(new QComboBox(this), "headsUpMinutes", tr("Heads-up notification"));
    fill(headsUp_, UI::CalendarReminderSettings::headsUpChoices);
    form->addRow(tr("Heads-up notification:"), headsUp_);
    overlay_ = named(new QComboBox(this), "overlayMinutes", tr("Meeting card"));
    fill(overlay_, UI::CalendarReminderSettings::overlayChoices);
    form->addRow(tr("Meeting card:"), overlay_);
    layout->addLayout(form);

    layout->addSpacing(12);
    layout->addWidget(heading(tr("Calendars"), this));
    layout->addWidget(
        caption(tr("Meetings of the calendars switched off here are never reminded of."), this));
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* list = new QWidget(scroll);
    calendars_ = new QVBoxLayout(list);
    scroll->setWidget(list);
    layout->addWidget(scroll, 1);

    connect(enabled_, &QCheckBox::toggled, this, [this](bool on) {
        if (on != model_.settings.get().isEnabled) {
            model_.setRemindersEnabled(on);
        }
    });
    connect(headsUp_, &QComboBox::activated, this,
            [this](int index) { model_.setHeadsUpMinutes(headsUp_->itemData(index).toInt()); });
    connect(overlay_, &QComboBox::activated, this,
            [this](int index) { model_.setOverlayMinutes(overlay_->itemData(index).toInt()); });
    subscriptions_ += model_.settings.observe([this](const auto&) { refreshSettings(); });
    subscriptions_ += model_.accounts.observe([this](const auto&) { rebuildCalendars(); });
    refreshSettings();
    rebuildCalendars();
}

void CalendarSettingsPage::refreshSettings() {
    const auto& s = model_.settings.get();
    enabled_->setChecked(s.isEnabled);
    select(headsUp_, s.headsUpMinutes);
    select(overlay_, s.overlayMinutes);
    headsUp_->setEnabled(s.isEnabled);
    overlay_->setEnabled(s.isEnabled);
    for (auto* box : findChildren<QCheckBox*>()) {
        auto id = box->property("calendarID");
        if (id.isValid()) {
            box->setChecked(!model_.isExcluded(id.toString().toStdString()));
        }
    }
}

void CalendarSettingsPage::rebuildCalendars() {
    clearLayout(calendars_);
    auto* parent = calendars_->parentWidget();
    if (!model_.hasCalendars()) {
        calendars_->addWidget(caption(tr("No calendars are read yet. Add an online account in the desktop's "
                                         "settings, or an iCalendar address with `vellmora calendars`."),
                                      parent, "noCalendars"));
    }
    for (const auto& account : model_.accounts.get()) {
        auto* title = new QLabel(qs(account.label), parent);
        QFont bold = title->font();
        bold.setBold(true);
        title->setFont(bold);
        calendars_->addWidget(title);
        calendars_->addWidget(caption(qs(account.caption()), parent));
        for (const auto& calendar : account.calendars) {
            auto* box = new QCheckBox(qs(calendar.title), parent);
            box->setObjectName(qs("calendar:" + calendar.id));
            box->setAccessibleName(
                tr("Remind me of meetings in %1 (%2)").arg(qs(calendar.title), qs(account.label)));
            box->setProperty("calendarID", qs(calendar.id));
            box->setChecked(!model_.isExcluded(calendar.id));
            auto id = calendar.id;
            connect(box, &QCheckBox::toggled, this, [this, id](bool included) {
                if (included == model_.isExcluded(id)) {
                    model_.setExcluded(id, !included);
                }
            });
            calendars_->addWidget(box);
        }
    }
    calendars_->addStretch(1);
}

} // namespace Desktop
