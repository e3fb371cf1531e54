#include "Platform/Linux/X11HotKeyService.h"

#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/keysym.h>

#include "Fakes/SlideDisplay.h" // after gtest: Xlib defines macros gtest also uses as names

#include <chrono>
#include <dlfcn.h>
#include <filesystem>
#include <thread>
#include <unistd.h>

namespace {

/// XTEST's fake key events, loaded at run time (the test machine has the library but not its header).
using FakeKeyEvent = int (*)(Display*, unsigned int, int, unsigned long);
FakeKeyEvent fakeKeyEvent() {
    static void* library = ::dlopen("libXtst.so.6", RTLD_NOW);
    return library ? reinterpret_cast<FakeKeyEvent>(::dlsym(library, "XTestFakeKeyEvent")) : nullptr;
}

constexpr std::uint32_t command = 0x100, shift = 0x200, option = 0x800, control = 0x1000;

class X11HotKeyServiceTest : public testing::Test {
protected:
    static inline std::unique_ptr<Fakes::VirtualDisplay> server;
    static void SetUpTestSuite() { server = std::make_unique<Fakes::VirtualDisplay>(320, 240); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        if (!server->isRunning()) {
            GTEST_SKIP() << "Xvfb could not be started";
        }
        // A busy Xvfb now and then refuses a connection for a moment (EAGAIN or a reset while it is still
        // tidying up after the previous test's clients): try again for a while.
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!(other = XOpenDisplay(server->name().c_str())) &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_NE(other, nullptr);
    }
    void TearDown() override {
        if (other) {
            XCloseDisplay(other);
        }
    }

    /// Types the combination on the virtual keyboard (modifiers down, key, all up).
    void type(std::vector<KeySym> modifiers, KeySym key) {
        auto fake = fakeKeyEvent();
        ASSERT_NE(fake, nullptr) << "XTEST is not available";
        for (auto m : modifiers) {
            fake(other, XKeysymToKeycode(other, m), True, 0);
        }
        fake(other, XKeysymToKeycode(other, key), True, 0);
        fake(other, XKeysymToKeycode(other, key), False, 0);
        for (auto m : modifiers) {
            fake(other, XKeysymToKeycode(other, m), False, 0);
        }
        XSync(other, False);
    }

    template <typename P> bool runUntil(P done) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!done() && std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(20);
        }
        return done();
    }

    Support::MainLoop loop;
    Display* other = nullptr;
};

TEST_F(X11HotKeyServiceTest, DeliversPressesOfTheGrabbedCombinationOnTheMainLoop) {
    Platform::X11HotKeyService service(server->name());
    ASSERT_TRUE(service.isConnected());
    int presses = 0;
    ASSERT_EQ(service.registerHotKey({1, 1}, 45, command | option, [&] { ++presses; }),
              Platform::HotKeyService::okStatus);

    type({XK_Super_L, XK_Alt_L}, XK_n);
    EXPECT_TRUE(runUntil([&] { return presses == 1; }));
    type({XK_Alt_L}, XK_n); // not the combination
    type({XK_Super_L, XK_Alt_L}, XK_m);
    loop.runUntilIdle();
    EXPECT_EQ(presses, 1);

    service.unregisterHotKey({1, 1});
    type({XK_Super_L, XK_Alt_L}, XK_n);
    loop.runUntilIdle();
    EXPECT_EQ(presses, 1);
}

TEST_F(X11HotKeyServiceTest, ReportsACombinationAnotherClientGrabbedAsTaken) {
    const Window root = DefaultRootWindow(other);
    XGrabKey(other, XKeysymToKeycode(other, XK_r), ControlMask | Mod1Mask, root, False, GrabModeAsync,
             GrabModeAsync);
    XSync(other, False);

    Platform::X11HotKeyService service(server->name());
    EXPECT_EQ(service.registerHotKey({2, 1}, 15, control | option, [] {}),
              Platform::HotKeyService::alreadyTakenStatus);
    // The Caps Lock variant it did get before the refusal is released again: the other client can take it.
    XUngrabKey(other, XKeysymToKeycode(other, XK_r), ControlMask | Mod1Mask, root);
    XSync(other, False);
    EXPECT_EQ(service.registerHotKey({2, 1}, 15, control | option, [] {}), Platform::HotKeyService::okStatus);
}

TEST_F(X11HotKeyServiceTest, MapsMacKeyCodesAndRefusesUnknownKeys) {
    EXPECT_EQ(Platform::X11HotKeyService::keySymFor(45), XK_n);
    EXPECT_EQ(Platform::X11HotKeyService::keySymFor(36), XK_Return);
    EXPECT_EQ(Platform::X11HotKeyService::keySymFor(122), XK_F1);
    EXPECT_EQ(Platform::X11HotKeyService::keySymFor(126), XK_Up);
    EXPECT_EQ(Platform::X11HotKeyService::keySymFor(55), std::nullopt) << "the command key itself";
    Platform::X11HotKeyService service(server->name());
    EXPECT_EQ(service.registerHotKey({3, 1}, 999, command, [] {}), Platform::HotKeyService::unknownKeyStatus);
    EXPECT_EQ(service.registerHotKey({3, 2}, 122, control | shift, [] {}), Platform::HotKeyService::okStatus);
}

TEST(X11HotKeyServiceWithoutDisplay, ReportsRegistrationsAsUnavailable) {
    Support::MainLoop loop;
    Platform::X11HotKeyService service(":999999");
    EXPECT_FALSE(service.isConnected());
    EXPECT_EQ(service.registerHotKey({1, 1}, 45, command, [] {}), Platform::HotKeyService::unavailableStatus);
}

} // namespace
