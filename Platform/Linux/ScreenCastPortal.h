// The screen-share handshake of the XDG desktop portal (org.freedesktop.portal.ScreenCast), the way a
// Wayland desktop lets a program record the screen: CreateSession, SelectSources (one monitor, cursor
// hidden, persisted so that the `restore_token` of a previous share skips the dialog), Start (the desktop
// asks the user, unless the token was honoured), then OpenPipeWireRemote, which gives a PipeWire socket on
// which the chosen screen is a stream node. Every step answers through a Request object's Response signal
// (0 granted, 1 cancelled by the user, 2 refused or failed).
//
// Used by the Wayland screen capture on the blocking-work pool: `open` blocks on its own bus connection
// until the user answered or `timeout` passed (the host hands `open` down as the
// `Platform::ScreenShareOpener`). It throws `ScreenCastPortal::Refused` with a sentence for the user for a
// cancelled or refused dialog, a missing portal or a time-out. The session stays open as long as the returned
// `Share` lives (closing it ends the share).
#pragma once

#include "Platform/ScreenShare.h"
#include "Support/FileDescriptor.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

struct sd_bus;

namespace Platform::Linux {

class ScreenCastPortal {
public:
    using Refused = Platform::ScreenShareRefused;
    using Options = Platform::ScreenShareRequest;

    /// An open share: the PipeWire socket (owned), the stream's node id and the token for next time (a token
    /// is good for one use: the portal gives a fresh one with each share, none when it does not persist).
    class Share final : public Platform::ScreenShare {
    public:
        Share(sd_bus* bus, std::string session, int pipewireFd, std::uint32_t node,
              std::optional<std::string> restoreToken);
        ~Share() override;
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        int pipewireFd() const override { return fd_.get(); }
        std::uint32_t node() const override { return node_; }
        const std::optional<std::string>& restoreToken() const override { return restoreToken_; }
        const std::string& session() const { return session_; }

    private:
        sd_bus* bus_;
        std::string session_;
        Support::FileDescriptor fd_;
        std::uint32_t node_;
        std::optional<std::string> restoreToken_;
    };

    static std::unique_ptr<Share> open(const Options& options);
};

} // namespace Platform::Linux
