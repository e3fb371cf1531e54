#include "UI/aiapps/MCPConfigFileWriter.h"

#include "UI/aiapps/AIAppsTestSupport.h"
#include "UI/aiapps/MCPConfigMerger.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <unistd.h>

using namespace AIAppsTest;
using UI::MCPConfigFileWriter;
using UI::MCPConfigLocation;
using UI::MCPConfigMergeError;
using UI::MCPEntryStyle;
using Result = MCPConfigFileWriter::Result;
using json = nlohmann::json;
namespace fs = std::filesystem;

namespace {

const MCPConfigLocation cursor{".cursor/mcp.json", "mcpServers"};
const std::string helper = "/opt/vellmora/bin/vellmora-mcp";

Result add(const fs::path& file, const std::string& command = helper,
           const MCPConfigFileWriter::Hooks& hooks = {}) {
    return MCPConfigFileWriter::update(file, cursor, MCPEntryStyle::command, command,
                                       MCPConfigFileWriter::Kind::add, hooks);
}
Result removeEntry(const fs::path& file) {
    return MCPConfigFileWriter::update(file, cursor, MCPEntryStyle::command, helper,
                                       MCPConfigFileWriter::Kind::remove);
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(folder)) {
        names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(MCPConfigFileWriter, ABlankFileGetsAFreshDocumentAndNoBackup) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "  \n\n");
    EXPECT_EQ(add(file), Result::written());
    EXPECT_EQ(json::parse(readFile(file)),
              json::parse(R"({"mcpServers": {"vellmora": {"command": ")" + helper + "\"}}}"));
    EXPECT_FALSE(fs::exists(MCPConfigFileWriter::backupPath(file)));
}

TEST(MCPConfigFileWriter, ARefusedFileIsLeftByteForByteAndNothingIsCreatedBesideIt) {
    struct Case {
        const char* text;
        MCPConfigMergeError error;
    };
    const Case cases[] = {
        {"[1, 2]", MCPConfigMergeError::unexpectedShape("top level")},
        {"{\"mcpServers\": \"x\"}", MCPConfigMergeError::unexpectedShape("mcpServers")},
        {"{\n  // my servers\n  \"mcpServers\": {}\n}", MCPConfigMergeError::malformed()},
    };
    for (const auto& c : cases) {
        Fakes::TempFolder home;
        auto file = home / "mcp.json";
        writeFile(file, c.text);
        try {
            add(file);
            ADD_FAILURE() << "accepted " << c.text;
        } catch (const MCPConfigMergeError& e) {
            EXPECT_EQ(e, c.error);
        }
        EXPECT_EQ(readFile(file), c.text);
        EXPECT_EQ(namesIn(home.path), std::vector<std::string>{"mcp.json"});
    }
}

TEST(MCPConfigFileWriter, BacksUpTheOriginalOnceAndNeverRefreshesIt) {
    Fakes::TempFolder home;
    auto file = home / "claude_desktop_config.json";
    const std::string original = "{\"mcpServers\": {\"other\": {\"command\": \"x\"}}, \"n\": 1.10}";
    writeFile(file, original);
    auto backup = MCPConfigFileWriter::backupPath(file);
    EXPECT_EQ(backup.filename(), "claude_desktop_config.json.vellmora-backup");

    EXPECT_EQ(add(file), Result::written(backup));
    EXPECT_EQ(readFile(backup), original);
    EXPECT_EQ(add(file), Result::unchanged());
    EXPECT_EQ(add(file, "/elsewhere/vellmora-mcp"), Result::written());
    EXPECT_EQ(removeEntry(file), Result::written());
    EXPECT_EQ(removeEntry(file), Result::unchanged());
    EXPECT_EQ(readFile(backup), original);

    auto after = json::parse(readFile(file));
    EXPECT_EQ(after, json::parse(R"({"mcpServers": {"other": {"command": "x"}}, "n": 1.10})"));
    EXPECT_NE(readFile(file).find("1.10"), std::string::npos);
}

TEST(MCPConfigFileWriter, AnExistingFileAtTheBackupPathIsNeverOverwritten) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "{}");
    writeFile(MCPConfigFileWriter::backupPath(file), "the user's own file");
    EXPECT_EQ(add(file), Result::written());
    EXPECT_EQ(readFile(MCPConfigFileWriter::backupPath(file)), "the user's own file");
}

TEST(MCPConfigFileWriter, RemovingWhatIsNotThereTouchesNothing) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    EXPECT_EQ(removeEntry(file), Result::unchanged());
    EXPECT_EQ(removeEntry(home / "missing-folder" / "mcp.json"), Result::unchanged());
    writeFile(file, "{\"mcpServers\": {}}");
    EXPECT_EQ(removeEntry(file), Result::unchanged());
    EXPECT_EQ(namesIn(home.path), std::vector<std::string>{"mcp.json"});
}

TEST(MCPConfigFileWriter, CreatesMissingFoldersForANewFile) {
    Fakes::TempFolder home;
    auto file = home / ".gemini" / "config" / "mcp_config.json";
    EXPECT_EQ(add(file), Result::written());
    EXPECT_EQ(UI::MCPConfigMerger::command(readFile(file), "mcpServers"), helper);
    EXPECT_EQ(permissions(file), 0644u);
}

TEST(MCPConfigFileWriter, KeepsThePermissionsOfTheFileAndGivesThemToTheBackup) {
    Fakes::TempFolder home;
    auto file = home / ".claude.json";
    writeFile(file, "{\"secret\": \"token\"}");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    add(file);
    EXPECT_EQ(permissions(file), 0600u);
    EXPECT_EQ(permissions(MCPConfigFileWriter::backupPath(file)), 0600u);
}

TEST(MCPConfigFileWriter, ALinkedSettingsFileStaysALinkAndItsTargetIsRewritten) {
    Fakes::TempFolder home;
    auto dotfiles = home / "dotfiles" / "mcp.json";
    writeFile(dotfiles, "{\"keep\": true}");
    fs::create_directories(home / ".cursor");
    auto link = home / ".cursor" / "mcp.json";
    fs::create_symlink("../dotfiles/mcp.json", link);

    auto result = add(link);
    EXPECT_EQ(result, Result::written(MCPConfigFileWriter::backupPath(home / "dotfiles" / "mcp.json")));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::read_symlink(link), "../dotfiles/mcp.json");
    EXPECT_EQ(UI::MCPConfigMerger::command(readFile(dotfiles), "mcpServers"), helper);
    EXPECT_EQ(namesIn(home / ".cursor"), std::vector<std::string>{"mcp.json"});
}

TEST(MCPConfigFileWriter, MergesAgainWhenTheAppSavesItsFileWhileWeWrite) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "{\"theme\": \"dark\"}");
    MCPConfigFileWriter::Hooks hooks;
    int calls = 0;
    hooks.beforeReplace = [&](int attempt) {
        ++calls;
        if (attempt == 0) {
            writeFile(file, "{\"theme\": \"light\", \"mcpServers\": {\"theirs\": {\"command\": \"t\"}}}");
        }
    };
    EXPECT_EQ(add(file, helper, hooks).kind, Result::Kind::written);
    EXPECT_EQ(calls, 2);
    auto after = json::parse(readFile(file));
    EXPECT_EQ(after["theme"], "light");
    EXPECT_EQ(after["mcpServers"]["theirs"]["command"], "t");
    EXPECT_EQ(after["mcpServers"]["vellmora"]["command"], helper);
}

TEST(MCPConfigFileWriter, NoticesEveryWayTheAppCanSaveWhileWeWork) {
    // The file is read once per edit, so a save after that read must be noticed however it is made,
    // including one that keeps the size and puts the timestamps back; the merge and the backup then use
    // what the app saved.
    using Save = std::function<void(const fs::path& file, const std::string& text)>;
    const std::pair<const char*, Save> saves[] = {
        {"rewritten in place", [](const fs::path& file, const std::string& text) { writeFile(file, text); }},
        {"replaced by a rename",
         [](const fs::path& file, const std::string& text) {
             writeFile(file.string() + ".app-tmp", text);
             fs::rename(file.string() + ".app-tmp", file);
         }},
        {"same size with its times put back",
         [](const fs::path& file, const std::string& text) {
             struct stat before {};
             ASSERT_EQ(::stat(file.c_str(), &before), 0);
             writeFile(file, text);
             const struct timespec times[] = {before.st_atim, before.st_mtim};
             ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
         }},
    };
    const std::string original = "{\"theme\": \"dark1\"}", saved = "{\"theme\": \"dark2\"}";
    for (const auto& [how, save] : saves) {
        for (bool beforeLock : {true, false}) {
            SCOPED_TRACE(std::string(how) + (beforeLock ? ", before the lock" : ", before the rename"));
            Fakes::TempFolder home;
            auto file = home / "mcp.json";
            writeFile(file, original);
            MCPConfigFileWriter::Hooks hooks;
            int saves = 0;
            auto saveOnce = [&, save = save] {
                if (saves++ == 0) {
                    save(file, saved);
                }
            };
            if (beforeLock) {
                hooks.beforeLock = saveOnce;
            } else {
                hooks.beforeReplace = [&](int) { saveOnce(); };
            }
            add(file, helper, hooks);
            auto after = json::parse(readFile(file));
            EXPECT_EQ(after["theme"], "dark2");
            EXPECT_EQ(after["mcpServers"]["vellmora"]["command"], helper);
            EXPECT_EQ(readFile(MCPConfigFileWriter::backupPath(file)), beforeLock ? saved : original);
        }
    }
}

TEST(MCPConfigFileWriter, AFileThatKeepsChangingIsReportedNotOverwritten) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "{}");
    MCPConfigFileWriter::Hooks hooks;
    hooks.beforeReplace = [&](int attempt) { writeFile(file, "{\"n\": " + std::to_string(attempt) + "}"); };
    EXPECT_THROW(add(file, helper, hooks), std::system_error);
    EXPECT_EQ(readFile(file), "{\"n\": 4}");
    for (const auto& name : namesIn(home.path)) {
        EXPECT_EQ(name.find(".vellmora-tmp-"), std::string::npos) << name;
    }
}

TEST(MCPConfigFileWriter, HoldsTheLockBesideTheFileWhileItWrites) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "{}");
    bool lockedByWriter = false;
    MCPConfigFileWriter::Hooks hooks;
    hooks.beforeReplace = [&](int) {
        int fd = ::open(MCPConfigFileWriter::lockPath(file).c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_GE(fd, 0);
        lockedByWriter = ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        ::close(fd);
    };
    add(file, helper, hooks);
    EXPECT_TRUE(lockedByWriter);
    EXPECT_EQ(MCPConfigFileWriter::lockPath(file).filename(), "mcp.json.vellmora-lock");
}

TEST(MCPConfigFileWriter, RemovesTemporaryFilesThatAKilledWriterLeftBehind) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "{}");
    writeFile(home / ".mcp.json.vellmora-tmp-Ab12Cd", "half of a docu");
    writeFile(home / ".other.json.vellmora-tmp-Ab12Cd", "not ours to judge");
    add(file);
    EXPECT_FALSE(fs::exists(home / ".mcp.json.vellmora-tmp-Ab12Cd"));
    EXPECT_TRUE(fs::exists(home / ".other.json.vellmora-tmp-Ab12Cd"));
}

TEST(MCPConfigFileWriter, AFileItCannotReadIsAnErrorNamingThePath) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    writeFile(file, "{}");
    fs::permissions(file, fs::perms::none);
    try {
        add(file);
        ADD_FAILURE() << "read an unreadable file";
    } catch (const std::system_error& e) {
        EXPECT_EQ(e.code(), std::errc::permission_denied);
        EXPECT_NE(std::string(e.what()).find(file.string()), std::string::npos) << e.what();
    }
}

TEST(MCPConfigFileWriter, TheBackupStaysTheOriginalWhateverTheAppDoesToTheFileAfterwards) {
    // The backup is the original file kept under a second name; once the new file has replaced it, saving the
    // settings file in place must not reach the backup.
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    const std::string original = "{\"theme\": \"dark\", \"n\": 1.10}";
    writeFile(file, original);
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const auto backup = MCPConfigFileWriter::backupPath(file);
    ASSERT_EQ(add(file), Result::written(backup));

    struct stat fileInfo {
    }, backupInfo{};
    ASSERT_EQ(::stat(file.c_str(), &fileInfo), 0);
    ASSERT_EQ(::stat(backup.c_str(), &backupInfo), 0);
    EXPECT_NE(fileInfo.st_ino, backupInfo.st_ino);
    EXPECT_EQ(backupInfo.st_nlink, 1u);
    EXPECT_EQ(permissions(backup), 0640u);
    EXPECT_EQ(permissions(file), 0640u);

    writeFile(file, "{\"theme\": \"light\"}"); // the app saves in place
    EXPECT_EQ(readFile(backup), original);
    EXPECT_EQ(add(file), Result::written());
    EXPECT_EQ(readFile(backup), original);
}

TEST(MCPConfigFileWriter, PermissionsTheAppChangesWhileWeWriteAreKept) {
    // A change of mode alone, made after the backup was taken, must still make the writer start again.
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    const std::string original = "{\"secret\": \"token\"}";
    writeFile(file, original);
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                              fs::perms::others_read);
    MCPConfigFileWriter::Hooks hooks;
    int calls = 0;
    hooks.beforeReplace = [&](int attempt) {
        ++calls;
        if (attempt == 0) {
            fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
        }
    };
    EXPECT_EQ(add(file, helper, hooks), Result::written(MCPConfigFileWriter::backupPath(file)));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(permissions(file), 0600u);
    EXPECT_EQ(readFile(MCPConfigFileWriter::backupPath(file)), original);
    EXPECT_EQ(UI::MCPConfigMerger::command(readFile(file), "mcpServers"), helper);
}
