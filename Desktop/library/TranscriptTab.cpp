#include "Desktop/library/TranscriptTab.h"

#include "Database/TranscriptTextFormatter.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

namespace Desktop {

namespace {
QString qs(const std::string& s) {
    return QString::fromStdString(s);
}
template <typename T> void detach(Support::Task<T> task) {
    (void)task;
}
} // namespace

TranscriptTab::TranscriptTab(UI::TranscriptReaderModel& model, QWidget* parent)
    : QWidget(parent), model_(model) {
    auto* layout = new QVBoxLayout(this);

    auto* chipRow = new QWidget(this);
    chips_ = new QHBoxLayout(chipRow);
    chips_->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(chipRow);

    auto* tools = new QHBoxLayout;
    search_ = new QLineEdit(this);
    search_->setObjectName("transcriptSearch");
    search_->setPlaceholderText(UI::TranscriptReaderModel::searchPrompt);
    search_->setAccessibleName(UI::TranscriptReaderModel::searchPrompt);
    search_->setClearButtonEnabled(true);
    tools->addWidget(search_, 1);
    follow_ = new QCheckBox(tr("Follow playback"), this);
    follow_->setObjectName("followPlayback");
    follow_->setAccessibleName(follow_->text());
    follow_->setChecked(model_.followPlayback());
    tools->addWidget(follow_);
    copy_ = new QPushButton(qs(model_.copyButtonTitle.get()), this);
    copy_->setObjectName("copyAll");
    copy_->setAccessibleName(UI::TranscriptReaderModel::copyAllTitle);
    tools->addWidget(copy_);
    layout->addLayout(tools);

    list_ = new QListWidget(this);
    list_->setObjectName("transcriptList");
    list_->setAccessibleName(tr("Transcript"));
    list_->setWordWrap(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    list_->setSpacing(3);
    list_->setAlternatingRowColors(true);
    layout->addWidget(list_, 1);

    empty_ = new QLabel(this);
    empty_->setObjectName("transcriptEmpty");
    empty_->setAlignment(Qt::AlignCenter);
    empty_->hide();
    layout->addWidget(empty_);

    auto* footer = new QHBoxLayout;
    count_ = new QLabel(this);
    count_->setObjectName("transcriptCount");
    footer->addWidget(count_, 1);
    loadMore_ = new QPushButton(this);
    loadMore_->setObjectName("loadMore");
    loadMore_->setAccessibleName(UI::TranscriptReaderModel::loadMoreTitle);
    footer->addWidget(loadMore_);
    layout->addLayout(footer);

    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        model_.setSearchText(text.toStdString());
        rebuildRows();
    });
    connect(follow_, &QCheckBox::toggled, this, [this](bool on) { model_.setFollowPlayback(on); });
    connect(copy_, &QPushButton::clicked, this, [this] { detach(model_.copyAll()); });
    connect(loadMore_, &QPushButton::clicked, this, [this] { detach(model_.loadMoreSegments()); });
    connect(list_->verticalScrollBar(), &QScrollBar::actionTriggered, this, [this](int) {
        if (!scrollingProgrammatically_) {
            model_.follow.noteScroll();
        }
    });
    connect(list_, &QListWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        auto* item = list_->itemAt(at);
        if (!item || !item->data(segmentIdRole).isValid()) {
            return;
        }
        auto id = item->data(segmentIdRole).toLongLong();
        auto* menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->addAction(UI::TranscriptReaderModel::playFromHereTitle, this, [this, id] {
            for (const auto& s : model_.segments.get()) {
                if (s.id == id) {
                    model_.playFromHere(s);
                }
            }
        });
        menu->popup(list_->viewport()->mapToGlobal(at));
    });

    subscriptions_ += model_.segments.observe([this](const auto&) {
        loaded_ = true;
        rebuildChips();
        rebuildRows();
        continueReveal();
    });
    subscriptions_ += model_.topics.observe([this](const auto&) { rebuildRows(); });
    subscriptions_ += model_.totalSegmentCount.observe([this](int) { updateFooter(); });
    subscriptions_ += model_.isLoadingMore.observe([this](bool) { updateFooter(); });
    subscriptions_ +=
        model_.copyButtonTitle.observe([this](const std::string& title) { copy_->setText(qs(title)); });
    rebuildChips();
    rebuildRows();
}

void TranscriptTab::rebuildChips() {
    while (auto* item = chips_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const auto& chip : model_.speakerChips()) {
        auto* button = new QPushButton(qs(chip));
        button->setObjectName("speakerChip");
        button->setAccessibleName(qs(chip));
        button->setCheckable(true);
        bool everyone = chip == UI::TranscriptReaderModel::everyoneChip;
        button->setChecked(everyone ? !model_.selectedSpeaker() : model_.selectedSpeaker() == chip);
        connect(button, &QPushButton::clicked, this, [this, chip, everyone] {
            model_.selectSpeaker(everyone ? std::nullopt : std::optional<std::string>(chip));
            rebuildChips();
            rebuildRows();
        });
        chips_->addWidget(button);
    }
    chips_->addStretch(1);
}

void TranscriptTab::rebuildRows() {
    list_->clear();
    QFont dividerFont = list_->font();
    dividerFont.setBold(true);
    for (const auto& row : model_.rows()) {
        if (row.divider) {
            auto* divider = new QListWidgetItem(qs(row.divider->title), list_);
            divider->setFlags(Qt::ItemIsEnabled);
            divider->setFont(dividerFont);
            divider->setData(Qt::AccessibleDescriptionRole, tr("Topic"));
        }
        const auto& s = row.segment;
        QString head = s.speaker.empty() ? QString() : qs(s.speaker) + QStringLiteral("  ");
        auto* item =
            new QListWidgetItem(head + qs(Database::TranscriptTextFormatter::timestamp(s.startTime)) +
                                    QLatin1Char('\n') + qs(s.text),
                                list_);
        item->setData(startTimeRole, s.startTime);
        item->setData(segmentIdRole, QVariant::fromValue<qlonglong>(s.id));
        if (activeSegment_ && *activeSegment_ == s.id) {
            item->setSelected(true);
        }
    }
    auto empty = model_.emptyText();
    empty_->setText(empty ? qs(*empty) : QString());
    empty_->setVisible(empty.has_value());
    updateFooter();
}

void TranscriptTab::updateFooter() {
    count_->setText(qs(model_.countText()));
    loadMore_->setText(qs(model_.loadMoreButtonTitle()));
    loadMore_->setVisible(model_.hasMoreSegments());
    loadMore_->setEnabled(!model_.isLoadingMore.get());
}

QListWidgetItem* TranscriptTab::rowAt(double seconds) const {
    QListWidgetItem* found = nullptr;
    for (int i = 0; i < list_->count(); ++i) {
        auto* item = list_->item(i);
        auto start = item->data(startTimeRole);
        if (!start.isValid()) {
            continue;
        }
        if (start.toDouble() > seconds && found) {
            break;
        }
        found = item;
    }
    return found;
}

void TranscriptTab::setPlaybackTime(double seconds) {
    auto* item = rowAt(seconds);
    if (!item) {
        return;
    }
    auto id = item->data(segmentIdRole).toLongLong();
    activeSegment_ = id;
    // Selected, not made current: making a row current scrolls to it, and only the follow controller decides
    // that.
    list_->clearSelection();
    item->setSelected(true);
    auto rect = list_->visualItemRect(item);
    model_.follow.setViewportHeight(list_->viewport()->height());
    model_.follow.noteActiveRow(
        id, UI::RowFrame{double(rect.x()), double(rect.y()), double(rect.width()), double(rect.height())});
    if (model_.shouldScrollToActiveRow()) {
        scrollingProgrammatically_ = true;
        list_->scrollToItem(item, QAbstractItemView::PositionAtCenter);
        scrollingProgrammatically_ = false;
    }
}

void TranscriptTab::revealTime(double seconds) {
    pendingReveal_ = seconds;
    continueReveal();
}

void TranscriptTab::continueReveal() {
    if (!pendingReveal_ || !loaded_) {
        return;
    }
    const auto& segments = model_.segments.get();
    bool covered = !segments.empty() && segments.back().startTime >= *pendingReveal_;
    if (!covered && model_.hasMoreSegments()) {
        if (!model_.isLoadingMore.get()) {
            detach(model_.loadMoreSegments());
        }
        return;
    }
    if (auto* item = rowAt(*pendingReveal_)) {
        pendingReveal_.reset();
        list_->setCurrentItem(item);
        scrollingProgrammatically_ = true;
        list_->scrollToItem(item, QAbstractItemView::PositionAtTop);
        scrollingProgrammatically_ = false;
    } else if (!segments.empty() || !model_.hasMoreSegments()) {
        pendingReveal_.reset();
    }
}

} // namespace Desktop
