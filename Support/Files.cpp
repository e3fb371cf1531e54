#include "Support/Files.h"

#include "Support/FileDescriptor.h"
#include "Support/TemporaryFileBeside.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace Support::Files {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void throwErrno(int error, const std::string& what, const fs::path& path) {
    throw std::system_error(error, std::generic_category(), what + " " + path.string());
}

// Closes the descriptor and removes the temporary file unless the write went through.
class TemporaryFile {
public:
    explicit TemporaryFile(const fs::path& target) {
        auto created = createTemporaryBeside(target);
        fd_ = std::move(created.descriptor);
        path_ = created.path.string();
    }
    ~TemporaryFile() {
        fd_.reset();
        if (!committed_) {
            ::unlink(path_.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    int fd() const { return fd_.get(); }
    const std::string& path() const { return path_; }
    void close(const fs::path& target) {
        if (fd_.close() != 0) {
            throwErrno(errno, "Cannot write", target);
        }
    }
    void markCommitted() { committed_ = true; }

private:
    Support::FileDescriptor fd_;
    std::string path_;
    bool committed_ = false;
};

// The file a write to `path` should replace: the final target when `path` is a symbolic link (so the
// link stays a link), else `path` itself.
fs::path resolvedTarget(const fs::path& path) {
    std::error_code ec;
    fs::path current = path;
    for (int hops = 0; hops < 40; ++hops) {
        auto status = fs::symlink_status(current, ec);
        if (ec || !fs::is_symlink(status)) {
            return current;
        }
        fs::path link = fs::read_symlink(current, ec);
        if (ec) {
            throwErrno(ec.value(), "Cannot follow the link", path);
        }
        current = link.is_absolute() ? link : current.parent_path() / link;
    }
    throwErrno(ELOOP, "Cannot follow the link", path);
}

fs::path folderFromEnvironment(const char* ownVariable, const char* xdgVariable, const char* fallback) {
    if (const char* own = std::getenv(ownVariable); own && *own) {
        return fs::path(own);
    }
    if (const char* xdg = std::getenv(xdgVariable); xdg && *xdg && fs::path(xdg).is_absolute()) {
        return fs::path(xdg) / "vellmora";
    }
    return homeFolder() / fallback / "vellmora";
}

} // namespace

void writeAtomically(const fs::path& path, std::string_view contents, std::optional<mode_t> mode) {
    fs::path target = resolvedTarget(path);
    fs::path folder = target.parent_path().empty() ? fs::path(".") : target.parent_path();
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) {
        throwErrno(ec.value(), "Cannot create the folder for", path);
    }

    mode_t newMode = 0644;
    if (mode) {
        newMode = *mode;
    } else if (struct stat existing{}; ::stat(target.c_str(), &existing) == 0) {
        newMode = existing.st_mode & 07777;
    }

    TemporaryFile temp(target);
    const char* data = contents.data();
    std::size_t left = contents.size();
    while (left > 0) {
        ssize_t written = ::write(temp.fd(), data, left);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwErrno(errno, "Cannot write", path);
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    if (::fchmod(temp.fd(), newMode) != 0) {
        throwErrno(errno, "Cannot set the permissions of", path);
    }
    if (::fsync(temp.fd()) != 0) {
        throwErrno(errno, "Cannot flush", path);
    }
    temp.close(path);
    if (::rename(temp.path().c_str(), target.c_str()) != 0) {
        throwErrno(errno, "Cannot replace", path);
    }
    temp.markCommitted();

    // Make the rename itself durable. Some file systems refuse fsync on folders; the data is safe anyway.
    if (Support::FileDescriptor folderFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        folderFd) {
        ::fsync(folderFd.get());
    }
}

std::optional<std::string> readIfExists(const fs::path& path) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return std::nullopt;
        }
        throwErrno(errno, "Cannot read", path);
    }
    std::string contents;
    char buffer[65536];
    while (true) {
        ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            int error = errno;
            throwErrno(error, "Cannot read", path);
        }
        if (n == 0) {
            break;
        }
        contents.append(buffer, static_cast<std::size_t>(n));
    }
    return contents;
}

fs::path configHome() {
    return folderFromEnvironment("VELLMORA_CONFIG_HOME", "XDG_CONFIG_HOME", ".config");
}
fs::path dataHome() {
    return folderFromEnvironment("VELLMORA_DATA_HOME", "XDG_DATA_HOME", ".local/share");
}
fs::path cacheHome() {
    return folderFromEnvironment("VELLMORA_CACHE_HOME", "XDG_CACHE_HOME", ".cache");
}
fs::path stateHome() {
    return folderFromEnvironment("VELLMORA_STATE_HOME", "XDG_STATE_HOME", ".local/state");
}

fs::path runtimeFolder() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        runtime && *runtime && fs::path(runtime).is_absolute()) {
        return fs::path(runtime);
    }
    auto folder = fs::temp_directory_path() / ("vellmora-" + std::to_string(::getuid()));
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        throwErrno(errno, "cannot create", folder);
    }
    // The temp folder is shared: never use a folder (or a link) that another user planted there.
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0) {
        throwErrno(errno, "cannot inspect", folder);
    }
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::getuid()) {
        throwErrno(EPERM, "not a private folder:", folder);
    }
    return folder;
}

fs::path homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home) {
        return fs::path(home);
    }
    std::vector<char> buffer(16384);
    struct passwd entry {};
    struct passwd* result = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 && result &&
        result->pw_dir) {
        return fs::path(result->pw_dir);
    }
    return fs::path("/");
}

} // namespace Support::Files
