#include "App/host/WindowedProgram.h"

#include "Support/RunningProgram.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

namespace {

namespace fs = std::filesystem;

} // namespace

TEST(WindowedProgram, IsLookedForBesideTheProgramThenInItsPrefixesLibexecFolder) {
    struct Case {
        const char* name;
        fs::path self;
        std::set<fs::path> executables;
        std::optional<fs::path> expected;
    } cases[] = {
        {"installed under /usr",
         "/usr/bin/vellmora",
         {"/usr/libexec/vellmora/vellmora-windows"},
         fs::path("/usr/libexec/vellmora/vellmora-windows")},
        {"installed under /opt",
         "/opt/vellmora/bin/vellmora",
         {"/opt/vellmora/libexec/vellmora/vellmora-windows"},
         fs::path("/opt/vellmora/libexec/vellmora/vellmora-windows")},
        {"a build folder has both programs side by side",
         "/src/build/App/vellmora",
         {"/src/build/App/vellmora-windows", "/src/build/libexec/vellmora/vellmora-windows"},
         fs::path("/src/build/App/vellmora-windows")},
        {"built without Qt: nowhere",
         "/usr/bin/vellmora",
         {"/usr/libexec/vellmora/vellmora-mcp"},
         std::nullopt},
        {"another program's folder is not looked at",
         "/usr/bin/vellmora",
         {"/usr/local/libexec/vellmora/vellmora-windows"},
         std::nullopt},
    };
    for (const auto& c : cases) {
        auto found =
            App::WindowedProgram::find(c.self, [&](const fs::path& p) { return c.executables.count(p) > 0; });
        EXPECT_EQ(found, c.expected) << c.name;
    }
}

TEST(WindowedProgram, AHandOverThatCannotStartSaysWhyAndLeavesTheEnvironmentAsItWas) {
    ::unsetenv(Support::runningProgramVariable);
    auto why = App::WindowedProgram::handOver("/nonexistent/vellmora-windows", {"vellmora", "run", "--demo"});
    EXPECT_NE(why.find("/nonexistent/vellmora-windows"), std::string::npos) << why;
    EXPECT_NE(why.find("No such file"), std::string::npos) << why;
    EXPECT_EQ(std::getenv(Support::runningProgramVariable), nullptr)
        << "a failed hand-over must not leave its variable for the programs this one starts";
}

TEST(WindowedProgram, WithoutTheWindowedProgramTheUserIsToldItIsNotInstalled) {
    // The test program's folder has no vellmora-windows beside it.
    auto line = App::WindowedProgram::handOverOrExplain({"vellmora", "screenshots", "/tmp/x"});
    EXPECT_NE(line.find("the desktop windows are not installed (no vellmora-windows beside"),
              std::string::npos)
        << line;
}
