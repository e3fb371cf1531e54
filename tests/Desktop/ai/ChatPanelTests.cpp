#include "Desktop/ai/ChatPanel.h"

#include "../DesktopTestSupport.h"
#include "UI/ai/ChatErrorMessage.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Intelligence::RAGPipeline;
using Intelligence::TextStream;

struct ChatPanelTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    TextStream::Sink tokens;
    bool fail = false;
    std::unique_ptr<UI::ChatViewModel> chat;
    std::unique_ptr<Desktop::ChatPanel> panel;

    ChatPanelTest() {
        UI::ChatViewModel::Dependencies deps;
        deps.answer = [this](std::string, Intelligence::ChatScope, std::string) {
            tokens = TextStream::Sink();
            auto sink = tokens;
            bool failing = fail;
            return Support::startTask([sink, failing]() -> Support::Task<RAGPipeline::Answer> {
                if (failing) {
                    throw std::runtime_error("connection refused");
                }
                auto stream = TextStream::make([sink](TextStream::Sink out) -> Support::Task<void> {
                    while (auto t = co_await sink.next()) {
                        out.yield(*t);
                    }
                });
                Intelligence::AnswerSources sources;
                sources.all.push_back({1, 5, "Budget review", 11, 65, "Bob", "The hiring budget stays."});
                co_return RAGPipeline::Answer{stream, sources};
            });
        };
        deps.now = [] { return Support::dateFromUnix(1'800'000'000); };
        chat = std::make_unique<UI::ChatViewModel>(deps);
        panel = std::make_unique<Desktop::ChatPanel>(*chat);
        panel->show();
    }
    void ask(const char* question) {
        auto* input = panel->findChild<QLineEdit*>("chatInput");
        QTest::keyClicks(input, question);
        QTest::keyClick(input, Qt::Key_Return);
        DesktopTest::settle(loop);
    }
    QString conversation() const {
        return panel->findChild<QTextBrowser*>("chatConversation")->toPlainText();
    }
    QPushButton* stop() const { return panel->findChild<QPushButton*>("chatStop"); }
};

TEST_F(ChatPanelTest, TheAnswerStreamsIntoTheConversationAndItsSourcesOpenTheTranscript) {
    ask("What about hiring?");
    EXPECT_TRUE(conversation().contains("What about hiring?"));
    EXPECT_FALSE(stop()->isHidden());
    tokens.yield("The budget **stays** [1].");
    DesktopTest::settle(loop);
    EXPECT_TRUE(conversation().contains("The budget stays [1].")) << conversation().toStdString();
    tokens.finish();
    DesktopTest::settle(loop);
    EXPECT_TRUE(stop()->isHidden());
    auto* sources = panel->findChild<QListWidget*>("chatSources");
    ASSERT_EQ(sources->count(), 1);
    EXPECT_TRUE(sources->item(0)->text().startsWith("[1] Budget review \u00b7 1:05 \u00b7 Bob"));
    std::optional<std::pair<Database::RecordingId, double>> opened;
    panel->onOpenSource = [&](Database::RecordingId id, double t) { opened = {id, t}; };
    Q_EMIT sources->itemClicked(sources->item(0));
    EXPECT_EQ(opened, (std::pair<Database::RecordingId, double>{5, 65}));
}

TEST_F(ChatPanelTest, StopKeepsWhatWasWrittenMarkedAsStopped) {
    ask("Summarise the week");
    tokens.yield("Monday was");
    DesktopTest::settle(loop);
    QTest::mouseClick(stop(), Qt::LeftButton);
    DesktopTest::settle(loop);
    EXPECT_TRUE(conversation().contains("Monday was [stopped]"));
    EXPECT_TRUE(stop()->isHidden());
    tokens.yield(" late words");
    DesktopTest::settle(loop);
    EXPECT_FALSE(conversation().contains("late words"));
}

TEST_F(ChatPanelTest, AFailureShowsTheViewModelsText) {
    fail = true;
    ask("Anything?");
    auto* error = panel->findChild<QLabel*>("chatError");
    EXPECT_FALSE(error->isHidden());
    EXPECT_EQ(error->text().toStdString(),
              UI::ChatErrorMessage::text(std::make_exception_ptr(std::runtime_error("connection refused"))));
}

} // namespace
