#include "UI/recording/LiveRecapShortcut.h"

namespace UI::LiveRecapShortcut {

NotesShortcut load(const Support::UserDefaults& defaults) {
    return NotesShortcut::loadStored(defaults, defaultsKey, defaultShortcut);
}

void save(const NotesShortcut& shortcut, Support::UserDefaults& defaults,
          Support::NotificationCenter& center) {
    defaults.setString(defaultsKey, shortcut.encoded());
    center.post(didChangeNotification);
}

void reset(Support::UserDefaults& defaults, Support::NotificationCenter& center) {
    defaults.remove(defaultsKey);
    center.post(didChangeNotification);
}

GlobalHotKey::RegistrationResult registerHotKey(GlobalHotKey& hotKey, const NotesShortcut& shortcut,
                                                Support::UserDefaults& defaults) {
    auto result = hotKey.registerShortcut(shortcut);
    defaults.setBool(registrationFailedKey,
                     result.kind != GlobalHotKey::RegistrationResult::Kind::registered);
    return result;
}

} // namespace UI::LiveRecapShortcut
