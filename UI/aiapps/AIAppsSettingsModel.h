// The model behind the "AI apps" settings page and `vellmora mcp`: one row per known AI app with its
// connection status, the actions that fit each row, a confirmation with the exact description of every
// change to another app's files, the change itself (through `MCPConfigFileWriter`, or the Claude Code tool
// through `ClaudeCLIRunner`), and one outcome line per row. Main loop only; file work runs on the blocking
// pool.
//
// A row goes idle → confirming (`confirmation` set) → busy (in `busy`) → idle with an outcome. Failures are
// outcomes with the failure flag, never exceptions.
#pragma once

#include "Platform/Clipboard.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "UI/aiapps/AIAppsFolderPanel.h"
#include "UI/aiapps/ClaudeCLIRunner.h"
#include "UI/aiapps/MCPClientEnvironment.h"
#include "UI/aiapps/MCPConfigFileWriter.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UI {

class AIAppsSettingsModel {
public:
    struct Row {
        MCPClient client;
        MCPClientStatus status = MCPClientStatus::notInstalled;
        friend bool operator==(const Row&, const Row&) = default;
    };
    struct Outcome {
        std::string text;
        bool isFailure = false;
        friend bool operator==(const Outcome&, const Outcome&) = default;
    };
    struct Confirmation {
        enum class Kind { connect, disconnect };
        MCPClientID client = MCPClientID::claudeCode;
        Kind kind = Kind::connect;
        friend bool operator==(const Confirmation&, const Confirmation&) = default;
    };
    enum class RowAction { connect, disconnect, copySetup };

    struct Dependencies {
        MCPClientEnvironment environment;
        /// Nothing when the app runs from a place other apps cannot rely on.
        std::optional<std::filesystem::path> helperPath;
        std::shared_ptr<Platform::Clipboard> clipboard;
        std::shared_ptr<ClaudeCLIRunner> claude;
        /// Only for a sandboxed build; may be null.
        std::shared_ptr<AIAppsFolderPanel> folderPanel;
        std::vector<MCPClient> catalog = MCPClientCatalog::all();
    };

    explicit AIAppsSettingsModel(Dependencies dependencies);

    Support::Published<std::vector<Row>> rows;
    Support::Published<std::map<MCPClientID, Outcome>> outcomes;
    Support::Published<std::set<MCPClientID>> busy;
    Support::Published<std::optional<Confirmation>> confirmation;

    const std::optional<std::filesystem::path>& helperPath() const { return deps_.helperPath; }
    std::vector<Row> installedRows() const;
    const MCPClient& client(MCPClientID id) const;

    /// Recomputes every row from the files and the environment (on the blocking pool).
    Support::Task<void> refresh();
    /// The status of one client, read now on the calling thread.
    static MCPClientStatus status(const MCPClient& client, const MCPClientEnvironment& environment,
                                  const std::optional<std::filesystem::path>& helperPath);

    std::vector<RowAction> actions(const Row& row) const;
    /// Changes ask for confirmation (or fail at once without a helper); copying copies at once.
    void trigger(RowAction action, MCPClientID client);
    /// Carries out a confirmed change; the outcome lands in `outcomes`.
    Support::Task<void> perform(Confirmation confirmed);
    /// Drops the pending confirmation.
    void cancelConfirmation() { confirmation = std::nullopt; }

    std::string confirmationTitle(const Confirmation& c) const;
    std::string confirmationMessage(const Confirmation& c) const;

    Support::Task<Outcome> changeFile(const MCPClient& client, const MCPConfigLocation& location,
                                      MCPEntryStyle style, Confirmation::Kind kind);
    Support::Task<Outcome> runCommand(const MCPClient& client, Confirmation::Kind kind);

    /// "~/.cursor" for a file in a folder under the home folder, "your home folder" for one directly in it.
    std::string displayFolder(const MCPConfigLocation& location) const;
    /// "~/.cursor/mcp.json".
    std::string displayPath(const MCPConfigLocation& location) const;
    /// `text` followed by the sentence that says where the backup made by this change is.
    std::string withBackup(const std::string& text, const std::optional<std::filesystem::path>& backup) const;
    /// What a sandboxed build's folder panel says.
    static std::string folderPanelMessage(const MCPClient& client, const std::string& folder);

    /// The setup text for any other app, and the line shown above it.
    std::optional<std::string> otherAppsSnippet() const;
    static const std::string otherAppsLead;
    static const std::string moveFirstText;

private:
    void setOutcome(MCPClientID id, Outcome outcome);
    void setBusy(MCPClientID id, bool on);
    std::optional<std::filesystem::path> claudeExecutable() const;

    Dependencies deps_;
};

} // namespace UI
