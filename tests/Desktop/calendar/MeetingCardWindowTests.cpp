#include "Desktop/calendar/MeetingCardWindow.h"

#include "../DesktopTestSupport.h"
#include "UI/calendar/MeetingOverlayKeyPolicy.h"
#include "UI/calendar/ReminderTestMeetings.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace {

using namespace ReminderTest;
using Action = UI::MeetingOverlayAction;

struct MeetingCardTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, at(9, 59)};
    std::vector<Action> actions;
    std::unique_ptr<Desktop::MeetingCardWindow> card;

    void show(std::vector<UI::CalendarMeeting> extras = {}) {
        auto main = meeting("A", ten);
        UI::MeetingReminderCard c{
            main,
            extras,
            UI::MeetingOverlayPresentation(main, extras, scheduler.now(), at(10, 1), "UTC", "en_US"),
            false,
            false,
            scheduler.now()};
        card = std::make_unique<Desktop::MeetingCardWindow>(
            c, scheduler, [this](const Action& a) { actions.push_back(a); });
        card->present();
        DesktopTest::settle(loop);
    }
    void key(Qt::Key k) { QTest::keyClick(card.get(), k); }
    QString text(const char* name) const { return card->findChild<QLabel*>(name)->text(); }
};

TEST_F(MeetingCardTest, ShowsThePresentationsTextsAndButtonsInOrder) {
    show({meeting("B", at(10, 1), 30, UI::MeetingService::teams)});
    EXPECT_EQ(text("cardTitle"), "Meeting A");
    EXPECT_EQ(text("cardService"), "Zoom");
    EXPECT_EQ(text("cardRelativeTime"), "Starts in 1 minute");
    EXPECT_EQ(text("cardSnoozeLine"), "Remind me again at 10:01\u202fAM");
    QStringList titles;
    for (auto* b : card->buttons()) {
        titles << b->accessibleName().section(' ', 0, b->objectName() == "joinExtra" ? 0 : -1);
        EXPECT_EQ(QString(b->text()).replace("&&", "&"), titles.back()) << "shown as written, no mnemonic";
    }
    EXPECT_EQ(titles, (QStringList{"Join & Record", "Join only", "Snooze", "Dismiss", "Join"}));
    EXPECT_EQ(card->accessibleDescription(),
              "Zoom meeting. Starts in 1 minute. One more meeting at the same time.");
    QTest::mouseClick(card->findChild<QPushButton*>("joinExtra"), Qt::LeftButton);
    ASSERT_EQ(actions.size(), 1u);
    EXPECT_EQ(actions[0], Action::joinExtra(meeting("B", at(10, 1)).occurrenceKey));
}

TEST_F(MeetingCardTest, EveryKeyIsSwallowedDuringTheGuardPeriod) {
    show();
    for (auto k : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Tab, Qt::Key_Space}) {
        key(k);
    }
    EXPECT_TRUE(actions.empty());
    EXPECT_FALSE(card->hasNavigated());
    EXPECT_TRUE(card->isVisible());
}

TEST_F(MeetingCardTest, ReturnIsSwallowedUntilTheUserNavigatedThenActivatesTheFocusedButton) {
    show();
    scheduler.advance(std::chrono::milliseconds(1500));
    DesktopTest::settle(loop);
    key(Qt::Key_Return);
    key(Qt::Key_Space);
    EXPECT_TRUE(actions.empty());
    key(Qt::Key_Tab); // Join & Record -> Join only
    EXPECT_TRUE(card->hasNavigated());
    key(Qt::Key_Return);
    ASSERT_EQ(actions.size(), 1u);
    EXPECT_EQ(actions[0], Action::button(UI::MeetingOverlayPresentation::Button::joinOnly));
    EXPECT_FALSE(card->isVisible());
    key(Qt::Key_Return);
    EXPECT_EQ(actions.size(), 1u) << "the choice is reported once";
}

TEST_F(MeetingCardTest, EscapeDismissesOnceTheGuardEnded) {
    show();
    scheduler.advance(std::chrono::milliseconds(1499));
    key(Qt::Key_Escape);
    EXPECT_TRUE(actions.empty());
    scheduler.advance(std::chrono::milliseconds(1));
    key(Qt::Key_Escape);
    ASSERT_EQ(actions.size(), 1u);
    EXPECT_EQ(actions[0], Action::button(UI::MeetingOverlayPresentation::Button::dismiss));
}

TEST_F(MeetingCardTest, ArrowsMoveTheFocusAroundTheButtons) {
    show();
    scheduler.advance(std::chrono::seconds(2));
    DesktopTest::settle(loop);
    key(Qt::Key_Left); // from the first button back to the last
    key(Qt::Key_Space);
    ASSERT_EQ(actions.size(), 1u);
    EXPECT_EQ(actions[0], Action::button(UI::MeetingOverlayPresentation::Button::dismiss));
}

TEST(MeetingCardKeys, QtKeysMapToThePolicysKeyCodes) {
    using P = UI::MeetingOverlayKeyPolicy;
    EXPECT_EQ(Desktop::MeetingCardWindow::keyCode(Qt::Key_Escape), P::escapeKey);
    EXPECT_EQ(Desktop::MeetingCardWindow::keyCode(Qt::Key_Backtab), P::tabKey);
    EXPECT_EQ(Desktop::MeetingCardWindow::keyCode(Qt::Key_Enter), P::keypadEnterKey);
    EXPECT_EQ(Desktop::MeetingCardWindow::keyCode(Qt::Key_Up), 126);
    EXPECT_EQ(Desktop::MeetingCardWindow::keyCode(Qt::Key_A), 0);
}

} // namespace
