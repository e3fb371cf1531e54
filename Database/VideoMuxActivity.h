// Which video files are being assembled right now (audio and screen streams muxed into one file). The
// capture code marks a file for as long as it writes it; the video expiry never deletes a marked file.
// Paths are compared after lexical normalisation. Safe from any thread.
#pragma once

#include "Support/Signal.h"

#include <filesystem>
#include <map>
#include <mutex>

namespace Database {

class VideoMuxActivity {
public:
    static VideoMuxActivity& shared();

    /// Marks `videoURL` as being assembled until the returned subscription ends. Marks nest.
    [[nodiscard]] Support::Subscription begin(const std::filesystem::path& videoURL);
    bool isMuxing(const std::filesystem::path& videoURL) const;

private:
    void end(const std::filesystem::path& key);

    mutable std::mutex mutex_;
    std::map<std::filesystem::path, int> active_;
};

} // namespace Database
