// One system-wide hot key registered with the platform's hot-key service. Main loop only.
//
// `registerShortcut` replaces any earlier registration of this object and registers exclusively, so that a
// combination another application holds is refused (`alreadyTaken`) rather than shared; any other refusal
// is `failed` with the service's status. A press of the registered combination runs `onPress` on the main
// loop. The registration ends with `unregister()` or when the object goes away.
#pragma once

#include "Platform/HotKeyService.h"
#include "Support/Log.h"
#include "UI/recording/NotesShortcut.h"

#include <functional>
#include <memory>

namespace UI {

class GlobalHotKey {
public:
    struct RegistrationResult {
        enum class Kind { registered, alreadyTaken, failed };
        Kind kind = Kind::registered;
        /// The service's status, for `failed`.
        int status = 0;

        static RegistrationResult registered() { return {Kind::registered, 0}; }
        static RegistrationResult alreadyTaken() {
            return {Kind::alreadyTaken, Platform::HotKeyService::alreadyTakenStatus};
        }
        static RegistrationResult failed(int status) { return {Kind::failed, status}; }
        bool operator==(const RegistrationResult&) const = default;
    };

    /// "QZnt", used for the notes shortcut.
    static constexpr std::uint32_t defaultSignature = Platform::fourCharCode("QZnt");

    explicit GlobalHotKey(Platform::HotKeyService& service, std::uint32_t signature = defaultSignature,
                          std::uint32_t hotKeyID = 1);
    ~GlobalHotKey();
    GlobalHotKey(const GlobalHotKey&) = delete;
    GlobalHotKey& operator=(const GlobalHotKey&) = delete;

    RegistrationResult registerShortcut(const NotesShortcut& shortcut);
    void unregister();
    bool isRegistered() const { return registered_.has_value(); }
    /// The combination registered now.
    const std::optional<NotesShortcut>& registeredShortcut() const { return registered_; }

    const std::uint32_t signature;
    const std::uint32_t hotKeyID;
    std::function<void()> onPress;

private:
    Platform::HotKeyService& service_;
    std::optional<NotesShortcut> registered_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    Support::Logger logger_{"UI"};
};

} // namespace UI
