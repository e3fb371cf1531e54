// The "Hot Keys" settings page: the notes and live recap shortcuts as they are, a field to type a new
// combination ("ctrl+alt+n" or "⌃⌥N") with "Set", "Reset" to go back to the default, and the conflict report
// (`HotKeyConflicts`): the same combination for both, or one another application holds. Saving posts the
// shortcut's change notification, on which the host registers it again; the page reads everything back on
// that notification.
#pragma once

#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

class QLabel;
class QLineEdit;

namespace Desktop {

class HotKeysSettingsPage : public QWidget {
    Q_OBJECT
public:
    enum class Which { notes, liveRecap };

    HotKeysSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);

    /// Reads both shortcuts and the conflict report again.
    void refresh();

private:
    void set(Which which);
    void reset(Which which);

    const SettingsServices& services_;
    QLabel* notes_ = nullptr;
    QLabel* liveRecap_ = nullptr;
    QLineEdit* notesInput_ = nullptr;
    QLineEdit* liveRecapInput_ = nullptr;
    QLabel* error_ = nullptr;
    QLabel* report_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
