// Adds our MCP entry to another AI app's settings file, or takes it out, the way a user can trust:
// - a file we cannot read exactly is refused (`MCPConfigMergeError`) and nothing is written, not even a
//   backup;
// - the first time we change a file we keep its original bytes beside it as "<name>.vellmora-backup" (same
//   permissions: where the file system allows, it is the original file itself under a second name); an
//   existing backup is never overwritten, so it always holds the file from before we first touched it;
// - the new file is written to a temporary file in the same folder, flushed to disk, renamed over the old one
//   and the folder flushed, so a crash at any moment leaves the old or the new document, never half of one;
// - the permissions (and, when we may, the owner) are kept; a settings file that is a symbolic link stays a
//   link and its target is rewritten;
// - two of our writers never interleave: they take an exclusive lock on "<name>.vellmora-lock" beside the
//   file (left in place: removing a lock file others may be waiting on would let two writers in);
// - when the file changes under us (the app itself saved it) between our read and our rename, the merge is
//   redone on the new content; a file that keeps changing is reported, not overwritten;
// - temporary files left behind by a writer that was killed are removed by the next writer.
// File-system failures are thrown as std::system_error whose text names the path.
//
// Blocking: call it through `Support::BlockingWork::run`.
#pragma once

#include "UI/aiapps/MCPClientCatalog.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace UI {

class MCPConfigFileWriter {
public:
    enum class Kind { add, remove };

    struct Result {
        enum class Kind { written, unchanged };
        Kind kind = Kind::unchanged;
        /// Set when this write made the backup copy.
        std::optional<std::filesystem::path> backup;

        static Result written(std::optional<std::filesystem::path> backup = std::nullopt) {
            return {Kind::written, std::move(backup)};
        }
        static Result unchanged() { return {Kind::unchanged, std::nullopt}; }
        friend bool operator==(const Result&, const Result&) = default;
    };

    /// Points at which tests step in: `beforeLock` runs once, after the first read and before the lock is
    /// taken; `beforeReplace` runs once per attempt, after the new file was written aside and before it
    /// replaces the old one.
    struct Hooks {
        std::function<void()> beforeLock;
        std::function<void(int attempt)> beforeReplace;
    };

    static Result update(const std::filesystem::path& file, const MCPConfigLocation& location,
                         MCPEntryStyle style, const std::string& command, Kind kind);
    static Result update(const std::filesystem::path& file, const MCPConfigLocation& location,
                         MCPEntryStyle style, const std::string& command, Kind kind, const Hooks& hooks);

    static std::filesystem::path backupPath(const std::filesystem::path& file);
    static std::filesystem::path lockPath(const std::filesystem::path& file);
    /// `file` with every symbolic link along its last component followed (the file itself need not exist).
    static std::filesystem::path resolvingLinks(const std::filesystem::path& file);
};

} // namespace UI
