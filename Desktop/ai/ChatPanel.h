// The chat panel: a question about one recording or all of them, the conversation with the answer being
// written shown as Markdown as it streams, the sources the answer cites (opening one shows the transcript
// there), Stop while an answer is written, and the failure text the view model publishes. A thin view over
// `UI::ChatViewModel`; `onOpenSource` is given the recording and the time of a cited passage.
#pragma once

#include "UI/ai/ChatViewModel.h"

#include <QWidget>

#include <functional>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTextBrowser;

namespace Desktop {

class ChatPanel : public QWidget {
    Q_OBJECT
public:
    explicit ChatPanel(UI::ChatViewModel& chat, QWidget* parent = nullptr);

    std::function<void(Database::RecordingId, double startTime)> onOpenSource;

    /// The conversation as Markdown: each turn under its speaker, then the answer being written.
    static std::string conversationMarkdown(const std::vector<UI::ChatViewModel::DisplayMessage>& messages,
                                            const std::string& streaming);

private:
    void refreshConversation();
    void refreshState();
    void refreshSources();

    UI::ChatViewModel& chat_;
    QLabel* scope_ = nullptr;
    QTextBrowser* conversation_ = nullptr;
    QListWidget* sources_ = nullptr;
    QLabel* error_ = nullptr;
    QLineEdit* input_ = nullptr;
    QPushButton* send_ = nullptr;
    QPushButton* stop_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
