#include "Intelligence/FileInspecting.h"

namespace Intelligence {

bool LiveFileInspector::fileExists(const std::filesystem::path& path) const {
    std::error_code ec;
    return std::filesystem::is_regular_file(path, ec);
}

std::optional<std::uint64_t> LiveFileInspector::fileSize(const std::filesystem::path& path) const {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        return std::nullopt;
    }
    auto size = std::filesystem::file_size(path, ec);
    if (ec) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(size);
}

} // namespace Intelligence
