#include "App/Cli.h"
#include "App/CommandLineRun.h"

#include "UI/aiapps/MCPConfigFileWriter.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using Run = CliTest::CommandResult;

Run vellmora(std::vector<std::string> args, const std::string& input = "") {
    return CliTest::runVellmora(std::move(args), input);
}

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// A temporary home with a helper executable; HOME, XDG_* and the helper path point into it.
class McpCommands : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vellmora-mcp-cli-XXXXXX";
        home = ::mkdtemp(pattern);
        helper = home / "opt/vellmora-mcp";
        fs::create_directories(helper.parent_path());
        std::ofstream(helper) << "#!/bin/sh\n";
        fs::permissions(helper, fs::perms::owner_all);
        fs::create_directories(home / "share/applications");
        std::ofstream(home / "share/applications/cursor.desktop") << "[Desktop Entry]\nName=Cursor\n";
        for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "VELLMORA_MCP_HELPER", "PATH"}) {
            if (const char* v = std::getenv(name)) {
                saved[name] = v;
            }
        }
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home / "share").c_str(), 1);
        ::setenv("XDG_DATA_DIRS", (home / "none").c_str(), 1);
        ::setenv("VELLMORA_MCP_HELPER", helper.c_str(), 1);
    }
    void TearDown() override {
        for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS", "VELLMORA_MCP_HELPER", "PATH"}) {
            if (saved.count(name)) {
                ::setenv(name, saved[name].c_str(), 1);
            } else {
                ::unsetenv(name);
            }
        }
        fs::remove_all(home);
    }
    fs::path home, helper;
    std::map<std::string, std::string> saved;
};

} // namespace

TEST_F(McpCommands, ListShowsEveryAppWithItsStatus) {
    auto run = vellmora({"mcp", "list"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("cursor          Cursor                not connected\n"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("raycast         Raycast               not installed\n"), std::string::npos)
        << run.out;

    auto json = nlohmann::json::parse(vellmora({"mcp", "list", "--json"}).out);
    ASSERT_EQ(json.size(), 7u);
    EXPECT_EQ(json[3], (nlohmann::json{{"id", "cursor"}, {"name", "Cursor"}, {"status", "not connected"}}));
}

TEST_F(McpCommands, ConnectAsksFirstAndDisconnectTakesTheEntryOut) {
    auto declined = vellmora({"mcp", "connect", "cursor"}, "n\n");
    EXPECT_EQ(declined.status, 1);
    EXPECT_NE(declined.out.find("Connect Cursor\nVellmora will add itself to ~/.cursor/mcp.json"),
              std::string::npos)
        << declined.out;
    EXPECT_FALSE(fs::exists(home / ".cursor/mcp.json"));

    auto accepted = vellmora({"mcp", "connect", "Cursor"}, "y\n");
    EXPECT_EQ(accepted.status, 0) << accepted.err;
    EXPECT_TRUE(accepted.out.ends_with("Connected. Restart Cursor to use Vellmora.\n")) << accepted.out;
    EXPECT_EQ(nlohmann::json::parse(slurp(home / ".cursor/mcp.json"))["mcpServers"]["vellmora"]["command"],
              helper.string());
    EXPECT_NE(vellmora({"mcp", "list"}).out.find("Cursor                connected"), std::string::npos);

    auto removed = vellmora({"mcp", "disconnect", "cursor", "--yes"});
    EXPECT_TRUE(
        removed.out.ends_with("Removed Vellmora from Cursor's settings. Your original file is saved as "
                              "mcp.json.vellmora-backup in ~/.cursor.\n"))
        << removed.out; // the file was new when connecting, so its first backup is made now
}

TEST_F(McpCommands, RefusalsAndUnknownAppsAreClearErrors) {
    fs::create_directories(home / ".cursor");
    std::ofstream(home / ".cursor/mcp.json") << "{ // mine\n}";
    auto refused = vellmora({"mcp", "connect", "cursor", "--yes"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("The file isn't plain JSON (it may have comments)"), std::string::npos)
        << refused.err;

    EXPECT_EQ(vellmora({"mcp", "connect", "notepad"}).status, 2);
    auto paste = vellmora({"mcp", "connect", "warp"});
    EXPECT_EQ(paste.status, 2);
    EXPECT_NE(paste.err.find("vellmora mcp setup warp"), std::string::npos);

    ::setenv("VELLMORA_MCP_HELPER", "/nonexistent/vellmora-mcp", 1);
    auto unmovable = vellmora({"mcp", "connect", "cursor", "--yes"});
    EXPECT_EQ(unmovable.status, 1);
    EXPECT_EQ(unmovable.err, "vellmora: Move Vellmora to Applications first, then connect.\n");
}

TEST_F(McpCommands, SetupPrintsTheSnippetOrTheCommandLine) {
    auto warp = vellmora({"mcp", "setup", "warp"});
    EXPECT_EQ(warp.out, "{\n  \"mcpServers\": {\n    \"vellmora\": {\n      \"command\": \"" +
                            helper.string() + "\"\n    }\n  }\n}\n");
    EXPECT_EQ(warp.err, "In Warp, add an MCP server and paste the setup.\n");
    EXPECT_EQ(vellmora({"mcp", "setup", "claudeCode"}).out,
              "claude mcp add --scope user vellmora -- " + helper.string() + "\n");
}

TEST_F(McpCommands, EditWorksOnAnyFileAndSaysWhatItDid) {
    auto file = home / "custom.json";
    std::ofstream(file) << "{\"servers\": {\"x\": {\"command\": \"y\"}}, \"n\": 1.10}";
    auto base = std::vector<std::string>{"mcp", "edit", file.string(), "--root-key", "servers"};
    auto with = [&](std::vector<std::string> extra) {
        auto args = base;
        args.insert(args.end(), extra.begin(), extra.end());
        return vellmora(args);
    };
    auto first = with({"--add", "--command", "/opt/v/vellmora-mcp", "--style", "stdio"});
    EXPECT_EQ(first.out, "written, backup at " + UI::MCPConfigFileWriter::backupPath(file).string() + "\n");
    EXPECT_NE(slurp(file).find("\"type\": \"stdio\""), std::string::npos);
    EXPECT_NE(slurp(file).find("1.10"), std::string::npos);
    EXPECT_EQ(with({"--add", "--command", "/opt/v/vellmora-mcp", "--style", "stdio"}).out, "unchanged\n");
    EXPECT_EQ(with({"--add", "--command", "/opt/w/vellmora-mcp"}).out, "written\n");
    EXPECT_EQ(with({"--remove"}).out, "written\n");
    EXPECT_EQ(with({"--remove"}).out, "unchanged\n");

    EXPECT_EQ(with({"--add"}).status, 2);
    EXPECT_EQ(with({"--add", "--remove", "--command", "x"}).status, 2);
    EXPECT_EQ(with({"--add", "--command", "x", "--style", "json"}).status, 2);

    std::ofstream(file, std::ios::trunc) << "[1]";
    auto refused = with({"--remove"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err,
              "The \"top level\" in the file isn't what Vellmora expects, so Vellmora left it alone. Add "
              "Vellmora to it by hand.\n");
    EXPECT_EQ(slurp(file), "[1]");
}
