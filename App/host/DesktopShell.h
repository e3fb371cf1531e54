// The desktop half of the host: the two global hot keys (notes and live recap), on the hot-key service
// `LinuxServices` found (none without a display: then this does nothing; the terminal presenter keeps
// working either way). The hot keys follow their settings: a change posted as
// "NotesShortcutDidChange" or "LiveRecapShortcutDidChange" re-registers at once, and a live recap
// combination another application holds is recorded under "liveRecap.shortcutRegistrationFailed".
#pragma once

#include "Platform/HotKeyService.h"
#include "Support/NotificationCenter.h"
#include "Support/UserDefaults.h"
#include "UI/recording/GlobalHotKey.h"

#include <functional>
#include <memory>
#include <string>

namespace App {

class DesktopShell {
public:
    struct Actions {
        std::function<void()> notes;
        std::function<void()> liveRecap;
    };

    /// `hotKeys` may be null (no display). Registers the hot keys at once.
    DesktopShell(std::unique_ptr<Platform::HotKeyService> hotKeys, Support::UserDefaults& defaults,
                 Support::NotificationCenter& center, Actions actions,
                 std::function<void(const std::string&)> say);
    ~DesktopShell();
    DesktopShell(const DesktopShell&) = delete;
    DesktopShell& operator=(const DesktopShell&) = delete;

    const UI::GlobalHotKey* notesHotKey() const { return notes_.get(); }
    const UI::GlobalHotKey* liveRecapHotKey() const { return liveRecap_.get(); }

private:
    void registerNotes();
    void registerLiveRecap();

    std::unique_ptr<Platform::HotKeyService> service_;
    Support::UserDefaults& defaults_;
    std::function<void(const std::string&)> say_;
    std::unique_ptr<UI::GlobalHotKey> notes_;
    std::unique_ptr<UI::GlobalHotKey> liveRecap_;
    Support::SubscriptionBag subscriptions_;
};

} // namespace App
