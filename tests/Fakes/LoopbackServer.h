// A cpp-httplib server on a free loopback port, served from its own thread for the life of the object: the
// stand-in the tests and benchmarks use for AI providers, transcription services, calendar feeds, model
// hosts and the update lookup. Add routes to `server`, then `start()`, which returns once it listens.
//
// Each connection carries one request. A worker waiting on a kept-alive connection would otherwise hold
// the destructor for httplib's keep-alive time-out (5 s) whenever the client under test outlives the
// server; a test that needs connections kept may set it back before `start()`. Handlers that must hold a
// connection open wait in `waitForRelease()`; the destructor releases them before it stops the server.
#pragma once

#include "Httplib.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace Fakes {

class LoopbackServer {
public:
    httplib::Server server;

    LoopbackServer() { server.set_keep_alive_max_count(1); }
    ~LoopbackServer() {
        release();
        server.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    void start() {
        port_ = server.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::yield();
        }
    }

    int port() const { return port_; }
    std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::string url(const std::string& path) const { return base() + path; }

    void waitForRelease() {
        std::unique_lock lock(mutex_);
        released_.wait(lock, [this] { return isReleased_; });
    }
    void release() {
        std::lock_guard lock(mutex_);
        isReleased_ = true;
        released_.notify_all();
    }

private:
    int port_ = 0;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable released_;
    bool isReleased_ = false;
};

} // namespace Fakes
