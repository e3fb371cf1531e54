// A HotKeyService for tests: combinations can be marked as held by another application or as failing with
// a status, registrations are recorded, and `press` delivers a press to the registered handler.
#pragma once

#include "Platform/HotKeyService.h"

#include <map>
#include <set>
#include <utility>

namespace Fakes {

class FakeHotKeyService : public Platform::HotKeyService {
public:
    struct Registration {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        std::function<void()> onPress;
    };

    /// Combinations (key code, modifiers) another application holds.
    std::set<std::pair<std::uint32_t, std::uint32_t>> takenElsewhere;
    /// When not zero, every registration fails with this status.
    int failWithStatus = 0;
    std::map<Platform::HotKeyID, Registration> registrations;
    int registerCalls = 0;

    int registerHotKey(Platform::HotKeyID id, std::uint32_t keyCode, std::uint32_t modifiers,
                       std::function<void()> onPress) override {
        ++registerCalls;
        registrations.erase(id);
        if (failWithStatus != 0) {
            return failWithStatus;
        }
        if (takenElsewhere.count({keyCode, modifiers})) {
            return alreadyTakenStatus;
        }
        registrations[id] = {keyCode, modifiers, std::move(onPress)};
        return okStatus;
    }
    void unregisterHotKey(Platform::HotKeyID id) override { registrations.erase(id); }

    /// Presses the combination; returns whether a registration took it.
    bool press(std::uint32_t keyCode, std::uint32_t modifiers) {
        for (auto& [id, r] : registrations) {
            if (r.keyCode == keyCode && r.modifiers == modifiers) {
                r.onPress();
                return true;
            }
        }
        return false;
    }
};

} // namespace Fakes
