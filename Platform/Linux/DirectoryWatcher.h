// Watches folders with inotify on the main loop and reports what changed in them, for stores that read
// files other programs write (the iCalendar store's vdir folders and .ics files).
//
// One handler call per batch the kernel delivers, with the changes (folder, name, whether it is a folder,
// whether it appeared). When the kernel's queue overflowed (`IN_Q_OVERFLOW`) events were lost: the handler
// is told `overflowed` and should read everything again. A watch the kernel removed (`IN_IGNORED`: the folder
// was deleted or its file system unmounted) is forgotten, so that `watches()` stays true and a recreated
// folder can be added again. Without a current main loop, or when inotify cannot start, nothing is watched
// (`isActive() == false`) and the reason is logged. Destruction stops the loop's watch first, then removes
// the kernel's watches and only then closes the descriptor. Main loop only.
#pragma once

#include "Support/FileDescriptor.h"
#include "Support/Signal.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Platform {

class DirectoryWatcher {
public:
    struct Change {
        std::filesystem::path folder;
        /// The entry's name in `folder`; empty when the folder itself changed (deleted, moved).
        std::string name;
        bool isFolder = false;
        /// Created or moved in.
        bool appeared = false;
    };
    using Handler = std::function<void(const std::vector<Change>& changes, bool overflowed)>;

    explicit DirectoryWatcher(Handler handler);
    ~DirectoryWatcher();
    DirectoryWatcher(const DirectoryWatcher&) = delete;
    DirectoryWatcher& operator=(const DirectoryWatcher&) = delete;

    bool isActive() const { return fd_.isValid(); }
    /// Starts watching `folder` (once); false when it is no folder or cannot be watched.
    bool add(const std::filesystem::path& folder);
    /// The folders watched now.
    std::vector<std::filesystem::path> watches() const;
    /// Reads and reports what the kernel has queued (the main loop calls it when the descriptor is
    /// readable).
    void readEvents();

private:
    Handler handler_;
    Support::FileDescriptor fd_;
    std::map<int, std::filesystem::path> folders_;
    Support::Subscription loopWatch_;
};

} // namespace Platform
