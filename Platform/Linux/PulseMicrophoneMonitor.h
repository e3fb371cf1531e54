// `MicrophoneMonitor` over the PulseAudio protocol, which PulseAudio and PipeWire (pipewire-pulse) both
// speak, through the `pactl` tool: `pactl subscribe` runs for as long as the watch lasts and tells of every
// change on the server, and each change to a "source-output" (an application's recording stream) is
// followed by `pactl --format=json list source-outputs` (pactl 16 or later) off the main loop. Nothing runs
// while nothing changes.
//
// The host finds `pactl` on PATH and passes its path (tests pass a script). Edge cases: a missing pactl, a
// server that does not answer, or a pactl too old for JSON make `start` give the reason and leave the
// monitor silent; a subscription that ends on its own (the server went away) is reported once through
// `ended`; events that arrive while a list is being read are folded into one more listing; a listing that
// fails or cannot be read keeps the last list.
#pragma once

#include "Platform/MicrophoneMonitor.h"
#include "Platform/ProcessRunner.h"
#include "Support/Time.h"

#include <filesystem>
#include <memory>
#include <string_view>

namespace Platform {

class ChildProcess;

class PulseMicrophoneMonitor final : public MicrophoneMonitor {
public:
    PulseMicrophoneMonitor(std::filesystem::path pactl, ProcessRunner& runner,
                           Support::Duration listTimeout = Support::seconds(5));
    ~PulseMicrophoneMonitor() override;

    Support::Task<std::optional<std::string>> start() override;
    void stop() override;
    bool isWatching() const override { return state_ == State::watching; }
    const std::vector<MicrophoneClient>& clients() const override { return clients_; }

    /// The recording streams in the output of `pactl --format=json list source-outputs`; nothing when it is
    /// not such a list. Entries that are not objects are skipped; missing fields stay empty.
    static std::optional<std::vector<MicrophoneClient>> parseSourceOutputs(std::string_view json);
    /// Whether a line of `pactl subscribe` tells of a recording stream ("Event 'new' on source-output #7").
    static bool isSourceOutputEvent(std::string_view line);

private:
    enum class State { idle, starting, watching };

    Support::Task<std::optional<std::string>> begin();
    struct Listing {
        std::optional<std::vector<MicrophoneClient>> clients;
        /// Why there are none (the end of a sentence).
        std::string failure;
    };
    /// One run of `pactl list`; touches no member once it has started it (it may outlive a stop).
    Support::Task<Listing> list();
    void requestRefresh();
    /// Lists until no event came in during the last listing.
    Support::Task<void> refreshWhileAsked();
    void readEvents();
    void childEnded(int status);
    void publish(std::vector<MicrophoneClient> clients);
    void shutDown();

    std::filesystem::path pactl_;
    ProcessRunner& runner_;
    Support::Duration listTimeout_;
    State state_ = State::idle;
    std::vector<MicrophoneClient> clients_;
    std::unique_ptr<ChildProcess> subscriber_;
    Support::Subscription outputWatch_;
    Support::Subscription exitWatch_;
    std::string pending_;
    std::string lastMessage_;
    std::optional<int> endedWith_;
    /// Moves on at every shut-down, so that news of an earlier subscriber is ignored.
    std::uint64_t generation_ = 0;
    bool refreshing_ = false;
    bool refreshAgain_ = false;
    Support::Task<void> refreshTask_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Platform
