// Whether a file exists and how large it is: what the video expiry needs to know before it deletes a video
// and to count the bytes it freed. `LiveFileInspector` reads the file system; tests may stand in their own.
// Neither call throws: a file that cannot be examined reads as missing.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace Intelligence {

class FileInspecting {
public:
    virtual ~FileInspecting() = default;
    /// True for a regular file (or a link to one) at `path`.
    virtual bool fileExists(const std::filesystem::path& path) const = 0;
    /// The file's size in bytes; nothing when it is not there.
    virtual std::optional<std::uint64_t> fileSize(const std::filesystem::path& path) const = 0;
};

class LiveFileInspector final : public FileInspecting {
public:
    bool fileExists(const std::filesystem::path& path) const override;
    std::optional<std::uint64_t> fileSize(const std::filesystem::path& path) const override;
};

} // namespace Intelligence
