// Shared by the desktop window tests: one QApplication for the whole executable on the offscreen platform
// (unless the environment names another), and a way to let view-model tasks, blocking work and Qt's
// posted events all run to their end.
#pragma once

#include "Desktop/loop/QtLoopBridge.h"
#include "Support/BlockingWork.h"
#include "Support/MainLoop.h"

#include <QApplication>

#include <cstdlib>

namespace DesktopTest {

inline QApplication& application() {
    static int argc = 1;
    static char name[] = "desktop_tests";
    static char* argv[] = {name, nullptr};
    if (!std::getenv("QT_QPA_PLATFORM")) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    // Never destroyed: at exit Qt's own globals (its input devices) may already be gone, and a QApplication
    // torn down after them crashes the executable after every test passed.
    static QApplication* app = new QApplication(argc, argv);
    app->setQuitOnLastWindowClosed(false);
    return *app;
}

inline void settle(Support::MainLoop& loop) {
    for (int round = 0; round < 10000; ++round) {
        Support::BlockingWork::drain();
        Desktop::QtLoopBridge::pump();
        size_t ran = loop.runUntilIdle();
        Support::BlockingWork::drain();
        Desktop::QtLoopBridge::pump();
        if (ran == 0 && loop.runUntilIdle() == 0) {
            return;
        }
    }
}

} // namespace DesktopTest
