#include "Platform/Linux/DirectoryWatcher.h"

#include "Support/Log.h"
#include "Support/MainLoop.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace fs = std::filesystem;

namespace Platform {

namespace {
const Support::Logger log("directoryWatcher");
constexpr std::uint32_t watchedEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE |
                                        IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB;
} // namespace

DirectoryWatcher::DirectoryWatcher(Handler handler) : handler_(std::move(handler)) {
    if (!Support::MainLoop::hasCurrent()) {
        return;
    }
    fd_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!fd_) {
        log.warning("Cannot watch files for changes: {}", std::strerror(errno));
        return;
    }
    loopWatch_ = Support::MainLoop::current().watchReadable(fd_.get(), [this] { readEvents(); });
}

DirectoryWatcher::~DirectoryWatcher() {
    loopWatch_.reset(); // the loop lets go of the descriptor before it is closed
    if (!fd_) {
        return;
    }
    for (const auto& [wd, folder] : folders_) {
        inotify_rm_watch(fd_.get(), wd);
    }
}

bool DirectoryWatcher::add(const fs::path& folder) {
    std::error_code ec;
    if (!fd_ || !fs::is_directory(folder, ec)) {
        return false;
    }
    int wd = inotify_add_watch(fd_.get(), folder.c_str(), watchedEvents);
    if (wd < 0) {
        log.warning("Cannot watch {}: {}", folder.string(), std::strerror(errno));
        return false;
    }
    folders_[wd] = folder; // the same folder added again gives the same descriptor
    return true;
}

std::vector<fs::path> DirectoryWatcher::watches() const {
    std::vector<fs::path> out;
    for (const auto& [wd, folder] : folders_) {
        out.push_back(folder);
    }
    return out;
}

void DirectoryWatcher::readEvents() {
    alignas(inotify_event) char buffer[16384];
    std::vector<Change> changes;
    bool overflowed = false;
    for (;;) {
        auto n = ::read(fd_.get(), buffer, sizeof buffer);
        if (n <= 0) {
            break;
        }
        for (char* p = buffer; p < buffer + n;) {
            auto* event = reinterpret_cast<inotify_event*>(p);
            p += sizeof(inotify_event) + event->len;
            if (event->mask & IN_Q_OVERFLOW) {
                overflowed = true;
                continue;
            }
            auto folder = folders_.find(event->wd);
            if (folder == folders_.end()) {
                continue;
            }
            if (event->mask & IN_IGNORED) {
                folders_.erase(folder); // the kernel dropped the watch; its descriptor may be reused
                continue;
            }
            Change change;
            change.folder = folder->second;
            change.name = event->len > 0 ? std::string(event->name) : std::string();
            change.isFolder = (event->mask & IN_ISDIR) != 0;
            change.appeared = (event->mask & (IN_CREATE | IN_MOVED_TO)) != 0;
            changes.push_back(std::move(change));
        }
    }
    if ((!changes.empty() || overflowed) && handler_) {
        handler_(changes, overflowed);
    }
}

} // namespace Platform
