#include "Platform/Linux/LinuxWorkspace.h"

#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;
using Platform::LinuxWorkspace;

namespace {

struct LinuxWorkspaceTest : ::testing::Test {
    fs::path root;
    std::map<std::string, std::optional<std::string>> saved;

    LinuxWorkspaceTest() {
        char pattern[] = "/tmp/vellmora-ws-XXXXXX";
        root = ::mkdtemp(pattern);
        setEnv("XDG_DATA_HOME", (root / "data").string());
        setEnv("XDG_DATA_DIRS", (root / "system").string());
        setEnv("XDG_CONFIG_HOME", (root / "config").string());
        setEnv("XDG_CONFIG_DIRS", (root / "etc").string());
        setEnv("XDG_CURRENT_DESKTOP", "TEST");
        setEnv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (root / "no-bus").string());
        setEnv("PATH", (root / "bin").string() + ":/usr/bin:/bin");
    }
    ~LinuxWorkspaceTest() override {
        for (const auto& [name, value] : saved) {
            if (value) {
                ::setenv(name.c_str(), value->c_str(), 1);
            } else {
                ::unsetenv(name.c_str());
            }
        }
        std::error_code ec;
        fs::remove_all(root, ec);
    }
    void setEnv(const std::string& name, const std::string& value) {
        if (!saved.count(name)) {
            const char* old = std::getenv(name.c_str());
            saved[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    void write(const fs::path& relative, const std::string& text) {
        fs::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << text;
    }
    static std::string entry(const std::string& name, const std::string& mime,
                             const std::string& extra = "") {
        return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + name +
               " %u\nMimeType=" + mime + ";\n" + extra;
    }
};

Support::Url url(const char* text) {
    return *Support::Url::parse(text);
}

} // namespace

TEST_F(LinuxWorkspaceTest, FindsAppsByBundleIdentifierInUserSystemAndFlatpakFolders) {
    write("data/flatpak/exports/share/applications/us.zoom.Zoom.desktop",
          entry("zoom", "x-scheme-handler/zoommtg"));
    write("system/applications/org.mozilla.firefox.desktop", entry("firefox", "x-scheme-handler/https"));
    write("system/applications/slack.desktop", entry("slack", "x-scheme-handler/slack"));
    write("data/applications/slack.desktop", entry("slack", "", "Hidden=true\n"));
    LinuxWorkspace workspace;
    EXPECT_TRUE(workspace.isAppInstalled("us.zoom.xos"));
    EXPECT_TRUE(workspace.isAppInstalled("org.mozilla.firefox"));
    EXPECT_FALSE(workspace.isAppInstalled("com.microsoft.teams2"));
    EXPECT_FALSE(workspace.isAppInstalled("com.tinyspeck.slackmacgap")); // hidden by the user
    EXPECT_FALSE(workspace.isAppInstalled("com.apple.FaceTime"));
}

TEST_F(LinuxWorkspaceTest, AnswersTheDefaultHandlerOfALinkAsABundleIdentifier) {
    write("data/applications/Zoom.desktop", entry("zoom", "x-scheme-handler/zoommtg"));
    write("data/applications/teams-for-linux.desktop", entry("teams", "x-scheme-handler/msteams"));
    write("system/applications/firefox.desktop", entry("firefox", "x-scheme-handler/https"));
    write("system/applications/chromium.desktop", entry("chromium", "x-scheme-handler/https"));
    write("config/test-mimeapps.list",
          "[Default Applications]\nx-scheme-handler/https=missing.desktop;chromium.desktop\n");
    write("config/mimeapps.list", "[Default Applications]\nx-scheme-handler/https=firefox.desktop\n"
                                  "x-scheme-handler/zoommtg=Zoom.desktop\n");
    write("system/applications/mimeinfo.cache",
          "[MIME Cache]\nx-scheme-handler/msteams=teams-for-linux.desktop;\n");
    LinuxWorkspace workspace;
    EXPECT_EQ(workspace.appForURL(url("zoommtg://zoom.us/join?confno=1")), "us.zoom.xos");
    EXPECT_EQ(workspace.appForURL(url("msteams:/l/meetup-join/x")), "com.microsoft.teams2");
    EXPECT_EQ(workspace.appForURL(url("https://meet.google.com/abc-defg-hij")),
              "chromium"); // desktop list first
    EXPECT_FALSE(workspace.appForURL(url("webex://x")));
}

TEST_F(LinuxWorkspaceTest, OpensLinksWithXdgOpenWhenNoPortalAnswers) {
    write("bin/xdg-open", "#!/bin/sh\necho \"$@\" >> \"" + (root / "opened.txt").string() + "\"\n");
    fs::permissions(root / "bin/xdg-open", fs::perms::owner_all);
    Support::MainLoop loop;
    LinuxWorkspace workspace;
    auto task = workspace.open(url("https://zoom.us/j/1234567890"));
    for (int i = 0; i < 1000 && !task.isDone(); ++i) {
        loop.runOne(10);
    }
    ASSERT_TRUE(task.isDone());
    EXPECT_TRUE(task.get());
    std::ifstream opened(root / "opened.txt");
    std::string line;
    std::getline(opened, line);
    EXPECT_EQ(line, "https://zoom.us/j/1234567890");
}
