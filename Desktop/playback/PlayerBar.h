// The player row of a recording's page: play/pause, the position slider and "12:34 / 45:00". A thin view
// over a `PlaybackSource`; when the source cannot play, the button is disabled and its tooltip (and
// accessible description) says why.
#pragma once

#include "Desktop/playback/PlaybackSource.h"

#include <QWidget>

class QLabel;
class QPushButton;
class QSlider;

namespace Desktop {

class PlayerBar : public QWidget {
    Q_OBJECT
public:
    explicit PlayerBar(PlaybackSource& source, QWidget* parent = nullptr);

    QPushButton* playButton() const { return play_; }

private:
    void refresh();
    void showTime(double seconds);

    PlaybackSource& source_;
    QPushButton* play_ = nullptr;
    QSlider* slider_ = nullptr;
    QLabel* time_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
