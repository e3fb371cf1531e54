#include "Platform/Linux/X11HotKeyService.h"

#include "Support/Log.h"
#include "Support/MainLoop.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include <map>
#include <utility>
#include <vector>

namespace Platform {

namespace {

const Support::Logger& logger() {
    static const Support::Logger log("hotkeys");
    return log;
}

// Mac virtual key codes (ANSI layout) and the X key syms of the same keys.
const std::map<std::uint32_t, unsigned long>& keySymTable() {
    static const std::map<std::uint32_t, unsigned long> table = {
        {0, XK_a},
        {1, XK_s},
        {2, XK_d},
        {3, XK_f},
        {4, XK_h},
        {5, XK_g},
        {6, XK_z},
        {7, XK_x},
        {8, XK_c},
        {9, XK_v},
        {10, XK_section},
        {11, XK_b},
        {12, XK_q},
        {13, XK_w},
        {14, XK_e},
        {15, XK_r},
        {16, XK_y},
        {17, XK_t},
        {18, XK_1},
        {19, XK_2},
        {20, XK_3},
        {21, XK_4},
        {22, XK_6},
        {23, XK_5},
        {24, XK_equal},
        {25, XK_9},
        {26, XK_7},
        {27, XK_minus},
        {28, XK_8},
        {29, XK_0},
        {30, XK_bracketright},
        {31, XK_o},
        {32, XK_u},
        {33, XK_bracketleft},
        {34, XK_i},
        {35, XK_p},
        {36, XK_Return},
        {37, XK_l},
        {38, XK_j},
        {39, XK_apostrophe},
        {40, XK_k},
        {41, XK_semicolon},
        {42, XK_backslash},
        {43, XK_comma},
        {44, XK_slash},
        {45, XK_n},
        {46, XK_m},
        {47, XK_period},
        {48, XK_Tab},
        {49, XK_space},
        {50, XK_grave},
        {51, XK_BackSpace},
        {53, XK_Escape},
        {64, XK_F17},
        {65, XK_KP_Decimal},
        {67, XK_KP_Multiply},
        {69, XK_KP_Add},
        {71, XK_Clear},
        {75, XK_KP_Divide},
        {76, XK_KP_Enter},
        {78, XK_KP_Subtract},
        {79, XK_F18},
        {80, XK_F19},
        {81, XK_KP_Equal},
        {82, XK_KP_0},
        {83, XK_KP_1},
        {84, XK_KP_2},
        {85, XK_KP_3},
        {86, XK_KP_4},
        {87, XK_KP_5},
        {88, XK_KP_6},
        {89, XK_KP_7},
        {90, XK_F20},
        {91, XK_KP_8},
        {92, XK_KP_9},
        {96, XK_F5},
        {97, XK_F6},
        {98, XK_F7},
        {99, XK_F3},
        {100, XK_F8},
        {101, XK_F9},
        {103, XK_F11},
        {105, XK_F13},
        {106, XK_F16},
        {107, XK_F14},
        {109, XK_F10},
        {111, XK_F12},
        {113, XK_F15},
        {114, XK_Help},
        {115, XK_Home},
        {116, XK_Prior},
        {117, XK_Delete},
        {118, XK_F4},
        {119, XK_End},
        {120, XK_F2},
        {121, XK_Next},
        {122, XK_F1},
        {123, XK_Left},
        {124, XK_Right},
        {125, XK_Down},
        {126, XK_Up},
    };
    return table;
}

unsigned int xModifiers(std::uint32_t mask) {
    unsigned int x = 0;
    if (mask & 0x100) {
        x |= Mod4Mask; // command: Super
    }
    if (mask & 0x200) {
        x |= ShiftMask;
    }
    if (mask & 0x800) {
        x |= Mod1Mask; // option: Alt
    }
    if (mask & 0x1000) {
        x |= ControlMask;
    }
    return x;
}

// X reports protocol errors through one process-wide handler; grabs record theirs here while they run.
int lastErrorCode = 0;
int recordError(Display*, XErrorEvent* event) {
    if (lastErrorCode == 0) {
        lastErrorCode = event->error_code;
    }
    return 0;
}

} // namespace

struct X11HotKeyService::Impl {
    Display* display = nullptr;
    Window root = 0;
    unsigned int numLockMask = 0;
    Support::Subscription watch;

    struct Grab {
        int keycode;
        unsigned int modifiers;
        std::function<void()> onPress;
    };
    std::map<HotKeyID, Grab> grabs;

    std::vector<unsigned int> lockVariants() const {
        std::vector<unsigned int> v = {0, LockMask};
        if (numLockMask != 0) {
            v.push_back(numLockMask);
            v.push_back(numLockMask | LockMask);
        }
        return v;
    }

    void findNumLock() {
        XModifierKeymap* map = XGetModifierMapping(display);
        const KeyCode numLock = XKeysymToKeycode(display, XK_Num_Lock);
        for (int modifier = 0; map && numLock != 0 && modifier < 8; ++modifier) {
            for (int k = 0; k < map->max_keypermod; ++k) {
                if (map->modifiermap[modifier * map->max_keypermod + k] == numLock) {
                    numLockMask = 1u << modifier;
                }
            }
        }
        if (map) {
            XFreeModifiermap(map);
        }
    }

    void ungrab(const Grab& g) {
        for (auto variant : lockVariants()) {
            XUngrabKey(display, g.keycode, g.modifiers | variant, root);
        }
    }

    void processEvents() {
        const unsigned int ignored = LockMask | numLockMask;
        while (display && XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type != KeyPress) {
                continue;
            }
            const auto state = event.xkey.state & ~ignored & (ShiftMask | ControlMask | Mod1Mask | Mod4Mask);
            for (auto& [id, g] : grabs) {
                if (g.keycode == static_cast<int>(event.xkey.keycode) && g.modifiers == state) {
                    auto press = g.onPress; // the handler may unregister itself
                    if (press) {
                        press();
                    }
                    break;
                }
            }
        }
    }
};

X11HotKeyService::X11HotKeyService(const std::string& displayName) : impl_(std::make_unique<Impl>()) {
    impl_->display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
    if (!impl_->display) {
        logger().warning("No X display: global shortcuts are unavailable");
        return;
    }
    impl_->root = DefaultRootWindow(impl_->display);
    // Without this, holding a shortcut delivers a release before every repeated press.
    XkbSetDetectableAutoRepeat(impl_->display, True, nullptr);
    impl_->findNumLock();
    impl_->watch = Support::MainLoop::current().watchReadable(
        ConnectionNumber(impl_->display), [impl = impl_.get()] { impl->processEvents(); });
}

X11HotKeyService::~X11HotKeyService() {
    if (!impl_->display) {
        return;
    }
    impl_->watch.reset();
    for (auto& [id, g] : impl_->grabs) {
        impl_->ungrab(g);
    }
    XCloseDisplay(impl_->display);
}

bool X11HotKeyService::isConnected() const {
    return impl_->display != nullptr;
}

std::optional<unsigned long> X11HotKeyService::keySymFor(std::uint32_t keyCode) {
    const auto& table = keySymTable();
    auto it = table.find(keyCode);
    return it == table.end() ? std::nullopt : std::optional<unsigned long>(it->second);
}

int X11HotKeyService::registerHotKey(HotKeyID id, std::uint32_t keyCode, std::uint32_t modifiers,
                                     std::function<void()> onPress) {
    unregisterHotKey(id);
    if (!impl_->display) {
        return unavailableStatus;
    }
    auto sym = keySymFor(keyCode);
    const int keycode = sym ? XKeysymToKeycode(impl_->display, *sym) : 0;
    if (keycode == 0) {
        return unknownKeyStatus;
    }
    Impl::Grab grab{keycode, xModifiers(modifiers), std::move(onPress)};

    XSync(impl_->display, False);
    lastErrorCode = 0;
    auto previous = XSetErrorHandler(&recordError);
    for (auto variant : impl_->lockVariants()) {
        XGrabKey(impl_->display, grab.keycode, grab.modifiers | variant, impl_->root, False, GrabModeAsync,
                 GrabModeAsync);
    }
    XSync(impl_->display, False);
    const int error = lastErrorCode;
    if (error != 0) {
        // Undo the variants that were granted before the refusal (ungrabbing one we never got is harmless).
        impl_->ungrab(grab);
        XSync(impl_->display, False);
    }
    XSetErrorHandler(previous);
    impl_->processEvents(); // XSync may have read events into Xlib's queue: the descriptor will not tell
    if (error == BadAccess) {
        return alreadyTakenStatus;
    }
    if (error != 0) {
        return -error;
    }
    impl_->grabs[id] = std::move(grab);
    return okStatus;
}

void X11HotKeyService::unregisterHotKey(HotKeyID id) {
    auto it = impl_->grabs.find(id);
    if (it == impl_->grabs.end()) {
        return;
    }
    impl_->ungrab(it->second);
    XFlush(impl_->display);
    impl_->grabs.erase(it);
}

} // namespace Platform
