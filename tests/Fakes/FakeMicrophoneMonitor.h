// Plays the sound server's microphone streams for tests: `start` answers with `startFailure` (nothing:
// watching), `publish` emits a new list as the real monitor would (only while watching and when it
// differs), `breakDown` ends the watch with a reason.
#pragma once

#include "Platform/MicrophoneMonitor.h"

namespace Fakes {

class FakeMicrophoneMonitor final : public Platform::MicrophoneMonitor {
public:
    std::optional<std::string> startFailure;
    int starts = 0;
    int stops = 0;

    Support::Task<std::optional<std::string>> start() override {
        ++starts;
        watching_ = !startFailure;
        if (watching_) {
            clientsChanged.emit(clients_);
        }
        co_return startFailure;
    }
    void stop() override {
        ++stops;
        watching_ = false;
    }
    bool isWatching() const override { return watching_; }
    const std::vector<Platform::MicrophoneClient>& clients() const override { return clients_; }

    void publish(std::vector<Platform::MicrophoneClient> clients) {
        if (watching_ && clients != clients_) {
            clients_ = std::move(clients);
            clientsChanged.emit(clients_);
        }
    }
    void breakDown(const std::string& why) {
        if (watching_) {
            watching_ = false;
            ended.emit(why);
        }
    }

private:
    bool watching_ = false;
    std::vector<Platform::MicrophoneClient> clients_;
};

} // namespace Fakes
