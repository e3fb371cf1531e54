// The "AI" settings page: the provider (off, an OpenAI-compatible server, or Google's Gemini API), its
// address, model and API key, "Test" (which tries the values entered before they are applied, and shows the
// test's own texts), "Apply" (which saves the settings and keeps the key in the private key file), and the
// AI service's status line and help text. A thin view over `UI::AIServiceObservable`.
#pragma once

#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace Desktop {

class AIProviderSettingsPage : public QWidget {
    Q_OBJECT
public:
    AIProviderSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);

    /// Runs the test with the values entered now.
    void test();
    void apply();

private:
    void load();
    void refreshProvider();
    void refreshStatus();
    void refreshTest();

    const SettingsServices& services_;
    QComboBox* provider_ = nullptr;
    QLineEdit* baseURL_ = nullptr;
    QComboBox* model_ = nullptr;
    QLineEdit* key_ = nullptr;
    QPushButton* test_ = nullptr;
    QLabel* testHint_ = nullptr;
    QLabel* testResult_ = nullptr;
    QLabel* applied_ = nullptr;
    QLabel* status_ = nullptr;
    QLabel* help_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
