// The "Transcription" settings page: the speech engine (none, a transcription server, or whisper.cpp on
// this computer) with its settings, applied with "Apply", and the whisper.cpp speech models with their
// sizes, each with Download or Remove, and the download under way with its progress and "Stop". A thin view
// over `Intelligence::TranscriptionSettings` and `SpeechModelDownloads`.
#pragma once

#include "Desktop/settings/SettingsServices.h"
#include "Desktop/settings/SpeechModelDownloads.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace Desktop {

class TranscriptionSettingsPage : public QWidget {
    Q_OBJECT
public:
    TranscriptionSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);

private:
    void load();
    void apply();
    void refreshEngineFields();
    void rebuildModels();
    void refreshDownload();

    const SettingsServices& services_;
    QComboBox* engine_ = nullptr;
    QLineEdit* language_ = nullptr;
    QLineEdit* serverURL_ = nullptr;
    QLineEdit* serverModel_ = nullptr;
    QComboBox* whisperModel_ = nullptr;
    QLabel* applied_ = nullptr;
    QTreeWidget* models_ = nullptr;
    QLabel* progressText_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QPushButton* stop_ = nullptr;
    QLabel* message_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
