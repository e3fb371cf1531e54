#include "UI/aiapps/AIAppsSettingsModel.h"

#include "Fakes/FakeClipboard.h"
#include "Fakes/FakeProcessRunner.h"
#include "Support/MainLoop.h"
#include "UI/aiapps/AIAppsTestSupport.h"
#include "UI/aiapps/MCPConfigMerger.h"

#include <gtest/gtest.h>
#include <set>

using namespace UI;
using namespace AIAppsTest;
namespace fs = std::filesystem;
using Model = AIAppsSettingsModel;
using Outcome = Model::Outcome;
using Confirmation = Model::Confirmation;
using CKind = Confirmation::Kind;

namespace {

const MCPHostSystem linuxSystem = MCPHostSystem::linuxDesktop;

template <typename T> T finish(Support::MainLoop& loop, Support::Task<T> task) {
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    return task.get();
}

// A temporary home folder with scripted installed apps, the real file system under it, a fake clipboard and
// the Claude Code tool answered by a fake process runner.
struct Fixture {
    Support::MainLoop loop;
    Fakes::TempFolder home;
    std::set<std::string> installedApps = {"cursor.desktop", "code.desktop", "dev.warp.Warp.desktop"};
    std::set<fs::path> executables;
    bool canRead = true;
    std::shared_ptr<Fakes::FakeClipboard> clipboard = std::make_shared<Fakes::FakeClipboard>();
    std::shared_ptr<Fakes::FakeProcessRunner> processes = std::make_shared<Fakes::FakeProcessRunner>();
    std::optional<fs::path> helper = fs::path("/opt/vellmora/bin/vellmora-mcp");
    std::shared_ptr<AIAppsFolderPanel> panel;

    MCPClientEnvironment environment() {
        auto env = MCPClientEnvironment::live(home.path);
        env.applicationURL = [this](const std::string& id) -> std::optional<fs::path> {
            return installedApps.count(id) ? std::optional<fs::path>("/usr/share/applications/" + id)
                                           : std::nullopt;
        };
        env.isExecutable = [this](const fs::path& p) { return executables.count(p) > 0; };
        env.canReadClientFiles = [this] { return canRead; };
        return env;
    }
    Model model() {
        Model::Dependencies d;
        d.environment = environment();
        d.helperPath = helper;
        d.clipboard = clipboard;
        d.claude =
            std::make_shared<ClaudeCLIRunner>(processes, home.path, std::map<std::string, std::string>{});
        d.folderPanel = panel;
        d.catalog = MCPClientCatalog::all(linuxSystem);
        return Model(std::move(d));
    }
    fs::path cursorFile() const { return home / ".cursor/mcp.json"; }
    fs::path claudeExecutable() const { return home / ".local/bin/claude"; }
};

const MCPClient& linuxClient(MCPClientID id) {
    return MCPClientCatalog::client(id, linuxSystem);
}

} // namespace

TEST(AIAppsSettingsModel, StatusComesFromInstallationAndTheEntryInTheFile) {
    struct Case {
        const char* name;
        MCPClientID client;
        std::optional<std::string> file; // the Cursor file's contents; nothing: missing
        bool canRead;
        MCPClientStatus expected;
    };
    const std::string ours = R"({"mcpServers": {"vellmora": {"command": "/opt/vellmora/bin/vellmora-mcp"}}})";
    const std::string older = R"({"mcpServers": {"vellmora": {"command": "/old/vellmora-mcp"}}})";
    const Case cases[] = {
        {"not installed", MCPClientID::antigravity, std::nullopt, true, MCPClientStatus::notInstalled},
        {"no file", MCPClientID::cursor, std::nullopt, true, MCPClientStatus::notConnected},
        {"other servers only", MCPClientID::cursor, R"({"mcpServers": {}})", true,
         MCPClientStatus::notConnected},
        {"a file with comments", MCPClientID::cursor, "// x\n{}", true, MCPClientStatus::notConnected},
        {"our entry", MCPClientID::cursor, ours, true, MCPClientStatus::connected},
        {"an older helper path", MCPClientID::cursor, older, true, MCPClientStatus::needsUpdate},
        {"no access to the home folder", MCPClientID::cursor, ours, false, MCPClientStatus::unknown},
        {"a paste client", MCPClientID::warp, std::nullopt, true, MCPClientStatus::notConnected},
    };
    for (const auto& c : cases) {
        Fixture f;
        if (c.file) {
            writeFile(f.cursorFile(), *c.file);
        }
        f.canRead = c.canRead;
        EXPECT_EQ(Model::status(linuxClient(c.client), f.environment(), f.helper), c.expected) << c.name;
    }

    Fixture f;
    fs::create_directories(f.cursorFile()); // a folder where the file should be: it exists but cannot be read
    EXPECT_EQ(Model::status(linuxClient(MCPClientID::cursor), f.environment(), f.helper),
              MCPClientStatus::unknown);
}

TEST(AIAppsSettingsModel, RefreshListsEveryClientInCatalogOrderAndTheInstalledOnes) {
    Fixture f;
    f.executables.insert(f.claudeExecutable());
    writeFile(f.home / ".claude.json",
              R"({"mcpServers": {"vellmora": {"command": "/opt/vellmora/bin/vellmora-mcp"}}})");
    auto model = f.model();
    finish(f.loop, model.refresh());
    std::vector<std::pair<MCPClientID, MCPClientStatus>> got;
    for (const auto& r : model.rows.get()) {
        got.emplace_back(r.client.id, r.status);
    }
    EXPECT_EQ(got, (std::vector<std::pair<MCPClientID, MCPClientStatus>>{
                       {MCPClientID::claudeCode, MCPClientStatus::connected},
                       {MCPClientID::antigravity, MCPClientStatus::notInstalled},
                       {MCPClientID::vsCode, MCPClientStatus::notConnected},
                       {MCPClientID::cursor, MCPClientStatus::notConnected},
                       {MCPClientID::claudeDesktop, MCPClientStatus::notInstalled},
                       {MCPClientID::warp, MCPClientStatus::notConnected},
                       {MCPClientID::raycast, MCPClientStatus::notInstalled},
                   }));
    EXPECT_EQ(model.installedRows().size(), 4u);
}

TEST(AIAppsSettingsModel, OffersTheActionsThatFitTheStatusAndMethod) {
    Fixture f;
    auto model = f.model();
    using A = Model::RowAction;
    auto row = [](MCPClientID id, MCPClientStatus s) { return Model::Row{linuxClient(id), s}; };
    EXPECT_EQ(model.actions(row(MCPClientID::cursor, MCPClientStatus::notConnected)),
              (std::vector<A>{A::connect, A::copySetup}));
    EXPECT_EQ(model.actions(row(MCPClientID::cursor, MCPClientStatus::connected)),
              (std::vector<A>{A::disconnect, A::copySetup}));
    EXPECT_EQ(model.actions(row(MCPClientID::claudeCode, MCPClientStatus::needsUpdate)),
              (std::vector<A>{A::connect, A::disconnect}));
    EXPECT_EQ(model.actions(row(MCPClientID::cursor, MCPClientStatus::notInstalled)),
              std::vector<A>{A::copySetup});
    EXPECT_EQ(model.actions(row(MCPClientID::warp, MCPClientStatus::notConnected)),
              std::vector<A>{A::copySetup});
}

TEST(AIAppsSettingsModel, ConfirmationTextsDescribeExactlyWhatWillHappen) {
    Fixture f;
    f.executables.insert(f.claudeExecutable());
    auto model = f.model();
    EXPECT_EQ(model.confirmationTitle({MCPClientID::cursor, CKind::connect}), "Connect Cursor");
    EXPECT_EQ(model.confirmationTitle({MCPClientID::vsCode, CKind::disconnect}),
              "Remove Vellmora from Visual Studio Code");
    EXPECT_EQ(model.confirmationMessage({MCPClientID::cursor, CKind::connect}),
              "Vellmora will add itself to ~/.cursor/mcp.json and keep a copy of the file as it was before "
              "Vellmora "
              "first changed it, as mcp.json.vellmora-backup. Nothing else in the file changes.");
    EXPECT_EQ(
        model.confirmationMessage({MCPClientID::claudeDesktop, CKind::disconnect}),
        "Vellmora will take its own entry out of ~/.config/Claude/claude_desktop_config.json and keep a copy "
        "of "
        "the file as it was before Vellmora first changed it, as claude_desktop_config.json.vellmora-backup. "
        "Nothing else in the file changes.");
    EXPECT_EQ(model.confirmationMessage({MCPClientID::claudeCode, CKind::connect}),
              "Vellmora will run:\n" + f.claudeExecutable().string() +
                  " mcp add --scope user vellmora -- /opt/vellmora/bin/vellmora-mcp");
}

TEST(AIAppsSettingsModel, ConnectingAFileClientAsksThenWritesAndReportsTheBackupOnce) {
    Fixture f;
    writeFile(f.cursorFile(), R"({"mcpServers": {"other": {"command": "x"}}})");
    auto model = f.model();
    std::vector<std::set<MCPClientID>> busyStates;
    auto sub = model.busy.observe([&](const auto& b) { busyStates.push_back(b); });

    model.trigger(Model::RowAction::connect, MCPClientID::cursor);
    ASSERT_EQ(model.confirmation.get(), (Confirmation{MCPClientID::cursor, CKind::connect}));
    EXPECT_FALSE(fs::exists(MCPConfigFileWriter::backupPath(f.cursorFile())))
        << "nothing happens before the answer";

    finish(f.loop, model.perform(*model.confirmation.get()));
    EXPECT_EQ(model.confirmation.get(), std::nullopt);
    EXPECT_EQ(model.outcomes.get().at(MCPClientID::cursor),
              (Outcome{"Connected. Restart Cursor to use Vellmora. Your original file is saved as "
                       "mcp.json.vellmora-backup in ~/.cursor.",
                       false}));
    EXPECT_EQ(busyStates, (std::vector<std::set<MCPClientID>>{{MCPClientID::cursor}, {}}));
    EXPECT_EQ(model.rows.get()[3].status, MCPClientStatus::connected);

    struct Step {
        CKind kind;
        const char* outcome;
    };
    const Step steps[] = {
        {CKind::connect, "Already connected."},
        {CKind::disconnect, "Removed Vellmora from Cursor's settings."},
        {CKind::disconnect, "Vellmora wasn't in Cursor's settings."},
        {CKind::connect, "Connected. Restart Cursor to use Vellmora."},
    };
    for (const auto& s : steps) {
        finish(f.loop, model.perform({MCPClientID::cursor, s.kind}));
        EXPECT_EQ(model.outcomes.get().at(MCPClientID::cursor), (Outcome{s.outcome, false}));
    }
}

TEST(AIAppsSettingsModel, ARefusedOrUnwritableFileIsAFailureOutcome) {
    Fixture f;
    writeFile(f.cursorFile(), "{\n  // mine\n}");
    auto model = f.model();
    finish(f.loop, model.perform({MCPClientID::cursor, CKind::connect}));
    EXPECT_EQ(model.outcomes.get().at(MCPClientID::cursor),
              (Outcome{MCPConfigMergeError::malformed().description(), true}));
    EXPECT_EQ(readFile(f.cursorFile()), "{\n  // mine\n}");

    writeFile(f.home / ".config", "a file where a folder should be");
    finish(f.loop, model.perform({MCPClientID::vsCode, CKind::connect}));
    const auto& outcome = model.outcomes.get().at(MCPClientID::vsCode);
    EXPECT_TRUE(outcome.isFailure);
    EXPECT_TRUE(outcome.text.starts_with("Couldn't change the settings: ")) << outcome.text;
}

TEST(AIAppsSettingsModel, WithoutAUsableHelperConnectingAndCopyingSayToMoveTheAppFirst) {
    Fixture f;
    f.helper = std::nullopt;
    auto model = f.model();
    for (auto action : {Model::RowAction::connect, Model::RowAction::copySetup}) {
        model.trigger(action, MCPClientID::cursor);
        EXPECT_EQ(model.confirmation.get(), std::nullopt);
        EXPECT_EQ(model.outcomes.get().at(MCPClientID::cursor),
                  (Outcome{"Move Vellmora to Applications first, then connect.", true}));
    }
    EXPECT_FALSE(f.clipboard->contents);
    EXPECT_EQ(model.otherAppsSnippet(), std::nullopt);
    model.trigger(Model::RowAction::disconnect, MCPClientID::cursor);
    EXPECT_EQ(model.confirmation.get(), (Confirmation{MCPClientID::cursor, CKind::disconnect}));
}

TEST(AIAppsSettingsModel, CopyingPutsTheCommandOrTheSnippetOnTheClipboard) {
    Fixture f;
    auto model = f.model();
    model.trigger(Model::RowAction::copySetup, MCPClientID::claudeCode);
    EXPECT_EQ(f.clipboard->contents,
              "claude mcp add --scope user vellmora -- /opt/vellmora/bin/vellmora-mcp");
    EXPECT_EQ(model.outcomes.get().at(MCPClientID::claudeCode),
              (Outcome{"Copied. Paste it in Terminal and press Return.", false}));

    model.trigger(Model::RowAction::copySetup, MCPClientID::warp);
    EXPECT_EQ(f.clipboard->contents, MCPConfigMerger::snippet("/opt/vellmora/bin/vellmora-mcp"));
    EXPECT_EQ(model.outcomes.get().at(MCPClientID::warp), (Outcome{"Copied. Paste it in Warp.", false}));
    EXPECT_EQ(model.otherAppsSnippet(), f.clipboard->contents);
    EXPECT_TRUE(Model::otherAppsLead.ends_with(
        "any other app that can run MCP servers, add this to its MCP settings:"));

    f.clipboard->available = false;
    model.trigger(Model::RowAction::copySetup, MCPClientID::raycast);
    EXPECT_TRUE(model.outcomes.get().at(MCPClientID::raycast).isFailure);
}

TEST(AIAppsSettingsModel, RunsClaudeCodesToolWithTheTimeLimitAndReportsWhatItSaid) {
    const auto add = std::vector<std::string>{
        "mcp", "add", "--scope", "user", "vellmora", "--", "/opt/vellmora/bin/vellmora-mcp"};
    const auto remove = std::vector<std::string>{"mcp", "remove", "--scope", "user", "vellmora"};
    struct Case {
        const char* name;
        std::optional<std::string> statusFile;
        std::vector<Platform::ProcessResult> answers;
        CKind kind;
        std::vector<std::vector<std::string>> expectedRuns;
        Outcome expected;
    };
    const std::string current =
        R"({"mcpServers": {"vellmora": {"command": "/opt/vellmora/bin/vellmora-mcp"}}})";
    const std::string outdated = R"({"mcpServers": {"vellmora": {"command": "/old"}}})";
    const Case cases[] = {
        {"connect",
         std::nullopt,
         {{0, false, "Added", ""}},
         CKind::connect,
         {add},
         {"Connected. New Claude Code sessions can use Vellmora.", false}},
        {"already connected", current, {}, CKind::connect, {}, {"Already connected.", false}},
        {"outdated entry",
         outdated,
         {{0, false, "", ""}, {0, false, "", ""}},
         CKind::connect,
         {remove, add},
         {"Connected. New Claude Code sessions can use Vellmora.", false}},
        {"tool fails",
         std::nullopt,
         {{1, false, "", "  Error: MCP server vellmora already exists\nmore\n"}},
         CKind::connect,
         {add},
         {"Claude Code stopped with code 1: Error: MCP server vellmora already exists", true}},
        {"tool hangs",
         std::nullopt,
         {{137, true, "", ""}},
         CKind::connect,
         {add},
         {"Claude Code didn't answer in time.", true}},
        {"disconnect",
         current,
         {{0, false, "", ""}},
         CKind::disconnect,
         {remove},
         {"Removed Vellmora from Claude Code's settings.", false}},
        {"disconnect when absent",
         "{}",
         {},
         CKind::disconnect,
         {},
         {"Vellmora wasn't in Claude Code's settings.", false}},
    };
    for (const auto& c : cases) {
        Fixture f;
        f.executables.insert(f.claudeExecutable());
        if (c.statusFile) {
            writeFile(f.home / ".claude.json", *c.statusFile);
        }
        for (const auto& a : c.answers) {
            f.processes->script(a);
        }
        auto model = f.model();
        auto outcome = finish(f.loop, model.runCommand(linuxClient(MCPClientID::claudeCode), c.kind));
        EXPECT_EQ(outcome, c.expected) << c.name;
        auto requests = f.processes->requests();
        std::vector<std::vector<std::string>> runs;
        for (const auto& r : requests) {
            runs.push_back(r.arguments);
            EXPECT_EQ(r.executable, f.claudeExecutable().string());
            EXPECT_EQ(r.timeout, std::chrono::seconds(30));
        }
        EXPECT_EQ(runs, c.expectedRuns) << c.name;
    }

    Fixture missing;
    auto model = missing.model();
    EXPECT_EQ(
        finish(missing.loop, model.runCommand(linuxClient(MCPClientID::claudeCode), CKind::connect)),
        (Outcome{"Vellmora couldn't find Claude Code's command. Copy the command and run it in Terminal.",
                 true}));
}

namespace {
class ScriptedPanel : public AIAppsFolderPanel {
public:
    explicit ScriptedPanel(std::optional<fs::path> answer) : answer_(std::move(answer)) {}
    Support::Task<std::optional<fs::path>> choose(const MCPClient&, const fs::path& folder,
                                                  const std::string& message) override {
        asked.emplace_back(folder, message);
        co_return answer_;
    }
    std::vector<std::pair<fs::path, std::string>> asked;

private:
    std::optional<fs::path> answer_;
};
} // namespace

TEST(AIAppsSettingsModel, WithoutAccessItAsksForTheFolderAndRefusesAnotherOne) {
    Fixture f;
    f.canRead = false;
    auto wrong = std::make_shared<ScriptedPanel>(f.home.path);
    f.panel = wrong;
    auto model = f.model();
    finish(f.loop, model.perform({MCPClientID::cursor, CKind::connect}));
    EXPECT_EQ(model.outcomes.get().at(MCPClientID::cursor),
              (Outcome{"That isn't the right folder. Choose ~/.cursor.", true}));
    EXPECT_FALSE(fs::exists(f.cursorFile()));
    ASSERT_EQ(wrong->asked.size(), 1u);
    EXPECT_EQ(wrong->asked[0].first, f.home / ".cursor");
    EXPECT_EQ(wrong->asked[0].second, "To connect Cursor, Vellmora needs to edit its settings in ~/.cursor. "
                                      "Choose that folder and click Allow.");

    Fixture g;
    g.canRead = false;
    g.panel = std::make_shared<ScriptedPanel>(g.home / ".cursor");
    auto granted = g.model();
    finish(g.loop, granted.perform({MCPClientID::cursor, CKind::connect}));
    EXPECT_EQ(granted.outcomes.get().at(MCPClientID::cursor),
              (Outcome{"Connected. Restart Cursor to use Vellmora.", false}));
}

TEST(AIAppsSettingsModel, NamesFoldersTheWayTheUserSeesThem) {
    Fixture f;
    auto model = f.model();
    EXPECT_EQ(model.displayFolder({".claude.json", "mcpServers"}), "your home folder");
    EXPECT_EQ(model.displayFolder({".config/Code/User/mcp.json", "servers"}), "~/.config/Code/User");
    EXPECT_EQ(model.withBackup("Done.", std::nullopt), "Done.");
    EXPECT_EQ(model.withBackup("Done.", f.home / ".claude.json.vellmora-backup"),
              "Done. Your original file is saved as .claude.json.vellmora-backup in your home folder.");
    EXPECT_EQ(model.withBackup("Done.", fs::path("/etc/x/y.json.vellmora-backup")),
              "Done. Your original file is saved as y.json.vellmora-backup in /etc/x.");
}
