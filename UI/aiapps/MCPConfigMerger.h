// The pure transformation of another AI app's JSON settings file: adding our MCP server entry to it, taking
// it out again, and reading back the command it names. Used by `MCPConfigFileWriter` (which owns the file)
// and by the settings model (status, setup snippet).
//
// Contract at the edges:
// - A missing file or one holding only blanks is an empty object. Anything else must be standard JSON
//   (no comments, no trailing commas, UTF-8, at most 512 levels deep, under 4 GB): otherwise `malformed` is
//   thrown. A top level that is not an object, or a root key whose value is not an object, throws
//   `unexpectedShape`.
// - The rewritten document is pretty-printed with the file's own indentation (two blanks for a new file) and
//   line ends, keeps every other key in its original order, and keeps the exact text of every number and
//   string we did not change (1.10 stays 1.10, "\u00e9" stays "\u00e9", 18446744073709551617 stays as is).
// - When a key occurs twice in one object, the last occurrence is the one that counts (as in the apps that
//   read these files); removing takes out every occurrence of our entry.
#pragma once

#include "Support/Errors.h"
#include "UI/aiapps/MCPClientCatalog.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UI {

/// Why a settings file was refused; nothing is ever written for a refused file.
class MCPConfigMergeError : public Support::UserFacingError {
public:
    enum class Kind { unexpectedShape, malformed };

    /// A value that must be an object is not: `name` is "top level" or the root key.
    static MCPConfigMergeError unexpectedShape(std::string name);
    static MCPConfigMergeError malformed();

    Kind kind() const { return kind_; }
    /// The value named by `unexpectedShape` (empty for `malformed`).
    const std::string& name() const { return name_; }

    friend bool operator==(const MCPConfigMergeError& a, const MCPConfigMergeError& b) {
        return a.kind_ == b.kind_ && a.name_ == b.name_;
    }

private:
    MCPConfigMergeError(Kind kind, std::string name, const std::string& description)
        : Support::UserFacingError(description), kind_(kind), name_(std::move(name)) {}
    Kind kind_;
    std::string name_;
};

/// A merge worked out but not written out yet, so that a large file can be written to disk in pieces rather
/// than built as one new string. It refers to the bytes it was made from, which must outlive it.
class MCPConfigEdit {
public:
    using Sink = std::function<void(std::string_view)>;

    MCPConfigEdit(MCPConfigEdit&&) noexcept;
    MCPConfigEdit& operator=(MCPConfigEdit&&) noexcept;
    ~MCPConfigEdit();

    /// False when the file already says what the edit would: nothing to write.
    bool changes() const;
    /// The new file, handed to `sink` in order, in pieces of about a megabyte.
    void write(const Sink& sink) const;
    /// The new file in one piece.
    std::string text() const;

    struct State;

private:
    explicit MCPConfigEdit(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
    friend class MCPConfigMerger;
};

class MCPConfigMerger {
public:
    /// The key of our entry inside the root object.
    static const std::string serverName;

    /// Our entry's keys and (unquoted) string values, in the order they are written.
    using Entry = std::vector<std::pair<std::string, std::string>>;
    static Entry entry(std::string_view command, MCPEntryStyle style);

    /// The file with our entry added or brought up to date. Returns `data` itself when the entry is already
    /// exactly right. Throws `MCPConfigMergeError`.
    static std::string upserting(std::string_view command, MCPEntryStyle style, std::string_view rootKey,
                                 std::optional<std::string_view> data);
    /// The file without our entry, or nothing when there is nothing to remove. Throws `MCPConfigMergeError`.
    static std::optional<std::string> removing(std::string_view rootKey,
                                               std::optional<std::string_view> data);
    /// `upserting` and `removing` as edits still to be written out. Throw `MCPConfigMergeError`.
    static MCPConfigEdit upsertEdit(std::string_view command, MCPEntryStyle style, std::string_view rootKey,
                                    std::optional<std::string_view> data);
    static MCPConfigEdit removeEdit(std::string_view rootKey, std::optional<std::string_view> data);
    /// The "command" of our entry, or nothing (also for a file that cannot be read).
    static std::optional<std::string> command(std::string_view data, std::string_view rootKey);
    /// The setup text to paste into an app's MCP settings (always under "mcpServers").
    static std::string snippet(std::string_view command);
    /// True when every byte is a blank, tab, line feed or carriage return (or there is none).
    static bool isBlank(std::string_view data);
    /// `text` as a JSON string literal, forward slashes left alone.
    static std::string quoted(std::string_view text);
};

} // namespace UI
