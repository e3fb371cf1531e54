// What every program launcher here shares: finding a tool on PATH, the spawn attributes (the child leads
// its own process group, with the usual signal dispositions and none blocked), and turning a wait status
// into the exit status callers see. Used by `PosixProcessRunner`, `ChildProcess` and the clipboard tools.
#pragma once

#include <filesystem>
#include <optional>
#include <spawn.h>
#include <string>

namespace Platform {

/// Whether `path` is a regular file this process may execute.
bool isExecutableFile(const std::filesystem::path& path);

/// The first regular, executable file named `tool` in the folders of `pathVariable` (a PATH value).
std::optional<std::filesystem::path> findExecutable(const std::string& tool, const std::string& pathVariable);

/// Initialises `attributes` for a child that leads its own process group, with SIGPIPE, SIGINT and SIGTERM
/// at their defaults and no signal blocked. The caller destroys them.
void initSpawnAttributes(posix_spawnattr_t& attributes);

/// The exit status, 128 + the signal number for a child killed by a signal, or -1.
int exitStatusOf(int waitStatus);

} // namespace Platform
