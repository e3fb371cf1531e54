// What plays a recording for its page: play, pause, seek, and the playback time reported as it advances
// (in seconds of the recording, the transcript's clock). The page's player bar and the transcript follow it;
// `TwoTrackPlayer` is the real one (Qt Multimedia), tests drive a fake. Qt-free; main thread only.
#pragma once

#include "Support/Signal.h"

#include <optional>
#include <string>

namespace Desktop {

class PlaybackSource {
public:
    virtual ~PlaybackSource() = default;

    /// Nothing when the recording can be played; otherwise the sentence the disabled play button shows.
    virtual std::optional<std::string> unavailableReason() const = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
    /// Moves to `seconds` of the recording (playing on when it was playing).
    virtual void seek(double seconds) = 0;
    virtual bool isPlaying() const = 0;
    /// Seconds; 0 until known.
    virtual double duration() const = 0;

    /// The playback time, each time it advances or jumps.
    Support::Signal<double> positionChanged;
    Support::Signal<bool> playingChanged;
    /// The duration became known.
    Support::Signal<double> durationChanged;
};

/// A recording that cannot be played here: every operation does nothing.
class NoPlayback final : public PlaybackSource {
public:
    explicit NoPlayback(std::string reason) : reason_(std::move(reason)) {}
    std::optional<std::string> unavailableReason() const override { return reason_; }
    void play() override {}
    void pause() override {}
    void seek(double) override {}
    bool isPlaying() const override { return false; }
    double duration() const override { return 0; }

private:
    std::string reason_;
};

} // namespace Desktop
