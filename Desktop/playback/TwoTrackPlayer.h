// Plays a recording's tracks together with Qt Multimedia: one QMediaPlayer and audio output per track, the
// first track leading. The leading player's position is the playback time; each following player is
// started at its offset and moved back into place when it drifts (`TrackTimeline`), so both voices stay
// together without mixing the files first. Built only with Qt Multimedia.
#pragma once

#include "Desktop/playback/PlaybackSource.h"
#include "Desktop/playback/RecordingPlayer.h"

#include <QObject>

#include <memory>
#include <vector>

class QAudioOutput;
class QMediaPlayer;

namespace Desktop {

class TwoTrackPlayer final : public QObject, public PlaybackSource {
    Q_OBJECT
public:
    explicit TwoTrackPlayer(std::vector<RecordingPlayer::Track> tracks);
    ~TwoTrackPlayer() override;

    std::optional<std::string> unavailableReason() const override;
    void play() override;
    void pause() override;
    void seek(double seconds) override;
    bool isPlaying() const override { return playing_; }
    double duration() const override { return duration_; }

private:
    struct Track {
        RecordingPlayer::Track track;
        QMediaPlayer* player = nullptr;
        QAudioOutput* output = nullptr;
    };
    void leaderMoved(qint64 milliseconds);
    void place(Track& track, double recordingTime);

    std::vector<Track> tracks_;
    bool playing_ = false;
    double duration_ = 0;
    double time_ = 0;
};

} // namespace Desktop
