#include "Support/BlockingWork.h"

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include <condition_variable>
#include <mutex>

namespace Support::BlockingWork {

namespace {
struct Pool {
    std::mutex mutex;
    std::condition_variable idle;
    size_t pending = 0;
    // Last, so that it is destroyed first: at exit, the threads are joined (work that is running ends,
    // signalling `idle` under `mutex`) before the lock and the signal go away.
    boost::asio::thread_pool threads{4};
};
Pool& pool() {
    static Pool p;
    return p;
}
} // namespace

void submit(std::function<void()> job) {
    auto& p = pool();
    {
        std::lock_guard lock(p.mutex);
        ++p.pending;
    }
    boost::asio::post(p.threads, [job = std::move(job)]() mutable {
        job();
        job = nullptr;
        auto& pl = pool();
        std::lock_guard lock(pl.mutex);
        if (--pl.pending == 0) {
            pl.idle.notify_all();
        }
    });
}

void drain() {
    auto& p = pool();
    std::unique_lock lock(p.mutex);
    p.idle.wait(lock, [&] { return p.pending == 0; });
}

} // namespace Support::BlockingWork
