#include "UI/updates/UpdateCheckCoordinator.h"

#include "Fakes/FakeHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

using UI::AppStoreRelease;
using UI::UpdateCheckConfiguration;
using UI::UpdateCheckCoordinator;
using Decision = UpdateCheckCoordinator::OfferDecision;

namespace {

const Support::Date launch = *Support::parseISO8601("2026-11-22T09:00:00Z");
Support::Duration hours(double h) {
    return Support::seconds(h * 3600);
}

std::string lookupAnswer(const std::string& version, Support::Date released) {
    return R"({"resultCount":1,"results":[{"version":")" + version + R"(","currentVersionReleaseDate":")" +
           Support::formatISO8601(released) + R"(","trackViewUrl":"https://store.example/app"}]})";
}

class UpdateCheckCoordinatorTest : public testing::Test {
protected:
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, launch};
    Support::InMemoryUserDefaults defaults;
    Fakes::FakeHttpClient http;
    UI::AppStoreLookupClient lookup{http, {"https://store.example/lookup", "42"}};
    double jitterFraction = 0.5;
    std::unique_ptr<UpdateCheckCoordinator> coordinator;

    void make(const std::string& installed = "1.4.0") {
        coordinator = std::make_unique<UpdateCheckCoordinator>(lookup, scheduler, defaults, installed,
                                                               UpdateCheckConfiguration::standard, "us",
                                                               [this] { return jitterFraction; });
    }
    std::optional<std::string> offeredVersion() const {
        const auto& offered = coordinator->offeredRelease.get();
        return offered ? std::optional(offered->version) : std::nullopt;
    }
};

TEST_F(UpdateCheckCoordinatorTest, ChecksTwentySecondsPlusJitterAfterLaunchAndThenDaily) {
    http.handler = [](const Platform::HttpRequest&) {
        return Fakes::FakeHttpClient::Answer::ok(R"({"resultCount":0,"results":[]})");
    };
    make();
    coordinator->start();
    const auto first = launch + Support::seconds(20) + Support::seconds(1800);
    EXPECT_EQ(coordinator->nextCheckDate(), first);

    scheduler.advanceTo(first - Support::seconds(1));
    EXPECT_TRUE(http.requests.empty());
    scheduler.advance(Support::seconds(1));
    ASSERT_EQ(http.requests.size(), 1u);
    EXPECT_EQ(defaults.date("updateCheck.lastCheckDate"), first);
    EXPECT_EQ(coordinator->nextCheckDate(), first + hours(24) + Support::seconds(1800));

    scheduler.advance(hours(24) + Support::seconds(1800));
    EXPECT_EQ(http.requests.size(), 2u);
    scheduler.advance(hours(24 * 3));
    EXPECT_EQ(http.requests.size(), 4u) << "one check a day";
}

TEST_F(UpdateCheckCoordinatorTest, ARelaunchDoesNotCheckMoreThanDaily) {
    struct Case {
        std::optional<Support::Date> lastCheck;
        Support::Date expected;
    };
    const auto cfg = UpdateCheckConfiguration::standard;
    const Case cases[] = {
        {std::nullopt, launch + Support::seconds(20)},
        {launch - hours(2), launch - hours(2) + hours(24)},
        {launch - hours(30), launch + Support::seconds(20)},
        {launch + hours(48),
         launch + Support::seconds(20)}, // a last check "in the future": the clock went back
    };
    for (const auto& c : cases) {
        EXPECT_EQ(UpdateCheckCoordinator::firstCheckDate(cfg, launch, c.lastCheck, 0.0), c.expected);
    }
    EXPECT_EQ(UpdateCheckCoordinator::firstCheckDate(cfg, launch, std::nullopt, 0.999999),
              launch + Support::seconds(20) + Support::Duration(3'599'996'400));
}

TEST_F(UpdateCheckCoordinatorTest, RetriesAnHourAfterAFailedLookupWithoutRecordingIt) {
    http.enqueue(Fakes::FakeHttpClient::Answer::failure(Platform::HttpTransportError::Kind::cannotConnect));
    jitterFraction = 0;
    make();
    coordinator->start();
    scheduler.advance(Support::seconds(20));
    ASSERT_EQ(http.requests.size(), 1u);
    EXPECT_FALSE(defaults.has("updateCheck.lastCheckDate"));
    EXPECT_EQ(coordinator->nextCheckDate(), launch + Support::seconds(20) + hours(1));
}

TEST_F(UpdateCheckCoordinatorTest, OffersANewerReleaseOnceItIsADayOld) {
    http.enqueue(Fakes::FakeHttpClient::Answer::ok(lookupAnswer("1.5.0", launch - hours(3))));
    jitterFraction = 0;
    make("1.4.0");
    coordinator->start();
    scheduler.advance(Support::seconds(20));
    EXPECT_EQ(offeredVersion(), std::nullopt) << "three hours old: held back";

    scheduler.advanceTo(launch + hours(21) - Support::seconds(1));
    EXPECT_EQ(offeredVersion(), std::nullopt);
    scheduler.advance(Support::seconds(1));
    EXPECT_EQ(offeredVersion(), "1.5.0") << "offered as soon as it is a day old, without another lookup";
    EXPECT_EQ(http.requests.size(), 1u);
}

TEST_F(UpdateCheckCoordinatorTest, DecidesTheOfferFromVersionSkipAgeAndSnooze) {
    const auto cfg = UpdateCheckConfiguration::standard;
    const AppStoreRelease old{.version = "2.0", .releaseDate = launch - hours(48)};
    const AppStoreRelease young{.version = "2.0", .releaseDate = launch - hours(2)};
    const AppStoreRelease undated{.version = "2.0"};
    const AppStoreRelease beta{.version = "2.0 beta"};
    struct Case {
        AppStoreRelease release;
        std::optional<std::string> skipped;
        std::optional<Support::Date> snoozeUntil;
        Decision expected;
    };
    const Case cases[] = {
        {old, std::nullopt, std::nullopt, Decision::offer},
        {undated, std::nullopt, std::nullopt, Decision::offer},
        {{.version = "1.9"}, std::nullopt, std::nullopt, Decision::notNewer},
        {{.version = "1.9.0"}, std::nullopt, std::nullopt, Decision::notNewer},
        {beta, std::nullopt, std::nullopt, Decision::notNewer},
        {old, "2.0", std::nullopt, Decision::skipped},
        {old, "2.0.0", std::nullopt, Decision::skipped},
        {old, "1.9.5", std::nullopt, Decision::offer},
        {young, std::nullopt, std::nullopt, Decision::tooRecent},
        {old, std::nullopt, launch + hours(1), Decision::snoozed},
        {old, std::nullopt, launch - hours(1), Decision::offer},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(
            UpdateCheckCoordinator::offerDecision(c.release, "1.9", c.skipped, c.snoozeUntil, launch, cfg),
            c.expected)
            << c.release.version << " skipped " << c.skipped.value_or("-");
    }
}

TEST_F(UpdateCheckCoordinatorTest, SkippingHidesTheVersionForGoodAndSnoozingForThreeDays) {
    http.handler = [](const Platform::HttpRequest&) {
        return Fakes::FakeHttpClient::Answer::ok(lookupAnswer("1.5.0", launch - hours(48)));
    };
    jitterFraction = 0;
    make();
    coordinator->start();
    scheduler.advance(Support::seconds(20));
    ASSERT_EQ(offeredVersion(), "1.5.0");

    std::vector<std::string> presented;
    auto sub = coordinator->presentRequested.connect(
        [&](const AppStoreRelease& r) { presented.push_back(r.version); });
    coordinator->showAvailableUpdate();
    EXPECT_EQ(presented, std::vector<std::string>{"1.5.0"});

    coordinator->snoozeOffer();
    EXPECT_EQ(offeredVersion(), std::nullopt);
    EXPECT_EQ(defaults.date("updateCheck.snoozeUntil"), launch + Support::seconds(20) + hours(72));
    scheduler.advance(hours(72) - Support::seconds(1));
    EXPECT_EQ(offeredVersion(), std::nullopt) << "the daily checks do not bring it back early";
    scheduler.advance(Support::seconds(1));
    EXPECT_EQ(offeredVersion(), "1.5.0");

    coordinator->skipOfferedVersion();
    EXPECT_EQ(defaults.string("updateCheck.skippedVersion"), "1.5.0");
    scheduler.advance(hours(24 * 5));
    EXPECT_EQ(offeredVersion(), std::nullopt);

    http.handler = [](const Platform::HttpRequest&) {
        return Fakes::FakeHttpClient::Answer::ok(lookupAnswer("1.6.0", launch));
    };
    scheduler.advance(hours(24));
    EXPECT_EQ(offeredVersion(), "1.6.0") << "a later version is offered again";
}

TEST_F(UpdateCheckCoordinatorTest, TurningChecksOffStopsTheScheduleAndOnRestartsIt) {
    defaults.setBool("updateCheck.enabled", false);
    jitterFraction = 0;
    make();
    coordinator->start();
    EXPECT_FALSE(coordinator->nextCheckDate().has_value());
    scheduler.advance(hours(48));
    EXPECT_TRUE(http.requests.empty());

    defaults.setBool("updateCheck.enabled", true);
    EXPECT_EQ(coordinator->nextCheckDate(), scheduler.now() + Support::seconds(20));
    defaults.setBool("updateCheck.enabled", false);
    scheduler.advance(hours(1));
    EXPECT_TRUE(http.requests.empty());
}

TEST_F(UpdateCheckCoordinatorTest, AManualCheckShowsEvenASkippedOrYoungRelease) {
    defaults.setString("updateCheck.skippedVersion", "1.5.0");
    make("1.4.0");
    struct Case {
        Fakes::FakeHttpClient::Answer answer;
        UpdateCheckCoordinator::ManualCheckResult::Kind kind;
        std::string message;
    };
    using Kind = UpdateCheckCoordinator::ManualCheckResult::Kind;
    const Case cases[] = {
        {Fakes::FakeHttpClient::Answer::ok(lookupAnswer("1.5.0", launch)), Kind::updateAvailable,
         "Vellmora 1.5.0 is available. You have 1.4.0."},
        {Fakes::FakeHttpClient::Answer::ok(lookupAnswer("1.4.0", launch - hours(100))), Kind::upToDate,
         "You're up to date. Vellmora 1.4.0 is the latest version."},
        {Fakes::FakeHttpClient::Answer::ok(R"({"resultCount":0,"results":[]})"), Kind::upToDate,
         "You're up to date. Vellmora 1.4.0 is the latest version."},
        {Fakes::FakeHttpClient::Answer::ok("", 503), Kind::failed,
         "Couldn't check for updates. Check your internet connection and try again."},
    };
    for (const auto& c : cases) {
        http.enqueue(c.answer);
        auto task = coordinator->checkNow();
        scheduler.runReady();
        ASSERT_TRUE(task.isDone());
        EXPECT_EQ(task.get().kind, c.kind);
        EXPECT_EQ(task.get().message(), c.message);
    }
    EXPECT_EQ(offeredVersion(), std::nullopt) << "the menu still honours the skip";
}

TEST(UpdateCheckConfiguration, StandardValues) {
    const auto& c = UpdateCheckConfiguration::standard;
    EXPECT_EQ(c.firstCheckDelay, Support::seconds(20));
    EXPECT_EQ(c.interval, Support::seconds(86400));
    EXPECT_EQ(c.maxJitter, Support::seconds(3600));
    EXPECT_EQ(c.minimumReleaseAge, Support::seconds(86400));
    EXPECT_EQ(c.snoozeDuration, Support::seconds(259200));
    EXPECT_EQ(c.requestTimeout, Support::seconds(15));
    EXPECT_EQ(c.releaseNotesLimit, 600u);
}

TEST(UpdateCheckCoordinatorNotes, CutsReleaseNotesToTheLimitWithAnEllipsis) {
    auto cfg = UpdateCheckConfiguration::standard;
    cfg.releaseNotesLimit = 10;
    EXPECT_EQ(UpdateCheckCoordinator::shownReleaseNotes("  short \n", cfg), "short");
    EXPECT_EQ(UpdateCheckCoordinator::shownReleaseNotes("0123456789", cfg), "0123456789");
    EXPECT_EQ(UpdateCheckCoordinator::shownReleaseNotes("Fixes a bug in the menu", cfg), "Fixes a b…");
    EXPECT_EQ(UpdateCheckCoordinator::shownReleaseNotes("🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪", cfg),
              "🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪🇩🇪…");
}

} // namespace
