// Running a command-line tool (ffmpeg, tesseract) from blocking work: its output captured, stopped as soon
// as the caller's cancel flag is raised. Used by the slide extraction job.
#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Intelligence::ToolProcess {

struct Result {
    /// The exit status; -1 when the tool could not be started or ended by a signal.
    int exitStatus = -1;
    std::string output;
    std::string errorOutput;
    bool wasCancelled = false;
};

/// The executable `name` on $PATH, if there is one.
std::optional<std::filesystem::path> find(const std::string& name);

/// Runs `arguments` (the first is the program, looked up on $PATH) with no input and waits for it. When
/// `cancelled` becomes true the tool is terminated and the result says so. Each output keeps at most
/// `outputLimit` bytes (the rest is read and dropped). Throws std::system_error when it cannot start.
Result run(const std::vector<std::string>& arguments, const std::atomic<bool>& cancelled,
           std::size_t outputLimit = 8 << 20);

} // namespace Intelligence::ToolProcess
