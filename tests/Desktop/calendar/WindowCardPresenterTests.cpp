#include "Desktop/calendar/WindowCardPresenter.h"

#include "UI/calendar/ReminderTestMeetings.h"

#include <gtest/gtest.h>

namespace {

using namespace ReminderTest;
using Action = UI::MeetingOverlayAction;
using Handler = UI::MeetingReminderPresenter::CardActionHandler;

// The terminal's presenter as the wrapped one: it keeps the card's answer handler and counts what it was
// asked to do.
struct TerminalSide final : UI::MeetingReminderPresenter {
    Handler handler;
    int shown = 0;
    int closed = 0;
    int banners = 0;
    std::vector<std::string> meetings;
    void prepare() override {}
    void showBanner(const UI::MeetingReminderBanner&, Support::Date) override { ++banners; }
    void removeBanners(const std::set<std::string>&) override {}
    void showCard(const UI::MeetingReminderCard&, Handler onAction) override {
        ++shown;
        handler = std::move(onAction);
    }
    void closeCard() override { ++closed; }
    void showMeeting(const UI::CalendarMeeting& meeting) override { meetings.push_back(meeting.title); }
};

struct WindowCardPresenterTest : ::testing::Test {
    TerminalSide terminal;
    Handler window;
    int windowShown = 0;
    int windowClosed = 0;
    std::vector<Action> answers;
    Desktop::WindowCardPresenter presenter{
        terminal,
        Desktop::WindowCardPresenter::CardWindow{[this](const UI::MeetingReminderCard&, Handler onAction) {
                                                     ++windowShown;
                                                     window = std::move(onAction);
                                                 },
                                                 [this] { ++windowClosed; }}};

    void show() {
        auto main = meeting("A", ten);
        presenter.showCard(UI::MeetingReminderCard{main,
                                                   {},
                                                   UI::MeetingOverlayPresentation(main, {}, at(9, 59),
                                                                                  at(10, 1), "UTC", "en_US"),
                                                   false,
                                                   false,
                                                   at(9, 59)},
                           [this](const Action& a) { answers.push_back(a); });
    }
};

const Action join = Action::button(UI::MeetingOverlayPresentation::Button::joinAndRecord);
const Action snooze = Action::button(UI::MeetingOverlayPresentation::Button::snooze);

} // namespace

TEST_F(WindowCardPresenterTest, TheCardShowsInBothPlacesAndTheFirstAnswerWinsWhereverItCameFrom) {
    struct Case {
        const char* name;
        bool windowFirst;
    };
    for (const auto& c :
         {Case{"the window answers first", true}, Case{"the terminal answers first", false}}) {
        SCOPED_TRACE(c.name);
        answers.clear();
        terminal.closed = 0;
        windowClosed = 0;
        show();
        ASSERT_TRUE(terminal.handler);
        ASSERT_TRUE(window);
        (c.windowFirst ? window : terminal.handler)(join);
        (c.windowFirst ? terminal.handler : window)(snooze);
        ASSERT_EQ(answers, std::vector<Action>{join}) << "only the first answer counts";
        EXPECT_EQ(terminal.closed, c.windowFirst ? 1 : 0) << "the other side is closed";
        EXPECT_EQ(windowClosed, c.windowFirst ? 0 : 1);
    }
    EXPECT_EQ(terminal.shown, 2);
    EXPECT_EQ(windowShown, 2);
}

TEST_F(WindowCardPresenterTest, AReplacedOrWithdrawnCardReportsNothing) {
    show();
    auto oldWindow = window;
    auto oldTerminal = terminal.handler;
    show();
    oldWindow(join);
    oldTerminal(join);
    EXPECT_TRUE(answers.empty()) << "the replaced card's answers are ignored";

    presenter.closeCard();
    EXPECT_EQ(terminal.closed, 1);
    EXPECT_EQ(windowClosed, 1);
    window(snooze);
    terminal.handler(snooze);
    EXPECT_TRUE(answers.empty()) << "a withdrawn card's answers are ignored";
}

TEST_F(WindowCardPresenterTest, BannersAndMeetingsGoToTheWrappedPresenterOnly) {
    presenter.showBanner(UI::MeetingReminderBanner{.meeting = meeting("B", ten)}, at(9, 45));
    presenter.showMeeting(meeting("B", ten));
    EXPECT_EQ(terminal.banners, 1);
    EXPECT_EQ(terminal.meetings, std::vector<std::string>{"Meeting B"});
    EXPECT_EQ(windowShown, 0);
}
