#include "Desktop/playback/PlayerBar.h"

#include "Database/TranscriptTextFormatter.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

namespace Desktop {

PlayerBar::PlayerBar(PlaybackSource& source, QWidget* parent) : QWidget(parent), source_(source) {
    setObjectName("playerBar");
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    play_ = new QPushButton(this);
    play_->setObjectName("playPause");
    layout->addWidget(play_);
    slider_ = new QSlider(Qt::Horizontal, this);
    slider_->setObjectName("playbackPosition");
    slider_->setAccessibleName(tr("Playback position"));
    slider_->setRange(0, 0);
    layout->addWidget(slider_, 1);
    time_ = new QLabel(this);
    time_->setObjectName("playbackTime");
    layout->addWidget(time_);
    // Takes the room of the slider when it is hidden, so that the button keeps its size.
    layout->addStretch(0);

    connect(play_, &QPushButton::clicked, this, [this] {
        if (source_.isPlaying()) {
            source_.pause();
        } else {
            source_.play();
        }
    });
    connect(slider_, &QSlider::sliderReleased, this, [this] { source_.seek(slider_->value()); });
    connect(slider_, &QSlider::actionTriggered, this, [this](int action) {
        if (action != QAbstractSlider::SliderMove) {
            source_.seek(slider_->sliderPosition());
        }
    });
    subscriptions_ += source_.playingChanged.connect([this](bool) { refresh(); });
    subscriptions_ += source_.durationChanged.connect([this](double) { refresh(); });
    subscriptions_ += source_.positionChanged.connect([this](double seconds) { showTime(seconds); });
    showTime(0);
    refresh();
}

void PlayerBar::refresh() {
    bool playing = source_.isPlaying();
    play_->setText(playing ? tr("Pause") : tr("Play"));
    play_->setAccessibleName(playing ? tr("Pause the recording") : tr("Play the recording"));
    auto reason = source_.unavailableReason();
    play_->setEnabled(!reason);
    slider_->setEnabled(!reason);
    play_->setToolTip(reason ? QString::fromStdString(*reason) : QString());
    play_->setAccessibleDescription(play_->toolTip());
    slider_->setMaximum(static_cast<int>(source_.duration()));
    slider_->setVisible(!reason);
    time_->setText(reason ? QString::fromStdString(*reason) : time_->text());
}

void PlayerBar::showTime(double seconds) {
    if (source_.unavailableReason()) {
        return;
    }
    if (!slider_->isSliderDown()) {
        slider_->setValue(static_cast<int>(seconds));
    }
    time_->setText(QString::fromStdString(Database::TranscriptTextFormatter::timestamp(seconds) + " / " +
                                          Database::TranscriptTextFormatter::timestamp(source_.duration())));
}

} // namespace Desktop
