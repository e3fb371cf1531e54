// The settings window: the list of pages on the left ("Calendars", "Recording", "Transcription", "AI",
// "Hot Keys", "AI Apps", "Screen Video", "Updates") and the chosen page on the right. Opened from the tray's
// "Settings" (the first page, or the one last shown) and "Set Up Vellmora..." (the first page that still
// needs the user, see `SettingsPages::firstNeedingAttention`). Every page writes its settings where the
// rest of the host reads them; closing the window only hides it.
#pragma once

#include "Desktop/settings/CalendarSettingsModel.h"
#include "Desktop/settings/SettingsPages.h"
#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

#include <memory>

class QListWidget;
class QStackedWidget;

namespace Desktop {

class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    using Page = SettingsPages::Page;

    explicit SettingsWindow(SettingsServices services, QWidget* parent = nullptr);
    ~SettingsWindow() override;

    void showPage(Page page);
    Page currentPage() const;
    /// Shows the first page that needs the user.
    void openSetup();
    /// What the setup looks at, read now.
    SettingsPages::Facts facts() const;

    QWidget* pageWidget(Page page) const;
    CalendarSettingsModel& calendars() { return *calendars_; }

protected:
    /// Reads the calendars again: accounts come and go while the window is hidden.
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    SettingsServices services_;
    std::unique_ptr<CalendarSettingsModel> calendars_;
    QListWidget* list_ = nullptr;
    QStackedWidget* stack_ = nullptr;
};

} // namespace Desktop
