#include "App/host/DesktopShell.h"

#include "UI/recording/LiveRecapShortcut.h"
#include "UI/recording/NotesShortcut.h"

namespace App {

DesktopShell::DesktopShell(std::unique_ptr<Platform::HotKeyService> hotKeys, Support::UserDefaults& defaults,
                           Support::NotificationCenter& center, Actions actions,
                           std::function<void(const std::string&)> say)
    : service_(std::move(hotKeys)), defaults_(defaults), say_(std::move(say)) {
    if (!service_) {
        return;
    }
    notes_ = std::make_unique<UI::GlobalHotKey>(*service_, UI::GlobalHotKey::defaultSignature, 1);
    notes_->onPress = std::move(actions.notes);
    liveRecap_ = std::make_unique<UI::GlobalHotKey>(*service_, UI::LiveRecapShortcut::hotKeySignature, 1);
    liveRecap_->onPress = std::move(actions.liveRecap);
    registerNotes();
    registerLiveRecap();
    subscriptions_ += center.observe(UI::NotesShortcut::didChangeNotification,
                                     [this](const Support::Notification&) { registerNotes(); });
    subscriptions_ += center.observe(UI::LiveRecapShortcut::didChangeNotification,
                                     [this](const Support::Notification&) { registerLiveRecap(); });
}

DesktopShell::~DesktopShell() = default;

void DesktopShell::registerNotes() {
    auto shortcut = UI::NotesShortcut::load(defaults_);
    auto result = notes_->registerShortcut(shortcut);
    if (result.kind != UI::GlobalHotKey::RegistrationResult::Kind::registered) {
        say_("The notes hot key " + shortcut.displayString() +
             (result.kind == UI::GlobalHotKey::RegistrationResult::Kind::alreadyTaken
                  ? " is taken by another application; choose another with `vellmora hotkeys set notes`."
                  : " could not be registered."));
    }
}

void DesktopShell::registerLiveRecap() {
    auto shortcut = UI::LiveRecapShortcut::load(defaults_);
    auto result = UI::LiveRecapShortcut::registerHotKey(*liveRecap_, shortcut, defaults_);
    if (result.kind != UI::GlobalHotKey::RegistrationResult::Kind::registered) {
        say_("The live recap hot key " + shortcut.displayString() +
             (result.kind == UI::GlobalHotKey::RegistrationResult::Kind::alreadyTaken
                  ? " is taken by another application; choose another with `vellmora hotkeys set live-recap`."
                  : " could not be registered."));
    }
}

} // namespace App
