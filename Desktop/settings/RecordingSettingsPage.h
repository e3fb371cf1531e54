// The "Recording" settings page: the microphones and outputs of the sound server, marking the defaults
// (the ones a recording takes: the microphone is you, the output's monitor is the others), and the level
// test, which records a few seconds of both tracks and says what each heard. The devices are read on the
// blocking pool when the page is first shown.
#pragma once

#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

#include <memory>

class QLabel;
class QListWidget;
class QPushButton;

namespace Desktop {

class RecordingSettingsPage : public QWidget {
    Q_OBJECT
public:
    RecordingSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);
    ~RecordingSettingsPage() override;

    /// Reads the devices again (also done on first show).
    void loadDevices();
    void runLevelTest();

protected:
    void showEvent(QShowEvent* event) override;

private:
    const SettingsServices& services_;
    QListWidget* microphones_ = nullptr;
    QListWidget* outputs_ = nullptr;
    QLabel* server_ = nullptr;
    QPushButton* test_ = nullptr;
    QLabel* result_ = nullptr;
    bool loaded_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Desktop
