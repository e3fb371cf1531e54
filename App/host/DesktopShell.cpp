#include "App/host/DesktopShell.h"

#include "App/host/TerminalStatusItem.h"
#include "Platform/Linux/StatusNotifierItem.h"
#include "Platform/Linux/X11HotKeyService.h"
#include "UI/recording/LiveRecapShortcut.h"
#include "UI/recording/NotesShortcut.h"

#include <cstdlib>

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

void DesktopShell::attachTray(TerminalStatusItem& statusItem,
                              const std::function<void(const std::string&)>& say) {
    if (!std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
        return; // no desktop session: the terminal is the whole interface, nothing to explain
    }
    try {
        statusItem.mirrorTo(std::make_unique<Platform::StatusNotifierItem>());
    } catch (const std::exception& e) {
        say(std::string("No tray icon (") + e.what() + "): the menu is here, press m.");
    }
}

std::unique_ptr<Platform::HotKeyService>
DesktopShell::connectHotKeys(const std::function<void(const std::string&)>& say) {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        return nullptr;
    }
    auto service = std::make_unique<Platform::X11HotKeyService>();
    if (!service->isConnected()) {
        say(std::string("No global hot keys: the display ") + display + " cannot be reached.");
        return nullptr;
    }
    return service;
}

} // namespace App
