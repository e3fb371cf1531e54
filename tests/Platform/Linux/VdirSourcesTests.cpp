#include "Platform/Linux/VdirSources.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using Platform::VdirSources;

namespace {

struct Sources : ::testing::Test {
    fs::path root;
    Sources() {
        char pattern[] = "/tmp/vellmora-vdir-XXXXXX";
        root = ::mkdtemp(pattern);
    }
    ~Sources() override {
        std::error_code ec;
        fs::remove_all(root, ec);
    }
    void write(const fs::path& relative, const std::string& content = "") const {
        fs::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << content;
    }
    static std::pair<fs::path, std::string> copy(const std::string& url) {
        return {"/cache/" + std::to_string(url.size()) + ".ics", "not downloaded yet"};
    }
};

} // namespace

TEST_F(Sources, ListsAnAccountFolderAsOneCalendarPerSubfolderAndFilesAndSubscriptionsAsOneEach) {
    write("account/work/displayname", "Work\n");
    write("account/work/color", "#1a2b3cff");
    write("account/work/b.ics");
    write("account/work/a.ics");
    write("account/home/x.ics");
    write("account/.hidden/y.ics");
    write("team.ics");
    auto calendars = VdirSources::calendars(
        {(root / "account").string(), (root / "team.ics").string(), "webcal://Example.com/h.ics", ""}, copy);
    ASSERT_EQ(calendars.size(), 4u);
    const auto& home = calendars[0];
    const auto& work = calendars[1];
    EXPECT_EQ(home.descriptor.sourceType, Platform::CalendarSourceType::local);
    EXPECT_EQ(work.descriptor.title, "Work");
    EXPECT_EQ(work.descriptor.colorHex, "#1A2B3C");
    EXPECT_EQ(work.descriptor.sourceType, Platform::CalendarSourceType::calDAV);
    EXPECT_EQ(work.descriptor.sourceTitle, "account");
    EXPECT_EQ(work.files, (std::vector<fs::path>{root / "account/work/a.ics", root / "account/work/b.ics"}));
    EXPECT_TRUE(work.isFolder);
    EXPECT_EQ(calendars[2].descriptor.id, (root / "team.ics").string());
    EXPECT_EQ(calendars[2].descriptor.title, "team");
    EXPECT_FALSE(calendars[2].isFolder);
    EXPECT_EQ(calendars[3].descriptor.id, "webcal://Example.com/h.ics");
    EXPECT_EQ(calendars[3].descriptor.title, "example.com");
    EXPECT_EQ(calendars[3].files, std::vector<fs::path>{"/cache/26.ics"});
    EXPECT_EQ(calendars[3].missingProblem, "not downloaded yet");
}

TEST_F(Sources, WatchesSourceFoldersTheirSubfoldersAndTheFoldersOfSingleFiles) {
    write("cal/sub/a.ics");
    write("other/team.ics");
    auto plan = VdirSources::watchPlan(
        {(root / "cal").string(), (root / "other/team.ics").string(), "https://example.com/x.ics"});
    EXPECT_EQ(plan.folders, (std::vector<fs::path>{root / "cal", root / "cal/sub", root / "other"}));
    EXPECT_EQ(plan.singleFiles[root / "other"], std::set<std::string>{"team.ics"});
}

TEST(VdirSourcesColors, KeepsOnlyColoursThatReadAsHex) {
    EXPECT_EQ(VdirSources::normalisedColor(" #abcdef"), "#ABCDEF");
    EXPECT_EQ(VdirSources::normalisedColor("abcdef80"), "#ABCDEF");
    EXPECT_EQ(VdirSources::normalisedColor("red"), "");
    EXPECT_EQ(VdirSources::normalisedColor("#abc"), "");
}
