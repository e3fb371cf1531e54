#include "UI/aiapps/AIAppsSettingsModel.h"

#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "UI/aiapps/ClaudeCodeCommand.h"
#include "UI/aiapps/MCPConfigMerger.h"

namespace UI {

namespace fs = std::filesystem;
using Kind = AIAppsSettingsModel::Confirmation::Kind;

namespace {

const Support::Logger log("aiapps");

const std::string alreadyConnected = "Already connected.";

/// The file that tells whether a client is connected: its settings file, or its status file.
std::optional<MCPConfigLocation> statusLocation(const MCPClient& client) {
    if (client.method.kind == MCPConnectionMethod::Kind::jsonFile) {
        return client.method.location;
    }
    return client.statusFile;
}

} // namespace

const std::string AIAppsSettingsModel::otherAppsLead =
    "For any other app that can run MCP servers, add this to its MCP settings:";
const std::string AIAppsSettingsModel::moveFirstText = "Move Vellmora to Applications first, then connect.";

AIAppsSettingsModel::AIAppsSettingsModel(Dependencies dependencies) : deps_(std::move(dependencies)) {
    std::vector<Row> initial;
    for (const auto& c : deps_.catalog) {
        initial.push_back(Row{c, MCPClientStatus::unknown});
    }
    rows.set(std::move(initial));
}

const MCPClient& AIAppsSettingsModel::client(MCPClientID id) const {
    for (const auto& c : deps_.catalog) {
        if (c.id == id) {
            return c;
        }
    }
    return MCPClientCatalog::client(id);
}

std::vector<AIAppsSettingsModel::Row> AIAppsSettingsModel::installedRows() const {
    std::vector<Row> out;
    for (const auto& r : rows.get()) {
        if (r.status != MCPClientStatus::notInstalled) {
            out.push_back(r);
        }
    }
    return out;
}

MCPClientStatus AIAppsSettingsModel::status(const MCPClient& client, const MCPClientEnvironment& environment,
                                            const std::optional<fs::path>& helperPath) {
    if (!environment.isInstalled(client)) {
        return MCPClientStatus::notInstalled;
    }
    auto location = statusLocation(client);
    if (!location) {
        return MCPClientStatus::notConnected; // a paste client: nothing to read
    }
    if (!environment.canReadClientFiles()) {
        return MCPClientStatus::unknown;
    }
    auto read = environment.readFile(environment.fileURL(*location));
    if (read.kind == MCPFileRead::Kind::unreadable) {
        return MCPClientStatus::unknown;
    }
    if (read.kind == MCPFileRead::Kind::missing) {
        return MCPClientStatus::notConnected;
    }
    auto command = MCPConfigMerger::command(read.data, location->rootKey);
    if (!command) {
        return MCPClientStatus::notConnected;
    }
    if (helperPath && *command != helperPath->string()) {
        return MCPClientStatus::needsUpdate;
    }
    return MCPClientStatus::connected;
}

Support::Task<void> AIAppsSettingsModel::refresh() {
    // The work reads copies kept in this frame, and the lambda holds only a pointer to them: g++ 12 may
    // destroy a temporary of a co_await expression twice, which a lambda owning strings would not survive.
    const Dependencies copy = deps_;
    auto fresh = co_await Support::BlockingWork::run([d = &copy] {
        std::vector<Row> out;
        for (const auto& c : d->catalog) {
            out.push_back(Row{c, status(c, d->environment, d->helperPath)});
        }
        return out;
    });
    rows.setIfChanged(std::move(fresh));
}

std::vector<AIAppsSettingsModel::RowAction> AIAppsSettingsModel::actions(const Row& row) const {
    if (row.client.method.kind == MCPConnectionMethod::Kind::paste) {
        return {RowAction::copySetup};
    }
    switch (row.status) {
    case MCPClientStatus::connected:
        return {RowAction::disconnect, RowAction::copySetup};
    case MCPClientStatus::needsUpdate:
        return {RowAction::connect, RowAction::disconnect};
    case MCPClientStatus::notInstalled:
        return {RowAction::copySetup};
    case MCPClientStatus::notConnected:
    case MCPClientStatus::unknown:
        return {RowAction::connect, RowAction::copySetup};
    }
    return {};
}

std::optional<fs::path> AIAppsSettingsModel::claudeExecutable() const {
    return deps_.environment.executableURL(client(MCPClientID::claudeCode));
}

void AIAppsSettingsModel::trigger(RowAction action, MCPClientID id) {
    const auto& c = client(id);
    if (action != RowAction::disconnect && !deps_.helperPath) {
        setOutcome(id, Outcome{moveFirstText, true});
        return;
    }
    if (action == RowAction::connect || action == RowAction::disconnect) {
        confirmation = Confirmation{id, action == RowAction::connect ? Kind::connect : Kind::disconnect};
        return;
    }
    std::string text;
    std::string done;
    if (c.method.kind == MCPConnectionMethod::Kind::cliCommand) {
        auto executable = claudeExecutable();
        text = ClaudeCodeCommand::addCommandLine(deps_.helperPath->string(),
                                                 executable ? executable->string() : "claude");
        done = "Copied. Paste it in Terminal and press Return.";
    } else {
        text = MCPConfigMerger::snippet(deps_.helperPath->string());
        done = "Copied. Paste it in " + c.displayName + ".";
    }
    if (!deps_.clipboard || !deps_.clipboard->setText(text)) {
        setOutcome(
            id, Outcome{"Couldn't copy the setup: no clipboard is available. Install wl-clipboard or xclip, "
                        "or use vellmora mcp setup.",
                        true});
        return;
    }
    setOutcome(id, Outcome{done, false});
}

Support::Task<void> AIAppsSettingsModel::perform(Confirmation confirmed) {
    confirmation = std::nullopt;
    const auto& c = client(confirmed.client);
    if (confirmed.kind == Kind::connect && !deps_.helperPath) {
        setOutcome(c.id, Outcome{moveFirstText, true});
        co_return;
    }
    if (busy.get().count(c.id)) {
        co_return;
    }
    setBusy(c.id, true);
    Outcome outcome;
    try {
        if (c.method.kind == MCPConnectionMethod::Kind::jsonFile) {
            outcome = co_await changeFile(c, *c.method.location, c.method.style, confirmed.kind);
        } else {
            outcome = co_await runCommand(c, confirmed.kind);
        }
    } catch (const Support::Cancelled&) {
        setBusy(c.id, false);
        throw;
    } catch (const std::exception& e) {
        outcome = Outcome{std::string("Couldn't change the settings: ") + e.what(), true};
    }
    setBusy(c.id, false);
    setOutcome(c.id, outcome);
    co_await refresh();
}

std::string AIAppsSettingsModel::confirmationTitle(const Confirmation& c) const {
    const auto& name = client(c.client).displayName;
    return c.kind == Kind::connect ? "Connect " + name : "Remove Vellmora from " + name;
}

std::string AIAppsSettingsModel::confirmationMessage(const Confirmation& c) const {
    const auto& cl = client(c.client);
    if (cl.method.kind == MCPConnectionMethod::Kind::jsonFile) {
        const auto& location = *cl.method.location;
        std::string name = fs::path(location.relativePath).filename().string();
        std::string start = c.kind == Kind::connect ? "Vellmora will add itself to "
                                                    : "Vellmora will take its own entry out of ";
        return start + displayPath(location) +
               " and keep a copy of the file as it was before Vellmora first changed it, as " + name +
               ".vellmora-backup" + ". Nothing else in the file changes.";
    }
    auto executable = claudeExecutable();
    std::string exe = executable ? executable->string() : "claude";
    std::string line =
        c.kind == Kind::connect
            ? ClaudeCodeCommand::addCommandLine(deps_.helperPath ? deps_.helperPath->string() : "", exe)
            : ClaudeCodeCommand::removeCommandLine(exe);
    return "Vellmora will run:\n" + line;
}

Support::Task<AIAppsSettingsModel::Outcome> AIAppsSettingsModel::changeFile(const MCPClient& client,
                                                                            const MCPConfigLocation& location,
                                                                            MCPEntryStyle style, Kind kind) {
    const auto file = deps_.environment.fileURL(location);
    if (!deps_.environment.canReadClientFiles() && deps_.folderPanel) {
        const auto folder = file.parent_path();
        auto chosen = co_await deps_.folderPanel->choose(client, folder,
                                                         folderPanelMessage(client, displayFolder(location)));
        if (!chosen) {
            co_return Outcome{};
        }
        if (chosen->lexically_normal() != folder.lexically_normal()) {
            co_return Outcome{"That isn't the right folder. Choose " + displayFolder(location) + ".", true};
        }
    }
    const std::string command = deps_.helperPath ? deps_.helperPath->string() : std::string();
    const auto writerKind =
        kind == Kind::connect ? MCPConfigFileWriter::Kind::add : MCPConfigFileWriter::Kind::remove;
    MCPConfigFileWriter::Result result;
    try {
        struct Change {
            fs::path file;
            MCPConfigLocation location;
            MCPEntryStyle style;
            std::string command;
            MCPConfigFileWriter::Kind kind;
        } change{file, location, style, command, writerKind};
        result = co_await Support::BlockingWork::run([c = &change] {
            return MCPConfigFileWriter::update(c->file, c->location, c->style, c->command, c->kind);
        });
    } catch (const MCPConfigMergeError& e) {
        co_return Outcome{e.description(), true};
    } catch (const std::exception& e) {
        log.warning("Changing {} failed: {}", file.string(), e.what());
        co_return Outcome{std::string("Couldn't change the settings: ") + e.what(), true};
    }
    const bool written = result.kind == MCPConfigFileWriter::Result::Kind::written;
    std::string text;
    if (kind == Kind::connect) {
        text = written ? "Connected. Restart " + client.displayName + " to use Vellmora." : alreadyConnected;
    } else {
        text = written ? "Removed Vellmora from " + client.displayName + "'s settings."
                       : "Vellmora wasn't in " + client.displayName + "'s settings.";
    }
    co_return Outcome{withBackup(text, result.backup), false};
}

Support::Task<AIAppsSettingsModel::Outcome> AIAppsSettingsModel::runCommand(const MCPClient& client,
                                                                            Kind kind) {
    auto executable = deps_.environment.executableURL(client);
    if (!executable) {
        co_return Outcome{
            "Vellmora couldn't find Claude Code's command. Copy the command and run it in Terminal.", true};
    }
    std::optional<std::string> current;
    bool statusKnown = false;
    if (client.statusFile && deps_.environment.canReadClientFiles()) {
        auto read = deps_.environment.readFile(deps_.environment.fileURL(*client.statusFile));
        statusKnown = read.kind != MCPFileRead::Kind::unreadable;
        if (read.kind == MCPFileRead::Kind::contents) {
            current = MCPConfigMerger::command(read.data, client.statusFile->rootKey);
        }
    }
    const std::string helper = deps_.helperPath ? deps_.helperPath->string() : std::string();
    if (kind == Kind::connect && current && *current == helper) {
        co_return Outcome{alreadyConnected, false};
    }
    if (kind == Kind::disconnect && statusKnown && !current) {
        co_return Outcome{"Vellmora wasn't in " + client.displayName + "'s settings.", false};
    }
    if (!deps_.claude) {
        co_return Outcome{
            "Vellmora couldn't find Claude Code's command. Copy the command and run it in Terminal.", true};
    }
    // An entry with an outdated helper path is taken out first: the tool refuses to add a name it has.
    if (kind == Kind::disconnect || current) {
        auto removed = co_await deps_.claude->run(*executable, ClaudeCodeCommand::removeArguments(),
                                                  ClaudeCLIRunner::timeout);
        if (!removed.succeeded()) {
            co_return Outcome{removed.failureSummary(), true};
        }
        if (kind == Kind::disconnect) {
            co_return Outcome{"Removed Vellmora from " + client.displayName + "'s settings.", false};
        }
    }
    auto added = co_await deps_.claude->run(*executable, ClaudeCodeCommand::addArguments(helper),
                                            ClaudeCLIRunner::timeout);
    if (!added.succeeded()) {
        co_return Outcome{added.failureSummary(), true};
    }
    co_return Outcome{"Connected. New Claude Code sessions can use Vellmora.", false};
}

std::string AIAppsSettingsModel::displayFolder(const MCPConfigLocation& location) const {
    auto parent = fs::path(location.relativePath).parent_path();
    if (parent.empty()) {
        return "your home folder";
    }
    return "~/" + parent.string();
}

std::string AIAppsSettingsModel::displayPath(const MCPConfigLocation& location) const {
    return "~/" + location.relativePath;
}

std::string AIAppsSettingsModel::withBackup(const std::string& text,
                                            const std::optional<fs::path>& backup) const {
    if (!backup) {
        return text;
    }
    auto folder = backup->parent_path().lexically_normal();
    auto rel = folder.lexically_relative(deps_.environment.homeDirectory.lexically_normal());
    std::string where;
    if (rel == ".") {
        where = "your home folder";
    } else if (!rel.empty() && *rel.begin() != "..") {
        where = "~/" + rel.string();
    } else {
        where = folder.string();
    }
    return text + " Your original file is saved as " + backup->filename().string() + " in " + where + ".";
}

std::string AIAppsSettingsModel::folderPanelMessage(const MCPClient& client, const std::string& folder) {
    return "To connect " + client.displayName + ", Vellmora needs to edit its settings in " + folder +
           ". Choose that folder and click Allow.";
}

std::optional<std::string> AIAppsSettingsModel::otherAppsSnippet() const {
    if (!deps_.helperPath) {
        return std::nullopt;
    }
    return MCPConfigMerger::snippet(deps_.helperPath->string());
}

void AIAppsSettingsModel::setOutcome(MCPClientID id, Outcome outcome) {
    auto all = outcomes.get();
    if (outcome.text.empty()) {
        all.erase(id);
    } else {
        all[id] = std::move(outcome);
    }
    outcomes.set(std::move(all));
}

void AIAppsSettingsModel::setBusy(MCPClientID id, bool on) {
    auto all = busy.get();
    if (on) {
        all.insert(id);
    } else {
        all.erase(id);
    }
    busy.set(std::move(all));
}

} // namespace UI
