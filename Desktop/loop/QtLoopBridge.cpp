#include "Desktop/loop/QtLoopBridge.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <glib.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <optional>
#include <vector>

namespace Desktop {

namespace {
using Clock = std::chrono::steady_clock;
static_assert(sizeof(GPollFD) == sizeof(pollfd), "GLib's poll records are the system's");
} // namespace

struct QtLoopBridge::Impl {
    struct Watch {
        // A duplicate of GLib's descriptor, so that GLib closing (and reusing) its number never confuses the
        // asio reactor.
        std::unique_ptr<boost::asio::posix::stream_descriptor> descriptor;
        gushort events = 0;
        bool waiting = false;
    };

    explicit Impl(Support::MainLoop& l)
        : loop(l), io(*static_cast<boost::asio::io_context*>(l.nativeHandle())), timer(io) {}

    void rearm();
    void dispatch();
    void watch(int fd, gushort events);
    void armTimer(gint timeoutMs);

    Support::MainLoop& loop;
    boost::asio::io_context& io;
    GMainContext* context = nullptr;
    bool bridged = false;
    bool dispatching = false;
    bool dispatchPosted = false;
    std::uint64_t dispatches = 0;
    gint priority = 0;
    std::vector<GPollFD> fds;
    std::map<int, Watch> watches;
    boost::asio::steady_timer timer;
    std::optional<Clock::time_point> armedDeadline;
    Support::Subscription turn;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

void QtLoopBridge::Impl::rearm() {
    if (dispatching) {
        return;
    }
    gboolean ready = g_main_context_prepare(context, &priority);
    gint timeout = -1;
    fds.resize(std::max<size_t>(fds.size(), 8));
    gint count = g_main_context_query(context, priority, &timeout, fds.data(), static_cast<gint>(fds.size()));
    if (static_cast<size_t>(count) > fds.size()) {
        fds.resize(static_cast<size_t>(count));
        count = g_main_context_query(context, priority, &timeout, fds.data(), count);
    }
    fds.resize(static_cast<size_t>(count));

    if (ready || timeout == 0) {
        if (!dispatchPosted) {
            dispatchPosted = true;
            boost::asio::post(io, [this, weak = std::weak_ptr<bool>(alive)] {
                if (weak.lock()) {
                    dispatchPosted = false;
                    dispatch();
                }
            });
        }
        return;
    }
    for (auto it = watches.begin(); it != watches.end();) {
        bool stillWanted =
            std::any_of(fds.begin(), fds.end(), [&](const GPollFD& f) { return f.fd == it->first; });
        if (stillWanted) {
            ++it;
        } else {
            it = watches.erase(it); // closes the duplicate, cancelling its wait
        }
    }
    for (const auto& f : fds) {
        watch(f.fd, f.events);
    }
    armTimer(timeout);
}

void QtLoopBridge::Impl::watch(int fd, gushort events) {
    auto& w = watches[fd];
    if (!w.descriptor || w.events != events) {
        int copy = ::dup(fd);
        if (copy < 0) {
            return;
        }
        w.descriptor = std::make_unique<boost::asio::posix::stream_descriptor>(io, copy);
        w.events = events;
        w.waiting = false;
    }
    if (w.waiting) {
        return;
    }
    w.waiting = true;
    auto kind = (events & G_IO_OUT) && !(events & (G_IO_IN | G_IO_PRI))
                    ? boost::asio::posix::stream_descriptor::wait_write
                    : boost::asio::posix::stream_descriptor::wait_read;
    auto* descriptor = w.descriptor.get();
    descriptor->async_wait(kind, [this, fd, descriptor,
                                  weak = std::weak_ptr<bool>(alive)](const boost::system::error_code& error) {
        if (!weak.lock() || error == boost::asio::error::operation_aborted) {
            return;
        }
        auto found = watches.find(fd);
        if (found == watches.end() || found->second.descriptor.get() != descriptor) {
            return;
        }
        found->second.waiting = false;
        dispatch();
    });
}

void QtLoopBridge::Impl::armTimer(gint timeoutMs) {
    if (timeoutMs < 0) {
        // Nothing timed: a timer still armed for an earlier deadline fires once, harmlessly.
        return;
    }
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    if (armedDeadline && *armedDeadline <= deadline + std::chrono::milliseconds(1)) {
        return;
    }
    armedDeadline = deadline;
    timer.expires_at(deadline);
    timer.async_wait([this, weak = std::weak_ptr<bool>(alive)](const boost::system::error_code& error) {
        if (!weak.lock() || error == boost::asio::error::operation_aborted) {
            return;
        }
        armedDeadline.reset();
        dispatch();
    });
}

void QtLoopBridge::Impl::dispatch() {
    if (dispatching) {
        return;
    }
    for (auto& f : fds) {
        f.revents = 0;
    }
    if (!fds.empty()) {
        ::poll(reinterpret_cast<pollfd*>(fds.data()), fds.size(), 0);
    }
    dispatching = true;
    ++dispatches;
    if (g_main_context_check(context, priority, fds.data(), static_cast<gint>(fds.size()))) {
        g_main_context_dispatch(context);
    }
    dispatching = false;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QtLoopBridge::QtLoopBridge(Support::MainLoop& loop) : impl_(std::make_unique<Impl>(loop)) {
    auto* dispatcher = QAbstractEventDispatcher::instance();
    impl_->bridged = dispatcher && dispatcher->inherits("QEventDispatcherGlib");
    if (!impl_->bridged) {
        return;
    }
    impl_->context = g_main_context_default();
    g_main_context_ref(impl_->context);
    g_main_context_acquire(impl_->context);
    impl_->turn = Support::onMainLoopTurn(loop, [impl = impl_.get()] { impl->rearm(); });
    impl_->rearm();
}

QtLoopBridge::~QtLoopBridge() {
    impl_->turn.reset();
    *impl_->alive = false;
    impl_->alive.reset();
    impl_->watches.clear();
    impl_->timer.cancel();
    if (impl_->context) {
        g_main_context_release(impl_->context);
        g_main_context_unref(impl_->context);
    }
}

std::uint64_t QtLoopBridge::dispatchCount() const {
    return impl_->dispatches;
}

bool QtLoopBridge::isBridged() const {
    return impl_->bridged;
}

void QtLoopBridge::pump() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace Desktop
