// The "Screen Video" settings page: how long screen videos are kept ("Never", "After 7 days", ...), written
// to the user defaults at once; the daily sweep deletes older videos and keeps the audio, transcript,
// slides and key screens.
#pragma once

#include "Desktop/settings/SettingsServices.h"

#include <QWidget>

class QComboBox;

namespace Desktop {

class VideoSettingsPage : public QWidget {
    Q_OBJECT
public:
    VideoSettingsPage(const SettingsServices& services, QWidget* parent = nullptr);

private:
    const SettingsServices& services_;
    QComboBox* retention_ = nullptr;
};

} // namespace Desktop
