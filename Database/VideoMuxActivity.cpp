#include "Database/VideoMuxActivity.h"

namespace Database {

VideoMuxActivity& VideoMuxActivity::shared() {
    static VideoMuxActivity instance;
    return instance;
}

Support::Subscription VideoMuxActivity::begin(const std::filesystem::path& videoURL) {
    auto key = videoURL.lexically_normal();
    {
        std::lock_guard lock(mutex_);
        ++active_[key];
    }
    return Support::Subscription([this, key] { end(key); });
}

void VideoMuxActivity::end(const std::filesystem::path& key) {
    std::lock_guard lock(mutex_);
    auto it = active_.find(key);
    if (it != active_.end() && --it->second <= 0) {
        active_.erase(it);
    }
}

bool VideoMuxActivity::isMuxing(const std::filesystem::path& videoURL) const {
    std::lock_guard lock(mutex_);
    return active_.count(videoURL.lexically_normal()) > 0;
}

} // namespace Database
