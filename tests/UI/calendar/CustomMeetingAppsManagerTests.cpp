#include "UI/calendar/CustomMeetingAppsManager.h"

#include "Support/Log.h"

#include <gtest/gtest.h>

using UI::CustomMeetingAppsManager;

namespace {
const Support::Date addedAt = Support::dateFromUnix(1795770000);
}

TEST(CustomMeetingAppsManager, AddsAnAppOnceAndFollowsIt) {
    Support::InMemoryUserDefaults defaults;
    CustomMeetingAppsManager manager(defaults, [] { return addedAt; });
    int published = 0;
    auto sub = manager.customApps.observe([&](const auto&) { ++published; });

    EXPECT_TRUE(manager.addApp("com.example.Call", "Example Call"));
    EXPECT_FALSE(manager.addApp("com.example.Call", "Again"));
    ASSERT_EQ(manager.customApps.get().size(), 1u);
    EXPECT_EQ(published, 1);
    EXPECT_EQ(manager.customApps.get()[0].displayName, "Example Call");
    EXPECT_EQ(manager.customApps.get()[0].addedDate, addedAt);
    EXPECT_EQ(manager.customApps.get()[0].id.size(), 36u);
    EXPECT_TRUE(manager.isCustomApp("com.example.Call"));
    EXPECT_TRUE(manager.isEnabled("com.example.Call"));
    EXPECT_EQ(defaults.string("enabledMeetingApps"), "zoom,teams,meet,slack,discord,com.example.Call");

    CustomMeetingAppsManager reloaded(defaults);
    EXPECT_EQ(reloaded.customApps.get(), manager.customApps.get());
    EXPECT_EQ(reloaded.getAllBundleIds(), std::vector<std::string>{"com.example.Call"});
}

TEST(CustomMeetingAppsManager, RemovesAnAppAndStopsFollowingIt) {
    Support::InMemoryUserDefaults defaults;
    defaults.setString("enabledMeetingApps", "zoom,,meet");
    CustomMeetingAppsManager manager(defaults);
    manager.addApp("a.b", "A");
    manager.addApp("c.d", "C");
    manager.removeApp(manager.customApps.get()[0].id);
    EXPECT_EQ(manager.getAllBundleIds(), std::vector<std::string>{"c.d"});
    EXPECT_FALSE(manager.isEnabled("a.b"));
    EXPECT_EQ(defaults.string("enabledMeetingApps"), "zoom,meet,c.d");
}

TEST(CustomMeetingAppsManager, TreatsAnUndecodableStoredListAsNone) {
    Support::LogCapture logs;
    Support::InMemoryUserDefaults defaults;
    for (const char* stored : {"not json", "{\"id\":1}", "[{\"id\":\"x\"}]"}) {
        defaults.setString("customMeetingApps", stored);
        CustomMeetingAppsManager manager(defaults);
        EXPECT_TRUE(manager.customApps.get().empty()) << stored;
        EXPECT_EQ(defaults.string("customMeetingApps"), stored);
    }
    EXPECT_EQ(logs.messages("meetingApps").size(), 3u);
}
