#include "UI/calendar/MeetingJoiner.h"

#include "Fakes/FakeWorkspace.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <gtest/gtest.h>

using UI::MeetingJoiner;
using UI::MeetingLinkExtractor;

namespace {

Fakes::FakeWorkspace workspaceWith(std::set<std::string> apps, std::map<std::string, std::string> handlers) {
    Fakes::FakeWorkspace w;
    w.installedApps = std::move(apps);
    w.handlers = std::move(handlers);
    w.handlers.emplace("https", "org.mozilla.firefox");
    return w;
}

const auto zoom = *MeetingLinkExtractor::classify("https://zoom.us/j/1234567890");
const auto teams = *MeetingLinkExtractor::classify("https://teams.microsoft.com/meet/123");
const auto meet = *MeetingLinkExtractor::classify("https://meet.google.com/abc-defg-hij");

} // namespace

TEST(MeetingJoiner, OpensZoomInItsAppWhenTheAppTakesTheLink) {
    auto w = workspaceWith({"us.zoom.xos"}, {{"zoommtg", "us.zoom.xos"}});
    auto t = MeetingJoiner(w).target(zoom);
    EXPECT_EQ(t.openedURL, *zoom.nativeURL);
    EXPECT_EQ(t.detectorAppID, "zoom");
    EXPECT_EQ(t.bundleID, "us.zoom.xos");
    EXPECT_TRUE(t.usesNativeApp);
}

TEST(MeetingJoiner, OpensZoomInTheBrowserWhenTheAppDoesNotTakeTheLink) {
    auto installedButNotHandler = workspaceWith({"us.zoom.xos"}, {{"zoommtg", "com.other.app"}});
    auto t = MeetingJoiner(installedButNotHandler).target(zoom);
    EXPECT_EQ(t.openedURL, zoom.webURL);
    EXPECT_EQ(t.detectorAppID, "zoom");
    EXPECT_EQ(t.bundleID, "us.zoom.xos");
    EXPECT_FALSE(t.usesNativeApp);

    auto notInstalled = workspaceWith({}, {{"zoommtg", "us.zoom.xos"}});
    t = MeetingJoiner(notInstalled).target(zoom);
    EXPECT_EQ(t.detectorAppID, "meet");
    EXPECT_EQ(t.bundleID, "org.mozilla.firefox");

    auto personal = *MeetingLinkExtractor::classify("https://zoom.us/my/jane");
    auto w = workspaceWith({"us.zoom.xos"}, {{"zoommtg", "us.zoom.xos"}});
    EXPECT_FALSE(MeetingJoiner(w).target(personal).usesNativeApp);
}

TEST(MeetingJoiner, OpensTeamsInItsAppOnlyWhenInstalledAndTheHandler) {
    auto w = workspaceWith({"com.microsoft.teams2"}, {{"msteams", "com.microsoft.teams2"}});
    auto t = MeetingJoiner(w).target(teams);
    EXPECT_TRUE(t.usesNativeApp);
    EXPECT_EQ(t.detectorAppID, "teams");
    EXPECT_EQ(t.openedURL.string(), "msteams:/meet/123");

    auto browserOnly = workspaceWith({}, {{"msteams", "com.microsoft.teams2"}});
    t = MeetingJoiner(browserOnly).target(teams);
    EXPECT_FALSE(t.usesNativeApp);
    EXPECT_EQ(t.detectorAppID, "meet");
    EXPECT_EQ(t.bundleID, "org.mozilla.firefox");
}

TEST(MeetingJoiner, AlwaysOpensMeetInTheBrowser) {
    auto w = workspaceWith({"us.zoom.xos", "com.microsoft.teams2"}, {});
    auto t = MeetingJoiner(w).target(meet);
    EXPECT_EQ(t.openedURL, meet.webURL);
    EXPECT_EQ(t.detectorAppID, "meet");
    EXPECT_EQ(t.bundleID, "org.mozilla.firefox");
    EXPECT_FALSE(t.usesNativeApp);

    Fakes::FakeWorkspace noBrowser;
    EXPECT_FALSE(MeetingJoiner(noBrowser).target(meet).bundleID);
}
