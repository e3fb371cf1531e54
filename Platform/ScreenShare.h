// A shared screen as the desktop hands it to a program that records it: a PipeWire socket on which the
// chosen screen is a stream node, and a restore token that lets the next share skip the desktop's dialog
// (good for one use; none when the desktop does not persist shares). The share lasts as long as the object
// lives. `ScreenShareOpener` asks for one, blocking until the user answered or `timeout` passed, and throws
// `ScreenShareRefused` with a sentence for the user for a cancelled or refused dialog, a missing service or a
// time-out.
//
// Used by the Wayland screen capture (`AudioEngine::PortalScreenCapture`); the Linux implementation is
// `Platform::Linux::ScreenCastPortal`, handed down by the host.
#pragma once

#include "Support/Time.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace Platform {

struct ScreenShareRefused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ScreenShareRequest {
    /// The bus address; nothing: the user's session bus.
    std::optional<std::string> address;
    /// The token of the previous share, to skip the dialog.
    std::optional<std::string> restoreToken;
    /// How long the user may take to answer.
    Support::Duration timeout = Support::seconds(120);
};

class ScreenShare {
public:
    virtual ~ScreenShare() = default;
    /// The PipeWire socket, owned by the share.
    virtual int pipewireFd() const = 0;
    /// The stream node of the chosen screen.
    virtual std::uint32_t node() const = 0;
    /// The token for next time.
    virtual const std::optional<std::string>& restoreToken() const = 0;
};

using ScreenShareOpener = std::function<std::unique_ptr<ScreenShare>(const ScreenShareRequest&)>;

} // namespace Platform
