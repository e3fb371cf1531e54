#include "Desktop/settings/SettingsWindow.h"

#include "Desktop/settings/AIAppsSettingsPage.h"
#include "Desktop/settings/AIProviderSettingsPage.h"
#include "Desktop/settings/CalendarSettingsPage.h"
#include "Desktop/settings/HotKeysSettingsPage.h"
#include "Desktop/settings/RecordingSettingsPage.h"
#include "Desktop/settings/SettingsForm.h"
#include "Desktop/settings/TranscriptionSettingsPage.h"
#include "Desktop/settings/UpdatesSettingsPage.h"
#include "Desktop/settings/VideoSettingsPage.h"
#include "Intelligence/TranscriptionSettings.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QListWidget>
#include <QScrollArea>
#include <QShowEvent>
#include <QStackedWidget>

namespace Desktop {

using namespace SettingsForm;

SettingsWindow::SettingsWindow(SettingsServices services, QWidget* parent)
    : QWidget(parent), services_(std::move(services)) {
    setObjectName("settingsWindow");
    setWindowTitle(tr("Vellmora Settings"));
    setAccessibleName(tr("Settings"));
    resize(860, 620);
    calendars_ = std::make_unique<CalendarSettingsModel>(services_.defaults, services_.calendars);

    auto* layout = new QHBoxLayout(this);
    list_ = named(new QListWidget(this), "settingsPages", tr("Settings pages"));
    list_->setFixedWidth(180);
    list_->setSpacing(3);
    layout->addWidget(list_);
    stack_ = new QStackedWidget(this);
    stack_->setObjectName("settingsStack");
    layout->addWidget(stack_, 1);

    for (auto page : SettingsPages::all) {
        QWidget* widget = nullptr;
        switch (page) {
        case Page::calendars:
            widget = new CalendarSettingsPage(*calendars_);
            break;
        case Page::recording:
            widget = new RecordingSettingsPage(services_);
            break;
        case Page::transcription:
            widget = new TranscriptionSettingsPage(services_);
            break;
        case Page::ai:
            widget = new AIProviderSettingsPage(services_);
            break;
        case Page::hotKeys:
            widget = new HotKeysSettingsPage(services_);
            break;
        case Page::aiApps:
            widget = new AIAppsSettingsPage(services_);
            break;
        case Page::video:
            widget = new VideoSettingsPage(services_);
            break;
        case Page::updates:
            widget = new UpdatesSettingsPage(services_);
            break;
        }
        auto title = qs(SettingsPages::title(page));
        widget->setAccessibleName(title);
        stack_->addWidget(widget);
        auto* item = new QListWidgetItem(title, list_);
        item->setData(Qt::AccessibleTextRole, title);
    }
    connect(list_, &QListWidget::currentRowChanged, stack_, &QStackedWidget::setCurrentIndex);
    list_->setCurrentRow(0);
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::showPage(Page page) {
    list_->setCurrentRow(static_cast<int>(page));
}

SettingsWindow::Page SettingsWindow::currentPage() const {
    return SettingsPages::all[static_cast<std::size_t>(std::max(0, stack_->currentIndex()))];
}

QWidget* SettingsWindow::pageWidget(Page page) const {
    return stack_->widget(static_cast<int>(page));
}

SettingsPages::Facts SettingsWindow::facts() const {
    calendars_->reload();
    return {.hasCalendars = calendars_->hasCalendars(),
            .remindersEnabled = calendars_->settings.get().isEnabled,
            .hasSpeechEngine = Intelligence::TranscriptionSettings::load(services_.defaults).engine !=
                               Intelligence::TranscriptionEngine::none,
            .hasAIProvider = Intelligence::AIProviderSettings::load(services_.defaults).provider !=
                             Intelligence::AIProvider::none};
}

void SettingsWindow::openSetup() {
    showPage(SettingsPages::firstNeedingAttention(facts()));
}

void SettingsWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    calendars_->reload();
}

void SettingsWindow::closeEvent(QCloseEvent* event) {
    // Closing only hides: the host keeps running in the tray.
    hide();
    event->ignore();
}

} // namespace Desktop
