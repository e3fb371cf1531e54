#include "Support/NotificationCenter.h"

#include "Support/MainLoop.h"

namespace Support {

struct NotificationCenter::Impl {
    std::map<std::string, std::shared_ptr<Signal<const Notification&>>> signals;

    Signal<const Notification&>& signal(const std::string& name) {
        auto& slot = signals[name];
        if (!slot) {
            slot = std::make_shared<Signal<const Notification&>>();
        }
        return *slot;
    }
};

NotificationCenter::NotificationCenter() : impl_(std::make_shared<Impl>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter center;
    return center;
}

void NotificationCenter::post(const std::string& name, UserInfo userInfo) {
    auto it = impl_->signals.find(name);
    if (it == impl_->signals.end()) {
        return;
    }
    auto signal = it->second; // stays alive even if observers change the map meanwhile
    Notification n{name, std::move(userInfo)};
    signal->emit(n);
}

void NotificationCenter::postFromAnyThread(std::string name, UserInfo userInfo) {
    std::weak_ptr<Impl> weak = impl_;
    MainLoop::current().post([this, weak, name = std::move(name), info = std::move(userInfo)]() mutable {
        if (weak.lock()) {
            post(name, std::move(info));
        }
    });
}

Subscription NotificationCenter::observe(const std::string& name,
                                         std::function<void(const Notification&)> observer) {
    return impl_->signal(name).connect(std::move(observer));
}

} // namespace Support
