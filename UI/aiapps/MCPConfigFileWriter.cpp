// Not built on Support::Files::writeAtomically: the writer must hold the temporary file between writing and
// renaming (to check that nobody changed the settings file meanwhile and redo the merge if they did), write
// the backup without ever replacing an existing one, and keep the owner; so it does its own POSIX steps.
#include "UI/aiapps/MCPConfigFileWriter.h"

#include "Support/FileDescriptor.h"
#include "Support/TemporaryFileBeside.h"
#include "UI/aiapps/MCPConfigMerger.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace UI {

namespace fs = std::filesystem;

namespace {

constexpr int maximumAttempts = 5;
constexpr mode_t newFileMode = 0644;
constexpr const char* temporaryMarker = ".vellmora-tmp-";

[[noreturn]] void fail(int error, const fs::path& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

using Support::FileDescriptor;

struct Snapshot {
    std::optional<std::string> bytes; // nothing: no file
    struct stat info {};
};

Snapshot readSnapshot(const fs::path& path) {
    Snapshot snap;
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        if (errno == ENOENT) {
            return snap;
        }
        fail(errno, path);
    }
    if (::fstat(fd.get(), &snap.info) != 0) {
        fail(errno, path);
    }
    if (!S_ISREG(snap.info.st_mode)) {
        fail(S_ISDIR(snap.info.st_mode) ? EISDIR : EINVAL, path);
    }
    std::string bytes;
    // One byte more than its size, so that reading a file that did not grow ends without a reallocation.
    bytes.resize(static_cast<size_t>(snap.info.st_size) + 1);
    size_t filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            bytes.resize(bytes.size() * 2);
        }
        ssize_t n = ::read(fd.get(), bytes.data() + filled, bytes.size() - filled);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, path);
        }
        if (n == 0) {
            break;
        }
        filled += static_cast<size_t>(n);
    }
    bytes.resize(filled);
    snap.bytes = std::move(bytes);
    return snap;
}

/// Whether `now` looks like `before`: same file, size, times, mode and owner, and (with `compareBytes`) the
/// same bytes. Without `compareChangeTime`, a change of the change time alone (a new link) does not count.
bool sameFile(const Snapshot& before, const Snapshot& now, bool compareBytes, bool compareChangeTime = true) {
    if (before.bytes.has_value() != now.bytes.has_value()) {
        return false;
    }
    if (!before.bytes) {
        return true;
    }
    const auto &a = before.info, &b = now.info;
    const bool sameChangeTime =
        a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_mode == b.st_mode && a.st_uid == b.st_uid && a.st_gid == b.st_gid &&
           (!compareChangeTime || sameChangeTime) && (!compareBytes || *before.bytes == *now.bytes);
}

/// The settings file's state now, without its bytes.
Snapshot statSnapshot(const fs::path& path) {
    Snapshot snap;
    if (::stat(path.c_str(), &snap.info) == 0) {
        snap.bytes.emplace();
    } else if (errno != ENOENT) {
        fail(errno, path);
    }
    return snap;
}

// Tells whether anything wrote, replaced, created or removed the settings file since it was set up, so that
// the file is read once per edit rather than again before the rename. Timestamps alone cannot tell: two
// saves of the same size within one clock tick look alike. Set up before the read, so that no change after
// the read can slip by. Without inotify (a full watch table) it falls back to reading the file again and
// comparing every byte.
class ChangeWatch {
public:
    explicit ChangeWatch(const fs::path& file)
        : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), name_(file.filename().string()) {
        constexpr uint32_t fileEvents =
            IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVE_SELF | IN_DELETE_SELF | IN_DONT_FOLLOW;
        constexpr uint32_t folderEvents = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ONLYDIR;
        if (fd_.get() < 0 || ::inotify_add_watch(fd_.get(), file.parent_path().c_str(), folderEvents) < 0) {
            fd_ = FileDescriptor();
            return;
        }
        if (::inotify_add_watch(fd_.get(), file.c_str(), fileEvents) < 0 && errno != ENOENT) {
            fd_ = FileDescriptor();
        }
    }

    /// Whether the file differs from `snap` (which was read after this watch was set up).
    bool changedSince(const Snapshot& snap, const fs::path& file) {
        if (fd_.get() < 0) {
            return !sameFile(snap, readSnapshot(file), true);
        }
        return sawChange(false) || !sameFile(snap, statSnapshot(file), false);
    }

    /// Like `changedSince`, just after we gave the file a second name: that changes its link count and
    /// change time, which is no change of ours to redo the merge for. When nothing else changed, `snap`
    /// takes the file's new change time so that later checks see no change.
    bool changedBesidesOwnLink(Snapshot& snap, const fs::path& file) {
        const bool watching = fd_.get() >= 0;
        Snapshot now = watching ? statSnapshot(file) : readSnapshot(file);
        if ((watching && sawChange(true)) || !sameFile(snap, now, !watching, false)) {
            return true;
        }
        snap.info = now.info;
        return false;
    }

private:
    /// Whether any queued event tells of a change; with `ignoringAttributes`, attribute changes of the file
    /// itself (link count, change time) do not count: `sameFile` compares what else they could be.
    bool sawChange(bool ignoringAttributes) {
        alignas(inotify_event) char buffer[8192];
        bool changed = false;
        for (;;) {
            ssize_t n = ::read(fd_.get(), buffer, sizeof buffer);
            if (n <= 0) {
                return changed; // EAGAIN: nothing more queued
            }
            for (ssize_t at = 0; at < n;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
                if (event->mask & IN_IGNORED) {
                    continue;
                }
                // Folder events name the entry; only our file's name matters (not the lock, the backup or
                // our temporary files). File events carry no name.
                if (ignoringAttributes && event->len == 0 && (event->mask & ~IN_ATTRIB) == 0) {
                    continue;
                }
                if (event->len == 0 || event->mask & IN_Q_OVERFLOW || name_ == event->name) {
                    changed = true;
                }
            }
        }
    }

    FileDescriptor fd_;
    std::string name_;
};

void writeAll(int fd, std::string_view bytes, const fs::path& path) {
    while (!bytes.empty()) {
        ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno, path);
        }
        bytes.remove_prefix(static_cast<size_t>(n));
    }
}

void syncFolder(const fs::path& folder) {
    FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0 || ::fsync(fd.get()) != 0) {
        // Some file systems cannot flush a folder; the rename itself has happened.
        if (errno != EINVAL && errno != EROFS && errno != EBADF) {
            fail(errno, folder);
        }
    }
}

/// Writes a file's bytes, in pieces, to the sink it is given.
using Contents = std::function<void(const MCPConfigEdit::Sink&)>;

/// A temporary file beside `file` holding `contents`, flushed, with `mode` (and the owner, when we may).
class TemporaryFile {
public:
    TemporaryFile(const fs::path& file, const Contents& contents, mode_t mode,
                  std::optional<struct stat> owner) {
        auto created = Support::Files::createTemporaryBeside(file, temporaryMarker);
        path_ = created.path;
        fd_ = std::move(created.descriptor);
        try {
            contents([this](std::string_view piece) { writeAll(fd_.get(), piece, path_); });
            if (owner && (owner->st_uid != ::geteuid() || owner->st_gid != ::getegid())) {
                [[maybe_unused]] int ignored = ::fchown(fd_.get(), owner->st_uid, owner->st_gid);
            }
            if (::fchmod(fd_.get(), mode & 07777) != 0 || ::fsync(fd_.get()) != 0) {
                fail(errno, path_);
            }
        } catch (...) {
            ::unlink(path_.c_str());
            throw;
        }
    }
    ~TemporaryFile() {
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Renames over `target` (replacing it).
    void replace(const fs::path& target) {
        if (::rename(path_.c_str(), target.c_str()) != 0) {
            fail(errno, target);
        }
        path_.clear();
    }
    /// Gives the file the name `target` unless something already has it; returns whether it did.
    bool placeWithoutReplacing(const fs::path& target) {
        if (::link(path_.c_str(), target.c_str()) == 0) {
            return true; // the destructor removes the temporary name
        }
        if (errno == EEXIST) {
            return false;
        }
        // File systems without hard links: an exclusive rename.
        if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
            path_.clear();
            return true;
        }
        if (errno == EEXIST) {
            return false;
        }
        fail(errno, target);
    }

private:
    fs::path path_;
    FileDescriptor fd_;
};

/// Leftovers of a writer that was killed between creating its temporary file and renaming it. Only called
/// with the lock held, so no live writer of ours owns one.
void removeStaleTemporaries(const fs::path& file) {
    std::string prefix = "." + file.filename().string() + temporaryMarker;
    DIR* dir = ::opendir(file.parent_path().c_str());
    if (!dir) {
        return;
    }
    while (auto* entry = ::readdir(dir)) {
        if (std::strncmp(entry->d_name, prefix.c_str(), prefix.size()) == 0 &&
            std::strlen(entry->d_name) == prefix.size() + 6) {
            ::unlinkat(::dirfd(dir), entry->d_name, 0);
        }
    }
    ::closedir(dir);
}

enum class BackupLink { made, exists, unsupported };

/// Makes the backup a second name of the settings file itself: once the new file is renamed over the
/// settings file, the original (its bytes, permissions and owner) lives on under the backup's name alone, so
/// nothing is copied. Never replaces an existing backup.
BackupLink linkBackup(const fs::path& target, const fs::path& backup) {
    if (::link(target.c_str(), backup.c_str()) != 0) {
        // Otherwise a file system without hard links, or one we may not link (not our file): copy instead.
        return errno == EEXIST ? BackupLink::exists : BackupLink::unsupported;
    }
    // The app may never have flushed its last save.
    FileDescriptor fd(::open(backup.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (fd.get() < 0 || ::fsync(fd.get()) != 0) {
        fail(errno, backup);
    }
    return BackupLink::made;
}

class FolderLock {
public:
    explicit FolderLock(const fs::path& lockFile)
        : fd_(::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644)) {
        if (fd_.get() < 0) {
            fail(errno, lockFile);
        }
        while (::flock(fd_.get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                fail(errno, lockFile);
            }
        }
    }

private:
    FileDescriptor fd_; // closing it releases the lock
};

/// The edit of the file in `snap` (which it refers to), or nothing when there is nothing to write.
std::optional<MCPConfigEdit> merged(const Snapshot& snap, const MCPConfigLocation& location,
                                    MCPEntryStyle style, const std::string& command,
                                    MCPConfigFileWriter::Kind kind) {
    std::optional<std::string_view> current;
    if (snap.bytes) {
        current = *snap.bytes;
    }
    auto edit = kind == MCPConfigFileWriter::Kind::add
                    ? MCPConfigMerger::upsertEdit(command, style, location.rootKey, current)
                    : MCPConfigMerger::removeEdit(location.rootKey, current);
    if (!edit.changes()) {
        return std::nullopt;
    }
    return edit;
}

} // namespace

fs::path MCPConfigFileWriter::backupPath(const fs::path& file) {
    return file.parent_path() / (file.filename().string() + ".vellmora-backup");
}

fs::path MCPConfigFileWriter::lockPath(const fs::path& file) {
    return file.parent_path() / (file.filename().string() + ".vellmora-lock");
}

fs::path MCPConfigFileWriter::resolvingLinks(const fs::path& file) {
    fs::path current = file;
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info {};
        if (::lstat(current.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
            return current.lexically_normal();
        }
        std::string target(static_cast<size_t>(info.st_size > 0 ? info.st_size : 4096) + 1, '\0');
        ssize_t n = ::readlink(current.c_str(), target.data(), target.size());
        if (n < 0) {
            fail(errno, current);
        }
        target.resize(static_cast<size_t>(n));
        fs::path next(target);
        current = next.is_absolute() ? next : current.parent_path() / next;
    }
    fail(ELOOP, file);
}

MCPConfigFileWriter::Result MCPConfigFileWriter::update(const fs::path& file,
                                                        const MCPConfigLocation& location,
                                                        MCPEntryStyle style, const std::string& command,
                                                        Kind kind) {
    return update(file, location, style, command, kind, Hooks{});
}

MCPConfigFileWriter::Result MCPConfigFileWriter::update(const fs::path& file,
                                                        const MCPConfigLocation& location,
                                                        MCPEntryStyle style, const std::string& command,
                                                        Kind kind, const Hooks& hooks) {
    const fs::path target = resolvingLinks(fs::absolute(file));
    const fs::path folder = target.parent_path();

    // The file is read and merged once, before the lock, so that a no-op leaves no lock file behind; it is
    // read again only when something changed it meanwhile.
    std::optional<ChangeWatch> watch;
    watch.emplace(target);
    Snapshot snap = readSnapshot(target);
    auto edit = merged(snap, location, style, command, kind);
    if (!edit) {
        return Result::unchanged();
    }
    if (hooks.beforeLock) {
        hooks.beforeLock();
    }
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) {
        fail(ec.value(), folder);
    }

    FolderLock lock(lockPath(target));
    removeStaleTemporaries(target);
    std::optional<fs::path> backupMade;
    bool linkedBackup = false; // the backup made here is still a second name of the settings file
    for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
        if (attempt > 0 || watch->changedSince(snap, target)) {
            watch.emplace(target);
            edit.reset(); // it refers to the bytes about to be replaced
            snap = readSnapshot(target);
            edit = merged(snap, location, style, command, kind);
            if (!edit) {
                return backupMade ? Result::written(backupMade) : Result::unchanged();
            }
        }
        std::optional<struct stat> owner;
        mode_t mode = newFileMode;
        if (snap.bytes) {
            owner = snap.info;
            mode = snap.info.st_mode;
        }
        if (!backupMade && snap.bytes && !MCPConfigMerger::isBlank(*snap.bytes)) {
            const fs::path backup = backupPath(target);
            switch (linkBackup(target, backup)) {
            case BackupLink::made:
                backupMade = backup;
                linkedBackup = true;
                syncFolder(folder);
                break;
            case BackupLink::exists:
                break;
            case BackupLink::unsupported: {
                TemporaryFile copy(
                    target, [&](const MCPConfigEdit::Sink& sink) { sink(*snap.bytes); }, mode, owner);
                if (copy.placeWithoutReplacing(backup)) {
                    backupMade = backup;
                }
                syncFolder(folder);
                break;
            }
            }
        }

        TemporaryFile next(
            target, [&](const MCPConfigEdit::Sink& sink) { edit->write(sink); }, mode, owner);
        if (hooks.beforeReplace) {
            hooks.beforeReplace(attempt);
        }
        if (linkedBackup ? watch->changedBesidesOwnLink(snap, target) : watch->changedSince(snap, target)) {
            // The app saved its file meanwhile: merge again on what it wrote. A backup that is still the
            // settings file under a second name may have been saved over with it, so it becomes a copy of
            // what was read.
            if (linkedBackup) {
                TemporaryFile copy(
                    target, [&](const MCPConfigEdit::Sink& sink) { sink(*snap.bytes); }, mode, owner);
                copy.replace(*backupMade);
                syncFolder(folder);
                linkedBackup = false;
            }
            continue;
        }
        linkedBackup = false; // from the rename on, the backup is the original alone
        next.replace(target);
        syncFolder(folder);
        return Result::written(backupMade);
    }
    throw std::system_error(EBUSY, std::generic_category(),
                            target.string() + " kept changing while Vellmora was editing it");
}

} // namespace UI
