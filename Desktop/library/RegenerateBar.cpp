#include "Desktop/library/RegenerateBar.h"

#include "UI/ai/AIGenerationRunner.h"
#include "UI/ai/AIModelWaitCopy.h"
#include "UI/ai/AIRerunCopy.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace Desktop {

namespace {
QString qs(const std::string& s) {
    return QString::fromStdString(s);
}
} // namespace

RegenerateBar::RegenerateBar(Database::RecordingId recording, Context context, QWidget* parent)
    : QWidget(parent), recording_(recording), context_(std::move(context)) {
    setObjectName("regenerateBar");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* row = new QHBoxLayout;
    auto make = [&](const QString& text, const char* name) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAccessibleName(text);
        row->addWidget(b);
        return b;
    };
    title_ = make(tr("Regenerate Title"), "regenerateTitle");
    summary_ = make(tr("Regenerate Summary"), "regenerateSummary");
    actionItems_ = make(tr("Regenerate Action Items"), "regenerateActionItems");
    row->addStretch(1);
    layout->addLayout(row);
    progress_ = new QLabel(this);
    progress_->setObjectName("regenerateProgress");
    progress_->setWordWrap(true);
    progress_->hide();
    layout->addWidget(progress_);
    failure_ = new QLabel(this);
    failure_->setObjectName("regenerateFailure");
    failure_->setWordWrap(true);
    failure_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    failure_->setStyleSheet(QStringLiteral("color: #d9382c;"));
    failure_->hide();
    layout->addWidget(failure_);

    connect(title_, &QPushButton::clicked, this, [this] { regenerate(Kind::title); });
    connect(summary_, &QPushButton::clicked, this, [this] { regenerate(Kind::summary); });
    connect(actionItems_, &QPushButton::clicked, this, [this] { regenerate(Kind::actionItems); });
    ends_ = context_.jobs.presenter.connect([this](const UI::AIGenerationJobs::JobEnd& end) {
        if (end.recordingId != recording_) {
            return;
        }
        if (end.outcome.kind == UI::AIGenerationJobs::Outcome::Case::failed) {
            auto message =
                context_.jobs.takeFailureFinishedAway(end.kind, recording_).value_or(end.outcome.message);
            failure_->setText(qs(message));
            failure_->setAccessibleName(failure_->text());
            failure_->show();
        }
        progress_->hide();
        refresh();
        if (onFinished) {
            onFinished(end.kind);
        }
    });
    // A failure that ended while no page was open is shown once.
    for (auto kind : UI::AIGenerationJobs::allKinds) {
        if (auto message = context_.jobs.takeFailureFinishedAway(kind, recording_)) {
            failure_->setText(qs(*message));
            failure_->show();
        }
    }
    refresh();
}

RegenerateBar::~RegenerateBar() {
    *alive_ = false;
}

QPushButton* RegenerateBar::button(Kind kind) const {
    switch (kind) {
    case Kind::title:
        return title_;
    case Kind::summary:
        return summary_;
    case Kind::actionItems:
        break;
    }
    return actionItems_;
}

void RegenerateBar::refresh() {
    bool available = context_.generation && context_.generation().has_value();
    for (auto kind : UI::AIGenerationJobs::allKinds) {
        auto* b = button(kind);
        b->setEnabled(available && !context_.jobs.isRunning(kind, recording_));
        b->setToolTip(available
                          ? QString()
                          : qs(UI::AIModelWaitCopy::unavailableMessage(
                                Intelligence::AIService::GenerationUnavailableReason::noModelConfigured())));
    }
}

void RegenerateBar::regenerate(Kind kind) {
    auto client = context_.generation ? context_.generation() : std::nullopt;
    failure_->hide();
    if (!client) {
        failure_->setText(qs(UI::AIModelWaitCopy::unavailableMessage(
            Intelligence::AIService::GenerationUnavailableReason::noModelConfigured())));
        failure_->show();
        return;
    }
    std::weak_ptr<bool> alive = alive_;
    UI::AIGenerationRunner::Display display;
    display.onProgress = [this, alive](const std::string& line) {
        if (alive.lock()) {
            progress_->setText(qs(line));
            progress_->setAccessibleName(progress_->text());
            progress_->show();
        }
    };
    display.onTitleError = [this, alive](const std::string& message) {
        if (alive.lock()) {
            failure_->setText(qs(message));
            failure_->show();
        }
    };
    if (kind == Kind::summary) {
        display.onText = [this, alive](const std::string& text) {
            if (alive.lock() && onSummaryText) {
                onSummaryText(text);
            }
        };
    }
    auto& database = context_.database;
    auto& jobs = context_.jobs;
    auto id = recording_;
    jobs.startWithToken(kind, id, [kind, id, client = *client, &database, &jobs, display](auto token) {
        switch (kind) {
        case Kind::title:
            return UI::AIGenerationRunner::title(id, token, client, database, jobs, display);
        case Kind::summary:
            return UI::AIGenerationRunner::summary(id, token, std::nullopt, client, database, jobs, display);
        case Kind::actionItems:
            break;
        }
        return UI::AIGenerationRunner::actionItems(id, token, true, client, database, jobs, display);
    });
    refresh();
}

} // namespace Desktop
