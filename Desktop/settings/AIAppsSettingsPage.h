// The "AI Apps" settings page: every AI app that can read the recordings through Vellmora's MCP server,
// with its status, the buttons that fit it (Connect, Disconnect, Copy Setup), and the outcome of the last
// change under it; every change to another app's files is confirmed first, in a window-modal box
// ("aiAppsConfirmation") with the model's exact title and description. Then the setup text for any other
// app. A thin view over `UI::AIAppsSettingsModel`; a row's buttons are named "<action>:<app id>".
#pragma once

#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

class QGridLayout;
class QLabel;
class QMessageBox;

namespace Desktop {

class AIAppsSettingsPage : public QWidget {
    Q_OBJECT
public:
    AIAppsSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);
    ~AIAppsSettingsPage() override;

    /// The confirmation on screen, or null.
    QMessageBox* confirmationBox() const { return box_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void rebuildRows();
    void showConfirmation();

    const SettingsServices& services_;
    QGridLayout* rows_ = nullptr;
    QLabel* other_ = nullptr;
    QMessageBox* box_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
