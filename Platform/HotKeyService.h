// System-wide hot keys: a key combination that reaches this application whichever application is in front.
//
// Combinations are given in the application's own terms, independent of the windowing system: a virtual
// key code of the Mac keyboard layout (the N key is 45, the R key 15, Return 36, F1 122, ...) and a modifier
// mask with command 0x100, shift 0x200, option 0x800 and control 0x1000. Each implementation maps them to its
// own keys (X11: key syms; option is Alt, command is Super).
//
// A registration is exclusive: when another application already holds the combination the service refuses
// with `alreadyTakenStatus` instead of sharing it. Presses call `onPress` on the main loop. Registering an id
// that is registered already replaces the earlier registration.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>

namespace Platform {

/// Identifies one registration: the owner's four-character signature and a number.
struct HotKeyID {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    auto operator<=>(const HotKeyID&) const = default;
};

constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
    return (std::uint32_t(std::uint8_t(code[0])) << 24) | (std::uint32_t(std::uint8_t(code[1])) << 16) |
           (std::uint32_t(std::uint8_t(code[2])) << 8) | std::uint32_t(std::uint8_t(code[3]));
}

class HotKeyService {
public:
    /// Registration succeeded.
    static constexpr int okStatus = 0;
    /// Another application holds the combination.
    static constexpr int alreadyTakenStatus = -9878;
    /// The key code has no key on this system.
    static constexpr int unknownKeyStatus = -9870;
    /// The windowing system is not reachable (no display).
    static constexpr int unavailableStatus = -9871;

    virtual ~HotKeyService() = default;

    /// Registers the combination exclusively; returns `okStatus` or a non-zero status.
    virtual int registerHotKey(HotKeyID id, std::uint32_t keyCode, std::uint32_t modifiers,
                               std::function<void()> onPress) = 0;
    /// Ends the registration of `id` (nothing when there is none).
    virtual void unregisterHotKey(HotKeyID id) = 0;
};

} // namespace Platform
