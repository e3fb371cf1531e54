// Signals and published values with RAII subscriptions: the observation mechanism between objects.
// A `Subscription` ends the connection when destroyed or reset, so a destroyed observer never gets a call.
// Emission is synchronous on the caller's thread (UI objects emit on the main loop only). Connecting or
// disconnecting during an emission is allowed; a slot disconnected during an emission is not called after.
#pragma once

#include <boost/signals2/signal.hpp>

#include <functional>
#include <utility>
#include <vector>

namespace Support {

class Subscription {
public:
    Subscription() = default;
    explicit Subscription(boost::signals2::connection c) : connection_(std::move(c)) {}
    explicit Subscription(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {}
    Subscription(Subscription&&) noexcept = default;
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            connection_ = std::move(other.connection_);
            onEnd_ = std::exchange(other.onEnd_, nullptr);
        }
        return *this;
    }
    ~Subscription() { reset(); }

    void reset() {
        connection_.disconnect();
        if (auto end = std::exchange(onEnd_, nullptr)) {
            end();
        }
    }
    bool isActive() const { return connection_.connected() || onEnd_ != nullptr; }

private:
    boost::signals2::scoped_connection connection_;
    std::function<void()> onEnd_;
};

/// A bag of subscriptions held together (Combine's `Set<AnyCancellable>`).
class SubscriptionBag {
public:
    void add(Subscription s) { items_.push_back(std::move(s)); }
    SubscriptionBag& operator+=(Subscription s) {
        add(std::move(s));
        return *this;
    }
    void clear() { items_.clear(); }
    size_t size() const { return items_.size(); }

private:
    std::vector<Subscription> items_;
};

template <typename... Args> class Signal {
public:
    using Slot = std::function<void(Args...)>;

    [[nodiscard]] Subscription connect(Slot slot) { return Subscription(signal_.connect(std::move(slot))); }
    void emit(Args... args) { signal_(args...); }
    void operator()(Args... args) { signal_(args...); }
    size_t observerCount() const { return signal_.num_slots(); }

private:
    boost::signals2::signal<void(Args...)> signal_;
};

/// A value that tells its observers each time it is assigned (like an observable published property).
/// `set` always notifies; `setIfChanged` only when the new value differs.
template <typename T> class Published {
public:
    Published() = default;
    explicit Published(T initial) : value_(std::move(initial)) {}

    const T& get() const { return value_; }
    operator const T&() const { return value_; }

    void set(T value) {
        value_ = std::move(value);
        changed_.emit(value_);
    }
    bool setIfChanged(T value) {
        if (value_ == value) {
            return false;
        }
        set(std::move(value));
        return true;
    }
    Published& operator=(T value) {
        set(std::move(value));
        return *this;
    }

    /// Observes later assignments (not the current value).
    [[nodiscard]] Subscription observe(std::function<void(const T&)> observer) {
        return changed_.connect(std::move(observer));
    }
    /// Calls `observer` with the current value now, then on every later assignment.
    [[nodiscard]] Subscription sink(std::function<void(const T&)> observer) {
        observer(value_);
        return changed_.connect(std::move(observer));
    }

private:
    T value_{};
    Signal<const T&> changed_;
};

} // namespace Support
