// An Xvfb server for a test (on a display number it picks itself, -displayfd, so parallel runs never share
// one) and a full-screen X window that shows "slides": two lines of large black text on a plain background.
// The text is drawn with the server's built-in "fixed" font and enlarged pixel by pixel, so no font package
// is needed and tesseract reads it as it would a slide. Used by the screen capture and slides tests.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace Fakes {

class VirtualDisplay {
public:
    VirtualDisplay(int width, int height) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) {
            return;
        }
        std::string writeEnd = std::to_string(fds[1]);
        std::string geometry = std::to_string(width) + "x" + std::to_string(height) + "x24";
        std::vector<std::string> args = {"Xvfb", "-displayfd", writeEnd, "-nolisten",
                                         "tcp",  "-screen",    "0",      geometry};
        std::vector<char*> argv;
        for (auto& a : args) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], fds[1]); // clears close-on-exec in the child
        if (posix_spawnp(&pid_, "Xvfb", &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = 0;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        std::string number;
        pollfd ready{fds[0], POLLIN, 0};
        while (pid_ != 0 && ::poll(&ready, 1, 10000) == 1) {
            char c = 0;
            if (::read(fds[0], &c, 1) != 1 || c == '\n') {
                break;
            }
            number += c;
        }
        ::close(fds[0]);
        if (number.empty()) {
            stop();
            return;
        }
        name_ = ":" + number;
    }
    ~VirtualDisplay() { stop(); }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    bool isRunning() const { return pid_ != 0; }
    const std::string& name() const { return name_; }

private:
    void stop() {
        if (pid_ != 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }
    std::string name_;
    pid_t pid_ = 0;
};

class SlideWindow {
public:
    explicit SlideWindow(const std::string& display) {
        display_ = XOpenDisplay(display.c_str());
        if (!display_) {
            return;
        }
        int screen = DefaultScreen(display_);
        width_ = DisplayWidth(display_, screen);
        height_ = DisplayHeight(display_, screen);
        window_ = XCreateSimpleWindow(display_, RootWindow(display_, screen), 0, 0, width_, height_, 0, 0,
                                      WhitePixel(display_, screen));
        XMapRaised(display_, window_);
        gc_ = XCreateGC(display_, window_, 0, nullptr);
        font_ = XLoadQueryFont(display_, "fixed");
        XSync(display_, False);
    }
    ~SlideWindow() {
        if (display_) {
            if (font_) {
                XFreeFont(display_, font_);
            }
            XFreeGC(display_, gc_);
            XDestroyWindow(display_, window_);
            XCloseDisplay(display_);
        }
    }
    SlideWindow(const SlideWindow&) = delete;
    SlideWindow& operator=(const SlideWindow&) = delete;
    bool isOpen() const { return display_ && font_; }

    /// Fills the window with `background` (0xRRGGBB) and writes `lines` in black, `scale` times the font.
    void show(unsigned long background, const std::vector<std::string>& lines, int scale = 4) {
        XSetForeground(display_, gc_, background);
        XFillRectangle(display_, window_, gc_, 0, 0, width_, height_);
        XSetForeground(display_, gc_, 0x000000);
        int lineHeight = (font_->ascent + font_->descent) * scale;
        int y = height_ / 2 - int(lines.size()) * lineHeight;
        for (const auto& line : lines) {
            drawLarge(line, width_ / 12, y, scale);
            y += lineHeight * 3 / 2;
        }
        XSync(display_, False);
    }

private:
    void drawLarge(const std::string& text, int x, int y, int scale) {
        int w = XTextWidth(font_, text.c_str(), int(text.size()));
        int h = font_->ascent + font_->descent;
        Pixmap pixmap =
            XCreatePixmap(display_, window_, w, h, DefaultDepth(display_, DefaultScreen(display_)));
        GC gc = XCreateGC(display_, pixmap, 0, nullptr);
        XSetFont(display_, gc, font_->fid);
        XSetForeground(display_, gc, 0xffffff);
        XFillRectangle(display_, pixmap, gc, 0, 0, w, h);
        XSetForeground(display_, gc, 0x000000);
        XDrawString(display_, pixmap, gc, 0, font_->ascent, text.c_str(), int(text.size()));
        XImage* image = XGetImage(display_, pixmap, 0, 0, w, h, AllPlanes, ZPixmap);
        for (int py = 0; py < h; ++py) {
            for (int px = 0; px < w; ++px) {
                if ((XGetPixel(image, px, py) & 0xffffff) == 0) {
                    XFillRectangle(display_, window_, gc_, x + px * scale, y + py * scale, scale, scale);
                }
            }
        }
        XDestroyImage(image);
        XFreeGC(display_, gc);
        XFreePixmap(display_, pixmap);
    }

    Display* display_ = nullptr;
    Window window_ = 0;
    GC gc_ = nullptr;
    XFontStruct* font_ = nullptr;
    int width_ = 0;
    int height_ = 0;
};

} // namespace Fakes
