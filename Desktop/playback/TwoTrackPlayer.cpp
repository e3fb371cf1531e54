#include "Desktop/playback/TwoTrackPlayer.h"

#include "Desktop/playback/TrackTimeline.h"

#include <QAudioOutput>
#include <QMediaPlayer>
#include <QUrl>

#include <algorithm>

namespace Desktop {

namespace RecordingPlayer {

std::unique_ptr<PlaybackSource> make(const Database::DatabaseManager::Recording& recording) {
    auto files = tracks(recording);
    if (files.empty()) {
        return std::make_unique<NoPlayback>(missingFilesText);
    }
    return std::make_unique<TwoTrackPlayer>(std::move(files));
}

} // namespace RecordingPlayer

TwoTrackPlayer::TwoTrackPlayer(std::vector<RecordingPlayer::Track> tracks) {
    std::stable_sort(tracks.begin(), tracks.end(),
                     [](const auto& a, const auto& b) { return a.offset < b.offset; });
    for (auto& track : tracks) {
        Track t{std::move(track), new QMediaPlayer(this), new QAudioOutput(this)};
        t.player->setAudioOutput(t.output);
        t.player->setSource(QUrl::fromLocalFile(QString::fromStdString(t.track.file.string())));
        tracks_.push_back(std::move(t));
    }
    auto* leader = tracks_.front().player;
    connect(leader, &QMediaPlayer::positionChanged, this, [this](qint64 ms) { leaderMoved(ms); });
    for (auto& track : tracks_) {
        connect(track.player, &QMediaPlayer::durationChanged, this, [this](qint64) {
            double longest = 0;
            for (const auto& t : tracks_) {
                longest = std::max(longest, TrackTimeline::recordingTime(double(t.player->duration()) / 1000,
                                                                         t.track.offset));
            }
            if (longest != duration_) {
                duration_ = longest;
                durationChanged.emit(duration_);
            }
        });
    }
    connect(leader, &QMediaPlayer::playbackStateChanged, this, [this](QMediaPlayer::PlaybackState state) {
        if (state == QMediaPlayer::StoppedState && playing_) {
            playing_ = false;
            for (auto& t : tracks_) {
                t.player->pause();
            }
            playingChanged.emit(false);
        }
    });
}

TwoTrackPlayer::~TwoTrackPlayer() {
    for (auto& t : tracks_) {
        t.player->stop();
    }
}

std::optional<std::string> TwoTrackPlayer::unavailableReason() const {
    if (!tracks_.front().player->isAvailable()) {
        return std::string(RecordingPlayer::noBackendText);
    }
    return std::nullopt;
}

void TwoTrackPlayer::place(Track& track, double recordingTime) {
    auto position = TrackTimeline::trackPosition(recordingTime, track.track.offset);
    if (!position) {
        track.player->pause();
        track.player->setPosition(0);
        return;
    }
    track.player->setPosition(static_cast<qint64>(*position * 1000));
    if (playing_) {
        track.player->play();
    }
}

void TwoTrackPlayer::play() {
    if (playing_ || unavailableReason()) {
        return;
    }
    playing_ = true;
    for (auto& t : tracks_) {
        place(t, time_);
    }
    playingChanged.emit(true);
}

void TwoTrackPlayer::pause() {
    if (!playing_) {
        return;
    }
    playing_ = false;
    for (auto& t : tracks_) {
        t.player->pause();
    }
    playingChanged.emit(false);
}

void TwoTrackPlayer::seek(double seconds) {
    time_ = std::max(0.0, seconds);
    for (auto& t : tracks_) {
        place(t, time_);
    }
    positionChanged.emit(time_);
}

void TwoTrackPlayer::leaderMoved(qint64 milliseconds) {
    const auto& leader = tracks_.front();
    time_ = TrackTimeline::recordingTime(double(milliseconds) / 1000, leader.track.offset);
    if (playing_) {
        for (std::size_t i = 1; i < tracks_.size(); ++i) {
            auto& t = tracks_[i];
            bool started = t.player->playbackState() == QMediaPlayer::PlayingState;
            if (!started && TrackTimeline::trackPosition(time_, t.track.offset)) {
                place(t, time_);
            } else if (auto target = TrackTimeline::resync(time_, t.track.offset,
                                                           double(t.player->position()) / 1000)) {
                t.player->setPosition(static_cast<qint64>(*target * 1000));
            }
        }
    }
    positionChanged.emit(time_);
}

} // namespace Desktop
