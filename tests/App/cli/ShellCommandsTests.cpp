// httplib.h must come before anything that pulls in X11 headers.
#include "App/CommandLineRun.h"
#include "Fakes/LoopbackServer.h"

#include "App/Cli.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <sstream>
#include <thread>

namespace {

using Result = CliTest::CommandResult;

class ShellCommandsTest : public testing::Test {
protected:
    std::filesystem::path config;

    void SetUp() override {
        config = std::filesystem::temp_directory_path() /
                 ("vellmora-shell-cli-" + std::to_string(::getpid()) + "-" +
                  testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(config);
        std::filesystem::create_directories(config);
    }
    void TearDown() override { std::filesystem::remove_all(config); }

    Result run(std::vector<std::string> args, const std::string& input = "") {
        args.insert(args.begin(), {"--config-dir", config.string()});
        return CliTest::runVellmora(std::move(args), input);
    }
};

TEST_F(ShellCommandsTest, ComparesVersions) {
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string out;
    };
    const Case cases[] = {
        {{"version", "compare", "1.10", "1.9"}, 0, ">\n"},
        {{"version", "compare", "1.2", "1.2.0"}, 0, "=\n"},
        {{"version", "compare", "1.2", "1.2.1"}, 0, "<\n"},
        {{"version", "compare", "1.2b", "1.2"}, 2, ""},
        {{"version", "is-newer", "1.10", "1.9"}, 0, "true\n"},
        {{"version", "is-newer", "1.2.0", "1.2"}, 0, "false\n"},
        {{"version", "is-newer", "2.0 beta", "1.0"}, 0, "false\n"},
    };
    for (const auto& c : cases) {
        auto r = run(c.args);
        EXPECT_EQ(r.status, c.status) << c.args[1] << " " << c.args[2] << " " << r.err;
        EXPECT_EQ(r.out, c.out);
    }
    EXPECT_NE(run({"version", "compare", "x", "1"}).err.find("\"x\" is not a version"), std::string::npos);
}

TEST_F(ShellCommandsTest, RedactsStandardInput) {
    auto r = run({"redact"}, "log at /Users/jane/Library/x\nand /home/bob/.config\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "log at /Users/<redacted>/Library/x\nand /home/<redacted>/.config\n");
}

TEST_F(ShellCommandsTest, ShowsSetsAndResetsTheShortcuts) {
    auto shown = run({"hotkeys", "show"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("Notes:       ⌥⌘N"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("Live recap:  ⌥⌘R"), std::string::npos);

    EXPECT_EQ(run({"hotkeys", "set", "notes", "ctrl+shift+k"}).out, "Notes shortcut set to ⌃⇧K\n");
    EXPECT_EQ(run({"hotkeys", "set", "live-recap", "⌃⌥L"}).out, "Live recap shortcut set to ⌃⌥L\n");
    auto json = run({"hotkeys", "show", "--json"});
    EXPECT_NE(json.out.find("\"display\": \"⌃⇧K\""), std::string::npos) << json.out;
    EXPECT_NE(json.out.find("\"display\": \"⌃⌥L\""), std::string::npos) << json.out;

    auto invalid = run({"hotkeys", "set", "notes", "shift+n"});
    EXPECT_EQ(invalid.status, 2);
    EXPECT_NE(invalid.err.find("⇧N cannot be a shortcut"), std::string::npos) << invalid.err;
    EXPECT_EQ(run({"hotkeys", "set", "notes", "hyper+n"}).status, 2);
    EXPECT_EQ(run({"hotkeys", "set", "calendar", "cmd+n"}).status, 2);

    EXPECT_EQ(run({"hotkeys", "reset", "notes"}).out, "Notes shortcut reset to ⌥⌘N\n");
    EXPECT_NE(run({"hotkeys", "show"}).out.find("Live recap:  ⌃⌥L"), std::string::npos) << "the other stays";
}

TEST_F(ShellCommandsTest, PrintsTheIdleMenu) {
    auto r = run({"menu", "--width", "40"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Icon: [waveform.circle, template]\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Ready\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Start Recording                       ⌘R\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Quit Vellmora                         ⌘Q\n"), std::string::npos);
    EXPECT_NE(r.out.find("Check for Updates..."), std::string::npos) << r.out;
}

class UpdateCheckCommandTest : public ShellCommandsTest {
protected:
    std::mutex mutex;
    std::string lastQuery_;         // written on the server's thread
    Fakes::LoopbackServer loopback; // last: it stops before the query its handler writes goes

    void startServer(int status, std::string body) {
        loopback.server.Get(
            "/lookup", [this, status, body](const httplib::Request& req, httplib::Response& res) {
                std::lock_guard lock(mutex);
                lastQuery_ = "id=" + req.get_param_value("id") + "&entity=" + req.get_param_value("entity") +
                             "&country=" + req.get_param_value("country");
                res.status = status;
                res.set_content(body, "application/json");
            });
        loopback.start();
    }
    std::string endpoint() const { return loopback.url("/lookup"); }
    std::string lastQuery() {
        std::lock_guard lock(mutex);
        return lastQuery_;
    }
};

TEST_F(UpdateCheckCommandTest, SaysWhenANewerReleaseIsAvailable) {
    startServer(
        200,
        R"({"resultCount":1,"results":[{"version":"9.1","currentVersionReleaseDate":"2026-11-01T10:00:00Z",
        "trackViewUrl":"https://store.example/app","releaseNotes":"Faster menus."}]})");
    auto r = run({"update", "check", "--endpoint", endpoint(), "--store-id", "555", "--country", "gb",
                  "--installed", "1.0"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Latest release: 9.1 (released 2026-11-01T10:00:00Z)\n"
                     "An update is available: Vellmora 9.1 (you have 1.0).\n"
                     "Get it at https://store.example/app\n\nFaster menus.\n");
    EXPECT_EQ(lastQuery(), "id=555&entity=macSoftware&country=gb");
}

TEST_F(UpdateCheckCommandTest, SaysWhenUpToDateAndFailsOnABadAnswer) {
    startServer(200, R"({"resultCount":1,"results":[{"version":"1.0"}]})");
    auto upToDate = run({"update", "check", "--endpoint", endpoint(), "--installed", "1.0.0"});
    EXPECT_EQ(upToDate.out,
              "Latest release: 1.0\nYou're up to date. Vellmora 1.0.0 is the latest version.\n");

    auto refused = run({"update", "check", "--endpoint", "http://127.0.0.1:1/lookup"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("The update check failed: Could not connect"), std::string::npos)
        << refused.err;
}

} // namespace
