#include "UI/recording/GlobalHotKey.h"

namespace UI {

GlobalHotKey::GlobalHotKey(Platform::HotKeyService& service, std::uint32_t sig, std::uint32_t id)
    : signature(sig), hotKeyID(id), service_(service) {}

GlobalHotKey::~GlobalHotKey() {
    *alive_ = false;
    unregister();
}

GlobalHotKey::RegistrationResult GlobalHotKey::registerShortcut(const NotesShortcut& shortcut) {
    unregister();
    // The service may outlive this object: a press that arrives after it is gone is dropped.
    auto press = [this, alive = std::weak_ptr<bool>(alive_)] {
        if (auto a = alive.lock(); a && *a && onPress) {
            onPress();
        }
    };
    const int status =
        service_.registerHotKey({signature, hotKeyID}, shortcut.keyCode, shortcut.modifiers, press);
    if (status == Platform::HotKeyService::okStatus) {
        registered_ = shortcut;
        logger_.info("Registered hot key {}", shortcut.displayString());
        return RegistrationResult::registered();
    }
    if (status == Platform::HotKeyService::alreadyTakenStatus) {
        logger_.notice("Hot key {} is already taken by another application", shortcut.displayString());
        return RegistrationResult::alreadyTaken();
    }
    logger_.error("Could not register hot key {}: status {}", shortcut.displayString(), status);
    return RegistrationResult::failed(status);
}

void GlobalHotKey::unregister() {
    if (registered_) {
        service_.unregisterHotKey({signature, hotKeyID});
        registered_.reset();
    }
}

} // namespace UI
