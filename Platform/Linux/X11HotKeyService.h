// Global hot keys on X11: an exclusive passive grab of the key on the root window, for the combination as
// given and with Caps Lock and Num Lock added (so the shortcut works whatever their state). Another client
// holding the same grab makes the server refuse with BadAccess, reported as `alreadyTakenStatus`; the grabs
// made before the refusal are undone. Key presses are read from the X connection on the main loop.
//
// Mac virtual key codes map to key syms of the key they name (45 → n, 36 → Return, 122 → F1); command is
// Super (Mod4), option is Alt (Mod1). Without a display every registration returns `unavailableStatus`.
// Xlib stays inside the .cpp (its macros clash with everyday names).
#pragma once

#include "Platform/HotKeyService.h"

#include <memory>
#include <optional>
#include <string>

namespace Platform {

class X11HotKeyService final : public HotKeyService {
public:
    /// Connects to `displayName`, or to $DISPLAY when empty. Needs a current main loop.
    explicit X11HotKeyService(const std::string& displayName = {});
    ~X11HotKeyService() override;
    X11HotKeyService(const X11HotKeyService&) = delete;
    X11HotKeyService& operator=(const X11HotKeyService&) = delete;

    bool isConnected() const;

    int registerHotKey(HotKeyID id, std::uint32_t keyCode, std::uint32_t modifiers,
                       std::function<void()> onPress) override;
    void unregisterHotKey(HotKeyID id) override;

    /// The X key sym for a Mac virtual key code, if the key exists on X keyboards.
    static std::optional<unsigned long> keySymFor(std::uint32_t keyCode);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace Platform
