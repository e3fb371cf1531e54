#include "Intelligence/FrameSearchVideoLocator.h"

#include <array>

namespace Intelligence {

std::optional<std::filesystem::path>
FrameSearchVideoLocator::videoURL(const std::filesystem::path& recordingFile) {
    if (recordingFile.filename().empty() || recordingFile.stem().empty()) {
        return std::nullopt;
    }
    static constexpr std::array<const char*, 4> extensions{".mp4", ".mkv", ".webm", ".mov"};
    std::optional<std::filesystem::path> first;
    for (const char* extension : extensions) {
        auto candidate = recordingFile;
        candidate.replace_extension(extension);
        if (candidate == recordingFile) {
            continue;
        }
        if (!first) {
            first = candidate;
        }
        std::error_code ec;
        if (std::filesystem::is_regular_file(candidate, ec)) {
            return candidate;
        }
    }
    return first;
}

} // namespace Intelligence
