// The live recap panel's hot key: a `NotesShortcut` value under its own key, default and notification.
// Registering it records in "liveRecap.shortcutRegistrationFailed" whether the system refused it, so that
// the settings screen can say so.
#pragma once

#include "UI/recording/GlobalHotKey.h"
#include "UI/recording/NotesShortcut.h"

namespace UI::LiveRecapShortcut {

/// ⌥⌘R.
inline const NotesShortcut defaultShortcut{15, NotesShortcut::command | NotesShortcut::option};
inline constexpr const char* defaultsKey = "liveRecap.shortcut";
inline constexpr const char* didChangeNotification = "LiveRecapShortcutDidChange";
inline constexpr const char* registrationFailedKey = "liveRecap.shortcutRegistrationFailed";
/// "QZrc".
inline constexpr std::uint32_t hotKeySignature = Platform::fourCharCode("QZrc");

NotesShortcut load(const Support::UserDefaults& defaults);
void save(const NotesShortcut& shortcut, Support::UserDefaults& defaults,
          Support::NotificationCenter& center);
void reset(Support::UserDefaults& defaults, Support::NotificationCenter& center);

/// Registers `shortcut` on `hotKey` and records whether it failed under `registrationFailedKey`.
GlobalHotKey::RegistrationResult registerHotKey(GlobalHotKey& hotKey, const NotesShortcut& shortcut,
                                                Support::UserDefaults& defaults);

} // namespace UI::LiveRecapShortcut
