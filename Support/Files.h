// Files the system writes itself: atomic replacement (temporary file in the same folder, flush, rename,
// flush of the folder) so that a crash leaves either the old or the new file, never half of one; and the
// per-user folders, each overridable so that tests and the demo never touch a real home folder:
//   config: $VELLMORA_CONFIG_HOME, else $XDG_CONFIG_HOME/vellmora, else ~/.config/vellmora
//   data:   $VELLMORA_DATA_HOME,   else $XDG_DATA_HOME/vellmora,   else ~/.local/share/vellmora
//   cache:  $VELLMORA_CACHE_HOME,  else $XDG_CACHE_HOME/vellmora,  else ~/.cache/vellmora
//   state:  $VELLMORA_STATE_HOME,  else $XDG_STATE_HOME/vellmora,  else ~/.local/state/vellmora
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace Support::Files {

/// Replaces `path` with `contents` atomically, creating missing parent folders. `mode` sets the new file's
/// permissions (default: the old file's, else 0644). Throws std::system_error with the path on failure, and
/// leaves no temporary file behind.
void writeAtomically(const std::filesystem::path& path, std::string_view contents,
                     std::optional<mode_t> mode = std::nullopt);

/// The whole file, or nothing when it does not exist; throws std::system_error when it exists but cannot
/// be read.
std::optional<std::string> readIfExists(const std::filesystem::path& path);

std::filesystem::path configHome();
std::filesystem::path dataHome();
std::filesystem::path cacheHome();
std::filesystem::path stateHome();
/// A folder private to this user for sockets, locks and throwaway data: $XDG_RUNTIME_DIR, else
/// "<temp>/vellmora-<uid>" (created 0700). Throws std::system_error when that folder exists but belongs to
/// someone else or is not a folder.
std::filesystem::path runtimeFolder();
/// The user's home folder ($HOME, else the password database).
std::filesystem::path homeFolder();

} // namespace Support::Files
