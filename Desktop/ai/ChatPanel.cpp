#include "Desktop/ai/ChatPanel.h"

#include "Database/TranscriptTextFormatter.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace Desktop {

namespace {
QString qs(const std::string& s) {
    return QString::fromStdString(s);
}
constexpr int recordingRole = Qt::UserRole + 1;
constexpr int timeRole = Qt::UserRole + 2;
} // namespace

ChatPanel::ChatPanel(UI::ChatViewModel& chat, QWidget* parent) : QWidget(parent), chat_(chat) {
    setObjectName("chatPanel");
    setAccessibleName(tr("AI Chat"));
    auto* layout = new QVBoxLayout(this);
    scope_ = new QLabel(this);
    scope_->setObjectName("chatScope");
    layout->addWidget(scope_);
    conversation_ = new QTextBrowser(this);
    conversation_->setObjectName("chatConversation");
    conversation_->setAccessibleName(tr("Conversation"));
    conversation_->setOpenExternalLinks(true);
    layout->addWidget(conversation_, 3);
    sources_ = new QListWidget(this);
    sources_->setObjectName("chatSources");
    sources_->setAccessibleName(tr("Sources"));
    sources_->setWordWrap(true);
    sources_->hide();
    layout->addWidget(sources_, 1);
    error_ = new QLabel(this);
    error_->setObjectName("chatError");
    error_->setWordWrap(true);
    error_->hide();
    layout->addWidget(error_);
    auto* row = new QHBoxLayout;
    input_ = new QLineEdit(this);
    input_->setObjectName("chatInput");
    input_->setPlaceholderText(tr("Ask about your meetings"));
    input_->setAccessibleName(tr("Question"));
    row->addWidget(input_, 1);
    send_ = new QPushButton(tr("Send"), this);
    send_->setObjectName("chatSend");
    row->addWidget(send_);
    stop_ = new QPushButton(tr("Stop"), this);
    stop_->setObjectName("chatStop");
    stop_->hide();
    row->addWidget(stop_);
    layout->addLayout(row);

    connect(input_, &QLineEdit::textEdited, this,
            [this](const QString& text) { chat_.inputText.set(text.toStdString()); });
    connect(input_, &QLineEdit::returnPressed, this, [this] { chat_.sendMessage(); });
    connect(send_, &QPushButton::clicked, this, [this] { chat_.sendMessage(); });
    connect(stop_, &QPushButton::clicked, this, [this] { chat_.stopGeneration(); });
    connect(sources_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        if (onOpenSource) {
            onOpenSource(item->data(recordingRole).toLongLong(), item->data(timeRole).toDouble());
        }
    });

    subscriptions_ += chat_.messages.observe([this](const auto&) { refreshConversation(); });
    subscriptions_ += chat_.streamingResponse.observe([this](const auto&) { refreshConversation(); });
    subscriptions_ += chat_.isGenerating.observe([this](bool) { refreshState(); });
    subscriptions_ += chat_.error.observe([this](const auto&) { refreshState(); });
    subscriptions_ += chat_.recording.observe([this](const auto&) { refreshState(); });
    subscriptions_ += chat_.citations.observe([this](const auto&) { refreshSources(); });
    subscriptions_ += chat_.inputText.observe([this](const std::string& text) {
        if (input_->text().toStdString() != text) {
            input_->setText(qs(text));
        }
    });
    refreshConversation();
    refreshState();
}

std::string ChatPanel::conversationMarkdown(const std::vector<UI::ChatViewModel::DisplayMessage>& messages,
                                            const std::string& streaming) {
    std::string md;
    for (const auto& m : messages) {
        md += m.role == "user" ? "**You**\n\n" : "**Vellmora**\n\n";
        md += m.content + "\n\n";
    }
    if (!streaming.empty()) {
        md += "**Vellmora**\n\n" + streaming + "\n";
    }
    return md;
}

void ChatPanel::refreshConversation() {
    conversation_->setMarkdown(qs(conversationMarkdown(chat_.messages.get(), chat_.streamingResponse.get())));
    conversation_->verticalScrollBar()->setValue(conversation_->verticalScrollBar()->maximum());
}

void ChatPanel::refreshState() {
    const auto& scope = chat_.recording.get();
    scope_->setText(scope ? tr("Asking about \u201c%1\u201d").arg(qs(scope->title))
                          : tr("Asking about all recordings"));
    bool generating = chat_.isGenerating.get();
    stop_->setVisible(generating);
    send_->setEnabled(!generating);
    const auto& error = chat_.error.get();
    error_->setText(error ? qs(*error) : QString());
    error_->setVisible(error.has_value());
}

void ChatPanel::refreshSources() {
    sources_->clear();
    for (const auto& source : chat_.citations.get()) {
        QString line = QStringLiteral("[%1] ").arg(source.number) + qs(source.recordingTitle) +
                       QStringLiteral(" \u00b7 ") +
                       qs(Database::TranscriptTextFormatter::timestamp(source.startTime));
        if (!source.speaker.empty()) {
            line += QStringLiteral(" \u00b7 ") + qs(source.speaker);
        }
        line += QLatin1Char('\n') + qs(source.text);
        auto* item = new QListWidgetItem(line, sources_);
        item->setData(recordingRole, QVariant::fromValue<qlonglong>(source.recordingId));
        item->setData(timeRole, source.startTime);
    }
    sources_->setVisible(sources_->count() > 0);
}

} // namespace Desktop
