// A private D-Bus daemon for tests (`dbus-daemon --session --print-address --nofork`), and a service
// thread that owns a name on it and runs a vtable, so implementations can be tested against fake desktop
// services without touching the user's session or system bus. The daemon, like every service a test starts
// for itself (`dieWithTest`), ends with the test process, even one that crashed or that a sanitizer stopped:
// left running, it would keep the test's output open and hold CTest until its time-out.
#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace BusTest {

/// In a child between fork and exec: SIGTERM when the test process ends (at once if it already has).
inline void dieWithTest(pid_t test) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != test) {
        ::_exit(1);
    }
}

class PrivateBus {
public:
    PrivateBus() {
        int out[2];
        if (::pipe(out) != 0) {
            return;
        }
        const pid_t test = ::getpid();
        pid_ = ::fork();
        if (pid_ == 0) {
            dieWithTest(test);
            ::dup2(out[1], 1);
            ::close(out[0]);
            ::close(out[1]);
            ::execlp("dbus-daemon", "dbus-daemon", "--session", "--print-address", "--nofork", nullptr);
            ::_exit(127);
        }
        ::close(out[1]);
        char c = 0;
        while (::read(out[0], &c, 1) == 1 && c != '\n') {
            address_ += c;
        }
        ::close(out[0]);
    }
    ~PrivateBus() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    const std::string& address() const { return address_; }

private:
    pid_t pid_ = -1;
    std::string address_;
};

/// Runs a bus connection on its own thread: owns `name`, serves `vtable` at `path` with `userdata`.
/// `post` runs a closure on that thread (to emit signals); `sync` waits until queued closures ran.
class ServiceThread {
public:
    ServiceThread(const std::string& address, const char* name, const char* path, const char* interface,
                  const sd_bus_vtable* vtable, void* userdata) {
        sd_bus_new(&bus_);
        sd_bus_set_address(bus_, address.c_str());
        sd_bus_set_bus_client(bus_, 1);
        sd_bus_start(bus_);
        sd_bus_add_object_vtable(bus_, &slot_, path, interface, vtable, userdata);
        sd_bus_request_name(bus_, name, 0);
        thread_ = std::thread([this] {
            while (!stop_) {
                while (sd_bus_process(bus_, nullptr) > 0) {
                }
                runQueued();
                sd_bus_wait(bus_, 5'000);
            }
        });
    }
    ~ServiceThread() {
        stop_ = true;
        thread_.join();
        sd_bus_slot_unref(slot_);
        sd_bus_flush_close_unref(bus_);
    }
    void post(std::function<void(sd_bus*)> work) {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(work));
    }

private:
    void runQueued() {
        std::vector<std::function<void(sd_bus*)>> work;
        {
            std::lock_guard lock(mutex_);
            work.swap(queue_);
        }
        for (auto& w : work) {
            w(bus_);
            sd_bus_flush(bus_);
        }
    }
    sd_bus* bus_ = nullptr;
    sd_bus_slot* slot_ = nullptr;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::vector<std::function<void(sd_bus*)>> queue_;
    std::thread thread_;
};

} // namespace BusTest
