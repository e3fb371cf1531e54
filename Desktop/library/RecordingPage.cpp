#include "Desktop/library/RecordingPage.h"

#include "Database/TranscriptTextFormatter.h"
#include "Desktop/library/RegenerateBar.h"
#include "Desktop/library/TranscriptTab.h"
#include "Desktop/playback/PlaybackSource.h"
#include "Desktop/playback/PlayerBar.h"
#include "Support/BlockingWork.h"
#include "UI/library/Formatters.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace Desktop {

namespace {
QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

struct SummaryContent {
    std::vector<Database::DatabaseManager::ActionItem> actionItems;
    std::vector<Database::DatabaseManager::StoredTopic> topics;
};

std::string summaryMarkdown(const Database::DatabaseManager::Recording& recording,
                            const SummaryContent& content) {
    std::string md;
    if (recording.summary && !recording.summary->empty()) {
        md += *recording.summary + "\n\n";
    }
    if (!content.actionItems.empty()) {
        md += "### Action Items\n\n";
        for (const auto& item : content.actionItems) {
            md += std::string(item.isCompleted ? "- [x] " : "- [ ] ") + item.text;
            if (item.assignee) {
                md += " (" + *item.assignee + ")";
            }
            md += "\n";
        }
        md += "\n";
    }
    if (!content.topics.empty()) {
        md += "### Topics\n\n";
        for (const auto& topic : content.topics) {
            md += "- **" + Database::TranscriptTextFormatter::timestamp(topic.startTime) + "** " +
                  topic.title + "\n";
        }
    }
    return md.empty() ? std::string("*No summary yet.*") : md;
}
} // namespace

RecordingPage::RecordingPage(Recording recording, Context context, QWidget* parent)
    : QWidget(parent), recording_(std::move(recording)), context_(std::move(context)) {
    reader_ = std::make_unique<UI::TranscriptReaderModel>(context_.database, recording_.id, context_.defaults,
                                                          context_.scheduler, context_.copy);
    setObjectName("recordingPage");
    auto* layout = new QVBoxLayout(this);
    auto* header = new QHBoxLayout;
    auto* titles = new QVBoxLayout;
    title_ = new QLabel(this);
    title_->setObjectName("recordingTitle");
    title_->setWordWrap(true);
    title_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont big = title_->font();
    big.setPointSizeF(big.pointSizeF() * 1.5);
    big.setBold(true);
    title_->setFont(big);
    titles->addWidget(title_);
    date_ = new QLabel(this);
    date_->setObjectName("recordingDate");
    titles->addWidget(date_);
    header->addLayout(titles, 1);
    favorite_ = new QPushButton(this);
    favorite_->setObjectName("favorite");
    header->addWidget(favorite_, 0, Qt::AlignTop);
    delete_ = new QPushButton(tr("Delete..."), this);
    delete_->setObjectName("delete");
    delete_->setAccessibleName(tr("Delete recording"));
    header->addWidget(delete_, 0, Qt::AlignTop);
    layout->addLayout(header);
    if (context_.player) {
        player_ = context_.player(recording_);
        playerBar_ = new PlayerBar(*player_, this);
        layout->addWidget(playerBar_);
    }

    tabs_ = new QTabWidget(this);
    tabs_->setObjectName("recordingTabs");
    auto* summaryTab = new QWidget(this);
    auto* summaryLayout = new QVBoxLayout(summaryTab);
    if (context_.jobs) {
        regenerate_ = new RegenerateBar(recording_.id,
                                        {context_.database, *context_.jobs, context_.generation}, summaryTab);
        regenerate_->onSummaryText = [this](const std::string& text) { summary_->setMarkdown(qs(text)); };
        regenerate_->onFinished = [this](RegenerateBar::Kind) { reload(); };
        summaryLayout->addWidget(regenerate_);
    }
    summary_ = new QTextBrowser(summaryTab);
    summary_->setObjectName("summary");
    summary_->setAccessibleName(tr("Summary"));
    summary_->setOpenExternalLinks(true);
    summaryLayout->addWidget(summary_, 1);
    tabs_->addTab(summaryTab, tr("Summary"));
    transcript_ = new TranscriptTab(*reader_, this);
    tabs_->addTab(transcript_, tr("Transcript"));
    layout->addWidget(tabs_, 1);

    connect(favorite_, &QPushButton::clicked, this, [this] {
        if (onToggleFavorite) {
            onToggleFavorite(recording_);
        }
    });
    connect(delete_, &QPushButton::clicked, this, [this] {
        if (onDelete) {
            onDelete(recording_);
        }
    });
    if (player_) {
        playback_ += player_->positionChanged.connect(
            [this](double seconds) { transcript_->setPlaybackTime(seconds); });
        playback_ += reader_->playRequested.connect([this](double seconds) {
            player_->seek(seconds);
            player_->play();
        });
    }
    updateHeader();
    loadSummary();
    (void)reader_->load();
}

RecordingPage::~RecordingPage() {
    playback_ = {};
    // The player row observes the player: it goes first.
    delete playerBar_;
}

void RecordingPage::update(const Recording& recording) {
    bool summaryChanged = recording.summary != recording_.summary;
    recording_ = recording;
    updateHeader();
    if (summaryChanged) {
        loadSummary();
    }
}

void RecordingPage::updateHeader() {
    title_->setText(qs(recording_.title));
    date_->setText(qs(UI::Formatters::formatRelativeDate(recording_.startDate, true, context_.scheduler.now(),
                                                         context_.dateContext)) +
                   QStringLiteral(" \u00b7 ") +
                   qs(Database::TranscriptTextFormatter::timestamp(recording_.duration)));
    favorite_->setText(recording_.isFavorite ? tr("Unfavorite") : tr("Favorite"));
    favorite_->setAccessibleName(recording_.isFavorite ? tr("Remove from favorites")
                                                       : tr("Add to favorites"));
}

void RecordingPage::loadSummary() {
    summary_->setMarkdown(qs(summaryMarkdown(recording_, {})));
    auto& database = context_.database;
    auto id = recording_.id;
    (void)tasks_.start([this, &database, id]() -> Support::Task<void> {
        SummaryContent content;
        try {
            content = co_await Support::BlockingWork::run([&database, id] {
                return SummaryContent{database.actionItems(id), database.topics(id)};
            });
        } catch (const std::exception&) {
            co_return;
        }
        summary_->setMarkdown(qs(summaryMarkdown(recording_, content)));
    });
}

void RecordingPage::reload() {
    auto& database = context_.database;
    auto id = recording_.id;
    (void)tasks_.start([this, &database, id]() -> Support::Task<void> {
        std::optional<Recording> fresh;
        try {
            fresh = co_await Support::BlockingWork::run([&database, id] { return database.recording(id); });
        } catch (const std::exception&) {
            co_return;
        }
        if (fresh) {
            recording_ = *fresh;
            updateHeader();
            loadSummary();
        }
    });
}

void RecordingPage::showTranscriptAt(double seconds) {
    tabs_->setCurrentWidget(transcript_);
    transcript_->revealTime(seconds);
}

} // namespace Desktop
