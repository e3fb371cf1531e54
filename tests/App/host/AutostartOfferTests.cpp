#include "App/host/AutostartOffer.h"
#include "App/host/AutostartPrompt.h"

#include "Fakes/FakeUserNotificationCenter.h"
#include "Support/MainLoop.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using App::AutostartOffer;
using App::AutostartPrompt;
using Platform::Linux::XdgAutostart;

TEST(AutostartOffer, IsMadeOnlyOnceOnTheDesktopOfAnInstalledVellmoraWithoutAnEntry) {
    const AutostartOffer::Facts yes{.desktopSession = true, .installed = true};
    EXPECT_TRUE(AutostartOffer::shouldOffer(yes));
    auto with = [&](auto change) {
        auto facts = yes;
        change(facts);
        return AutostartOffer::shouldOffer(facts);
    };
    EXPECT_FALSE(with([](auto& f) { f.desktopSession = false; }));
    EXPECT_FALSE(with([](auto& f) { f.demo = true; }));
    EXPECT_FALSE(with([](auto& f) { f.offeredBefore = true; }));
    EXPECT_FALSE(with([](auto& f) { f.entryExists = true; }));
    EXPECT_FALSE(with([](auto& f) { f.installed = false; }));
    EXPECT_FALSE(with([](auto& f) { f.systemdService = true; }));
}

TEST(AutostartOffer, AClickAcceptsClosingDeclinesAndOtherNotificationsAreNotAnswers) {
    auto response = [](std::string id, std::string action) {
        return Platform::NotificationResponse{std::move(id), "", std::move(action), {}};
    };
    EXPECT_EQ(AutostartOffer::answer(response(AutostartOffer::requestIdentifier, "default")),
              AutostartOffer::Answer::accept);
    EXPECT_EQ(AutostartOffer::answer(response(AutostartOffer::requestIdentifier, "dismiss")),
              AutostartOffer::Answer::decline);
    EXPECT_EQ(AutostartOffer::answer(response("dev.tessadine.vellmora.reminder.x", "default")),
              AutostartOffer::Answer::unrelated);
}

namespace {

class AutostartPromptTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vellmora-prompt-XXXXXX";
        folder = ::mkdtemp(pattern);
    }
    void TearDown() override { fs::remove_all(folder); }

    AutostartPrompt prompt() {
        return AutostartPrompt({.center = center,
                                .defaults = defaults,
                                .autostart = XdgAutostart(folder / "autostart"),
                                .executable = "/usr/bin/vellmora",
                                .installed = true,
                                .say = [this](const std::string& text) { said.push_back(text); }});
    }

    Support::MainLoop loop;
    Fakes::FakeUserNotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    fs::path folder;
    std::vector<std::string> said;
    const AutostartOffer::Facts desktop{.desktopSession = true, .installed = true};
};

} // namespace

TEST_F(AutostartPromptTest, AClickOnTheOfferTurnsStartAtLoginOnAndItIsNeverOfferedAgain) {
    auto first = prompt();
    first.start(desktop);
    loop.runUntilIdle();
    ASSERT_EQ(center.added.size(), 1u);
    EXPECT_EQ(center.added[0].identifier, AutostartOffer::requestIdentifier);
    EXPECT_EQ(center.added[0].content.title, "Start Vellmora when you log in?");
    EXPECT_EQ(said, std::vector<std::string>{AutostartOffer::terminalHint});
    EXPECT_EQ(defaults.boolean(AutostartOffer::offeredKey), true);

    center.respond(AutostartOffer::requestIdentifier, "default");
    EXPECT_EQ(XdgAutostart(folder / "autostart").status(), XdgAutostart::Status::on);
    EXPECT_EQ(said.back(), AutostartOffer::acceptedText);

    auto again = prompt();
    auto facts = again.facts(false, false);
    EXPECT_TRUE(facts.offeredBefore);
    EXPECT_TRUE(facts.entryExists);
    again.start(facts);
    loop.runUntilIdle();
    EXPECT_EQ(center.added.size(), 1u);
}

TEST_F(AutostartPromptTest, ClosingTheOfferWritesNothingAndARefusedNotificationLeavesTheTerminalLine) {
    auto declined = prompt();
    declined.start(desktop);
    loop.runUntilIdle();
    center.respond(AutostartOffer::requestIdentifier, "dismiss");
    EXPECT_EQ(XdgAutostart(folder / "autostart").status(), XdgAutostart::Status::off);
    EXPECT_EQ(said.size(), 1u);

    defaults.remove(AutostartOffer::offeredKey);
    said.clear();
    center.addFails = true;
    auto refused = prompt();
    refused.start(desktop);
    loop.runUntilIdle();
    EXPECT_EQ(said, std::vector<std::string>{AutostartOffer::terminalHint});
    EXPECT_EQ(defaults.boolean(AutostartOffer::offeredKey), true);

    auto quiet = prompt();
    EXPECT_FALSE(quiet.facts(false, true).desktopSession); // --terminal-only
}
