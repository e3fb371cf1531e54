#include "UI/recording/GlobalHotKey.h"
#include "UI/recording/LiveRecapShortcut.h"
#include "UI/recording/NotesShortcut.h"

#include "Fakes/FakeHotKeyService.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <set>

using UI::GlobalHotKey;
using UI::NotesShortcut;
namespace LiveRecap = UI::LiveRecapShortcut;

namespace {

constexpr auto cmd = NotesShortcut::command;
constexpr auto shift = NotesShortcut::shift;
constexpr auto opt = NotesShortcut::option;
constexpr auto ctrl = NotesShortcut::control;

TEST(NotesShortcut, RequiresCommandOptionOrControlAndANonModifierKey) {
    struct Case {
        NotesShortcut shortcut;
        bool valid;
    };
    const Case cases[] = {
        {{45, cmd | opt}, true},   {{45, ctrl | shift}, true}, {{45, cmd}, true},
        {{45, shift}, false},      {{45, 0}, false},           {{45, cmd | 0x400}, false}, // caps lock bit
        {{45, opt | 0x80}, false}, {{55, cmd}, false},         {{56, ctrl}, false},
        {{63, opt}, false},        {{122, ctrl}, true},        {{999, cmd}, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.shortcut.isValid(), c.valid) << c.shortcut.keyCode << " " << c.shortcut.modifiers;
    }
    EXPECT_EQ(NotesShortcut::requiredModifiers, cmd | opt | ctrl);
    EXPECT_EQ(NotesShortcut::allowedModifiers, cmd | opt | ctrl | shift);
}

TEST(NotesShortcut, ConvertsEventFlagsToTheModifierMask) {
    using F = NotesShortcut::EventFlag;
    EXPECT_EQ(NotesShortcut::carbonModifiers(F::commandFlag | F::optionFlag), cmd | opt);
    EXPECT_EQ(
        NotesShortcut::carbonModifiers(F::controlFlag | F::shiftFlag | F::capsLockFlag | F::functionFlag),
        ctrl | shift);
    EXPECT_EQ(NotesShortcut::fromEvent(45, F::commandFlag | F::optionFlag), NotesShortcut::defaultShortcut);
}

TEST(NotesShortcut, ShowsModifiersInControlOptionShiftCommandOrderThenTheKey) {
    struct Case {
        NotesShortcut shortcut;
        const char* display;
        const char* spoken;
    };
    const Case cases[] = {
        {NotesShortcut::defaultShortcut, "⌥⌘N", "Option Command N"},
        {LiveRecap::defaultShortcut, "⌥⌘R", "Option Command R"},
        {{36, cmd | shift | opt | ctrl}, "⌃⌥⇧⌘↩", "Control Option Shift Command Return"},
        {{49, ctrl}, "⌃Space", "Control Space"},
        {{122, cmd}, "⌘F1", "Command F1"},
        {{126, opt}, "⌥↑", "Option Up Arrow"},
        {{52, cmd | opt}, "⌥⌘Key 52", "Option Command Key 52"},
        {{200, ctrl}, "⌃Key 200", "Control Key 200"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.shortcut.displayString(), c.display);
        EXPECT_EQ(c.shortcut.accessibilityLabel(), c.spoken);
    }
    EXPECT_EQ((NotesShortcut{45, ctrl | cmd}).keycaps(), (std::vector<std::string>{"⌃", "⌘", "N"}));
}

TEST(NotesShortcut, TheKeySymbolTableHasOneEntryPerKeyAndCoversTheLettersDigitsAndFunctionKeys) {
    std::set<std::uint32_t> codes;
    std::set<std::string> symbols;
    for (const auto& e : UI::keySymbolTable()) {
        EXPECT_TRUE(codes.insert(e.keyCode).second) << "duplicate key code " << e.keyCode;
        EXPECT_TRUE(symbols.insert(e.symbol).second) << "duplicate symbol " << e.symbol;
        EXPECT_FALSE(NotesShortcut::isModifierKeyCode(e.keyCode));
    }
    for (const char* s : {"A", "Z", "0", "9", "F1", "F12", "F20", "↩", "⎋", "Space", "Keypad 5"}) {
        EXPECT_TRUE(symbols.count(s)) << s;
    }
}

TEST(NotesShortcut, ParsesSymbolAndNamedCombinations) {
    struct Case {
        const char* text;
        std::optional<NotesShortcut> expected;
    };
    const Case cases[] = {
        {"⌥⌘N", NotesShortcut{45, opt | cmd}},
        {"alt+cmd+n", NotesShortcut{45, opt | cmd}},
        {"Option+Command+N", NotesShortcut{45, opt | cmd}},
        {"Control-Shift-F5", NotesShortcut{96, ctrl | shift}},
        {"ctrl+space", NotesShortcut{49, ctrl}},
        {"⌃⇧↩", NotesShortcut{36, ctrl | shift}},
        {"cmd+-", NotesShortcut{27, cmd}},
        {"  super + up ", NotesShortcut{126, cmd}},
        {"shift+n", NotesShortcut{45, shift}}, // parses, but is not valid
        {"hyper+n", std::nullopt},
        {"cmd+", std::nullopt},
        {"cmd+nope", std::nullopt},
        {"", std::nullopt},
        {"⌘", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NotesShortcut::parse(c.text), c.expected) << c.text;
    }
}

class ShortcutStorageTest : public testing::Test {
protected:
    Support::MainLoop loop;
    Support::InMemoryUserDefaults defaults;
    Support::NotificationCenter center;
    std::vector<std::string> posted;
    Support::Subscription notes =
        center.observe("NotesShortcutDidChange", [this](auto& n) { posted.push_back(n.name); });
    Support::Subscription recap =
        center.observe("LiveRecapShortcutDidChange", [this](auto& n) { posted.push_back(n.name); });
};

TEST_F(ShortcutStorageTest, SavesLoadsAndResetsEachShortcutUnderItsOwnKeyWithANotification) {
    EXPECT_EQ(NotesShortcut::load(defaults), NotesShortcut::defaultShortcut);
    EXPECT_EQ(LiveRecap::load(defaults), LiveRecap::defaultShortcut);

    NotesShortcut::save({40, ctrl | shift}, defaults, center);
    LiveRecap::save({15, ctrl}, defaults, center);
    EXPECT_EQ(NotesShortcut::load(defaults), (NotesShortcut{40, ctrl | shift}));
    EXPECT_EQ(LiveRecap::load(defaults), (NotesShortcut{15, ctrl}));
    EXPECT_EQ(defaults.string("notes.shortcut"), R"({"keyCode":40,"modifiers":4608})");

    NotesShortcut::reset(defaults, center);
    EXPECT_FALSE(defaults.has("notes.shortcut"));
    EXPECT_EQ(NotesShortcut::load(defaults), NotesShortcut::defaultShortcut);
    LiveRecap::reset(defaults, center);
    EXPECT_EQ(LiveRecap::load(defaults), LiveRecap::defaultShortcut);
    EXPECT_EQ(posted, (std::vector<std::string>{"NotesShortcutDidChange", "LiveRecapShortcutDidChange",
                                                "NotesShortcutDidChange", "LiveRecapShortcutDidChange"}));
}

TEST_F(ShortcutStorageTest, FallsBackToTheDefaultForDamagedOrInvalidStoredValues) {
    const char* stored[] = {
        R"({"keyCode":45,"modifiers":512})",        // shift only
        R"({"keyCode":55,"modifiers":256})",        // the command key itself
        R"({"keyCode":45})",                        // no modifiers
        R"({"keyCode":-1,"modifiers":256})",        // negative
        R"({"keyCode":45,"modifiers":4294967296})", // beyond 32 bits
        R"({"keyCode":"45","modifiers":256})",      // wrong type
        "not json",
        "",
    };
    for (const char* s : stored) {
        defaults.setString("notes.shortcut", s);
        EXPECT_EQ(NotesShortcut::load(defaults), NotesShortcut::defaultShortcut) << s;
    }
    defaults.setInteger("notes.shortcut", 12);
    EXPECT_EQ(NotesShortcut::load(defaults), NotesShortcut::defaultShortcut);
}

TEST(GlobalHotKey, RegistersExclusivelyAndCallsOnPress) {
    Fakes::FakeHotKeyService service;
    GlobalHotKey hotKey(service);
    int presses = 0;
    hotKey.onPress = [&] { ++presses; };

    EXPECT_EQ(hotKey.registerShortcut(NotesShortcut::defaultShortcut),
              GlobalHotKey::RegistrationResult::registered());
    EXPECT_TRUE(hotKey.isRegistered());
    EXPECT_TRUE(service.press(45, cmd | opt));
    EXPECT_EQ(presses, 1);

    // Re-registering replaces the earlier combination.
    EXPECT_EQ(hotKey.registerShortcut({40, ctrl}).kind, GlobalHotKey::RegistrationResult::Kind::registered);
    EXPECT_FALSE(service.press(45, cmd | opt));
    EXPECT_TRUE(service.press(40, ctrl));
    EXPECT_EQ(presses, 2);

    hotKey.unregister();
    EXPECT_FALSE(hotKey.isRegistered());
    EXPECT_TRUE(service.registrations.empty());
}

TEST(GlobalHotKey, ReportsACombinationHeldElsewhereAsTakenAndOtherRefusalsAsFailed) {
    Fakes::FakeHotKeyService service;
    service.takenElsewhere.insert({45, cmd | opt});
    GlobalHotKey hotKey(service);
    EXPECT_EQ(hotKey.registerShortcut(NotesShortcut::defaultShortcut),
              GlobalHotKey::RegistrationResult::alreadyTaken());
    EXPECT_FALSE(hotKey.isRegistered());

    service.failWithStatus = -50;
    EXPECT_EQ(hotKey.registerShortcut({40, ctrl}), GlobalHotKey::RegistrationResult::failed(-50));
}

TEST(GlobalHotKey, TheLiveRecapPathRecordsWhetherRegistrationFailed) {
    Fakes::FakeHotKeyService service;
    Support::InMemoryUserDefaults defaults;
    GlobalHotKey hotKey(service, LiveRecap::hotKeySignature, 2);
    service.takenElsewhere.insert({15, cmd | opt});

    EXPECT_EQ(LiveRecap::registerHotKey(hotKey, LiveRecap::defaultShortcut, defaults).kind,
              GlobalHotKey::RegistrationResult::Kind::alreadyTaken);
    EXPECT_EQ(defaults.boolean("liveRecap.shortcutRegistrationFailed"), true);

    EXPECT_EQ(LiveRecap::registerHotKey(hotKey, {15, ctrl | opt}, defaults).kind,
              GlobalHotKey::RegistrationResult::Kind::registered);
    EXPECT_EQ(defaults.boolean("liveRecap.shortcutRegistrationFailed"), false);
    EXPECT_EQ(service.registrations.begin()->first.signature, Platform::fourCharCode("QZrc"));
}

TEST(GlobalHotKey, APressAfterTheHotKeyIsGoneIsDropped) {
    Fakes::FakeHotKeyService service;
    std::function<void()> keptHandler;
    {
        GlobalHotKey hotKey(service);
        hotKey.onPress = [] { FAIL() << "pressed after destruction"; };
        hotKey.registerShortcut(NotesShortcut::defaultShortcut);
        keptHandler = service.registrations.begin()->second.onPress;
    }
    EXPECT_TRUE(service.registrations.empty());
    keptHandler();
}

} // namespace
