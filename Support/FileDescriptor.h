// The one owner of a file descriptor: closes it when it goes away, moves but never copies. Every type that
// holds a descriptor of its own (inotify, signalfd, pidfd, pipes, lock files, files being written) keeps it
// in one of these instead of closing by hand. Edge cases: -1 (or any negative number) owns nothing; moving
// leaves the source empty; `close()` reports close's error (a written file's last chance to say it failed),
// the destructor ignores it.
#pragma once

#include <unistd.h>
#include <utility>

namespace Support {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd < 0 ? -1 : fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return fd_; }
    bool isValid() const { return fd_ >= 0; }
    explicit operator bool() const { return isValid(); }

    /// Gives the descriptor up without closing it.
    int release() { return std::exchange(fd_, -1); }
    /// Closes the one held (if any) and owns `fd` instead.
    void reset(int fd = -1) {
        int old = std::exchange(fd_, fd < 0 ? -1 : fd);
        if (old >= 0) {
            ::close(old);
        }
    }
    /// Closes now; 0, or -1 with errno set by close(2). Empty afterwards either way.
    int close() {
        int old = release();
        return old >= 0 ? ::close(old) : 0;
    }

private:
    int fd_ = -1;
};

} // namespace Support
