#include "Support/Files.h"
#include "Support/TemporaryFileBeside.h"

#include "Fakes/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>

namespace fs = std::filesystem;
using namespace Support::Files;

namespace {

std::size_t entryCount(const fs::path& folder) {
    std::size_t n = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder)) {
        ++n;
    }
    return n;
}

mode_t modeOf(const fs::path& path) {
    struct stat st {};
    ::stat(path.c_str(), &st);
    return st.st_mode & 07777;
}

class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_ = old;
        }
        if (value) {
            ::setenv(name, value, 1);
        } else {
            ::unsetenv(name);
        }
    }
    ~ScopedEnv() {
        if (old_) {
            ::setenv(name_, old_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

} // namespace

TEST(Files, WritesANewFileCreatingItsFolders) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "a" / "b" / "settings.json";
    writeAtomically(file, "{}\n");
    EXPECT_EQ(readIfExists(file), "{}\n");
    EXPECT_EQ(modeOf(file), 0644u);
    EXPECT_EQ(entryCount(file.parent_path()), 1u); // no temporary file left
}

TEST(Files, ReplacesKeepingTheOldModeUnlessOneIsGiven) {
    Fakes::TempFolder tmp;
    fs::path file = tmp.path / "key";
    writeAtomically(file, "one", 0600);
    EXPECT_EQ(modeOf(file), 0600u);
    writeAtomically(file, "two, longer than one");
    EXPECT_EQ(readIfExists(file), "two, longer than one");
    EXPECT_EQ(modeOf(file), 0600u);
    writeAtomically(file, "", 0640);
    EXPECT_EQ(readIfExists(file), "");
    EXPECT_EQ(modeOf(file), 0640u);
}

TEST(Files, WritesThroughASymbolicLinkAndKeepsTheLink) {
    Fakes::TempFolder tmp;
    fs::create_directories(tmp.path / "real");
    fs::path real = tmp.path / "real" / "config.json";
    writeAtomically(real, "old");
    fs::path link = tmp.path / "config.json";
    fs::create_symlink("real/config.json", link);
    writeAtomically(link, "new");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readIfExists(real), "new");
    EXPECT_EQ(entryCount(tmp.path / "real"), 1u);
    EXPECT_EQ(entryCount(tmp.path), 2u);
}

TEST(Files, FailsWithThePathAndLeavesNothingBehind) {
    Fakes::TempFolder tmp;
    fs::path blocker = tmp.path / "not-a-folder";
    writeAtomically(blocker, "x");
    fs::path file = blocker / "file.json";
    try {
        writeAtomically(file, "data");
        FAIL() << "expected an error";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find(file.string()), std::string::npos) << e.what();
    }
    // Replacing a folder with a file fails at the rename: the temporary file must be gone afterwards.
    fs::create_directories(tmp.path / "folder" / "inside");
    EXPECT_THROW(writeAtomically(tmp.path / "folder", "data"), std::system_error);
    EXPECT_EQ(entryCount(tmp.path), 2u);
    EXPECT_EQ(readIfExists(blocker), "x");
    EXPECT_EQ(readIfExists(file), std::nullopt); // under a file, so it cannot exist
}

TEST(Files, ATemporaryFileBesideItsTargetIsNewHiddenAndMarked) {
    Fakes::TempFolder tmp;
    auto target = tmp / "settings.json";
    auto first = createTemporaryBeside(target, ".vellmora-tmp-");
    auto second = createTemporaryBeside(target, ".vellmora-tmp-");
    EXPECT_TRUE(first.descriptor && second.descriptor);
    EXPECT_NE(first.path, second.path);
    EXPECT_EQ(first.path.parent_path(), tmp.path);
    EXPECT_EQ(first.path.filename().string().rfind(".settings.json.vellmora-tmp-", 0), 0u) << first.path;
    EXPECT_EQ(fs::file_size(first.path), 0u);
    EXPECT_FALSE(fs::exists(target));
    try {
        createTemporaryBeside(tmp / "missing" / "settings.json");
        ADD_FAILURE() << "created a file in a folder that does not exist";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find("settings.json"), std::string::npos) << e.what();
    }
}

TEST(Files, ReadsNothingForAMissingFileAndThrowsForAnUnreadableOne) {
    Fakes::TempFolder tmp;
    EXPECT_EQ(readIfExists(tmp.path / "missing"), std::nullopt);
    EXPECT_THROW(readIfExists(tmp.path), std::system_error); // a folder cannot be read as a file
    std::string binary("a\0b\xFF", 4);
    writeAtomically(tmp.path / "bin", binary);
    EXPECT_EQ(readIfExists(tmp.path / "bin"), binary);
}

TEST(Files, ResolvesPerUserFoldersFromTheEnvironment) {
    struct Case {
        fs::path (*folder)();
        const char* own;
        const char* xdg;
        const char* fallback;
    } cases[] = {
        {configHome, "VELLMORA_CONFIG_HOME", "XDG_CONFIG_HOME", "/home/u/.config/vellmora"},
        {dataHome, "VELLMORA_DATA_HOME", "XDG_DATA_HOME", "/home/u/.local/share/vellmora"},
        {cacheHome, "VELLMORA_CACHE_HOME", "XDG_CACHE_HOME", "/home/u/.cache/vellmora"},
        {stateHome, "VELLMORA_STATE_HOME", "XDG_STATE_HOME", "/home/u/.local/state/vellmora"},
    };
    ScopedEnv home("HOME", "/home/u");
    for (const auto& c : cases) {
        {
            ScopedEnv own(c.own, "/own");
            ScopedEnv xdg(c.xdg, "/xdg");
            EXPECT_EQ(c.folder(), fs::path("/own")) << c.own;
        }
        {
            ScopedEnv own(c.own, nullptr);
            ScopedEnv xdg(c.xdg, "/xdg");
            EXPECT_EQ(c.folder(), fs::path("/xdg/vellmora")) << c.xdg;
        }
        {
            ScopedEnv own(c.own, "");
            ScopedEnv xdg(c.xdg, "relative/ignored");
            EXPECT_EQ(c.folder(), fs::path(c.fallback)) << c.own;
        }
    }
    EXPECT_EQ(homeFolder(), fs::path("/home/u"));
}

TEST(Files, KeepsRuntimeDataInTheSessionFolderElseInAPrivateTempFolder) {
    Fakes::TempFolder temp;
    ScopedEnv tmpdir("TMPDIR", temp.path.c_str());
    {
        ScopedEnv runtime("XDG_RUNTIME_DIR", "/run/user/1000");
        EXPECT_EQ(runtimeFolder(), fs::path("/run/user/1000"));
    }
    ScopedEnv runtime("XDG_RUNTIME_DIR", nullptr);
    auto expected = temp.path / ("vellmora-" + std::to_string(::getuid()));
    EXPECT_EQ(runtimeFolder(), expected);
    EXPECT_EQ(modeOf(expected), 0700u);
    EXPECT_EQ(runtimeFolder(), expected) << "a second call reuses the folder";
}

TEST(Files, RefusesARuntimeFolderSomeoneElsePlantedInTheTempFolder) {
    Fakes::TempFolder temp;
    ScopedEnv tmpdir("TMPDIR", temp.path.c_str());
    ScopedEnv runtime("XDG_RUNTIME_DIR", nullptr);
    auto planted = temp.path / ("vellmora-" + std::to_string(::getuid()));
    fs::create_directory(temp.path / "elsewhere");
    fs::create_directory_symlink(temp.path / "elsewhere", planted);
    EXPECT_THROW(runtimeFolder(), std::system_error);
}
