// The "Updates" settings page: the version running, whether Vellmora looks for a newer release by itself
// (the "updateCheck.enabled" preference), when it last looked, and "Check Now", which asks the host's update
// coordinator (its answer shows in the menu and as a notification).
#pragma once

#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

class QCheckBox;
class QLabel;

namespace Desktop {

class UpdatesSettingsPage : public QWidget {
    Q_OBJECT
public:
    UpdatesSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();

    const SettingsServices& services_;
    QCheckBox* automatic_ = nullptr;
    QLabel* lastCheck_ = nullptr;
};

} // namespace Desktop
