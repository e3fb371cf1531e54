#include "Desktop/library/LibraryWindow.h"

#include "Database/TranscriptTextFormatter.h"
#include "Desktop/library/RecordingListModel.h"
#include "Desktop/library/RecordingPage.h"
#include "Desktop/playback/PlaybackSource.h"
#include "UI/library/FilterBar.h"
#include "UI/library/LibraryLayout.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Desktop {

namespace {
QString qs(std::string_view s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}
template <typename T> void detach(Support::Task<T> task) {
    (void)task;
}
constexpr int recordingIdRole = Qt::UserRole + 1;
constexpr int momentTimeRole = Qt::UserRole + 2;

Support::Date noonOf(QDate day) {
    return Support::dateFromUnix(static_cast<double>(QDateTime(day, QTime(12, 0)).toSecsSinceEpoch()));
}
} // namespace

LibraryWindow::LibraryWindow(Context context, QWidget* parent)
    : QWidget(parent), context_(std::move(context)) {
    setObjectName("libraryWindow");
    setWindowTitle(tr("Vellmora Library"));
    setMinimumSize(int(UI::LibraryLayout::minWindowWidth), int(UI::LibraryLayout::minContentHeight));
    resize(int(UI::LibraryLayout::idealWindowWidth), int(UI::LibraryLayout::idealContentHeight));

    auto* splitter = new QSplitter(this);
    splitter->setHandleWidth(int(UI::LibraryLayout::dividerWidth));
    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(splitter);

    auto* sidebar = new QWidget(splitter);
    sidebar->setObjectName("librarySidebar");
    sidebar->setMinimumWidth(int(UI::LibraryLayout::sidebarWidth));
    sidebar->setMaximumWidth(int(UI::LibraryLayout::sidebarWidth) * 2);
    auto* side = new QVBoxLayout(sidebar);

    search_ = new QLineEdit(sidebar);
    search_->setObjectName("librarySearch");
    search_->setPlaceholderText(tr("Search recordings and transcripts"));
    search_->setAccessibleName(tr("Search recordings"));
    search_->setClearButtonEnabled(true);
    side->addWidget(search_);

    auto* filters = new QHBoxLayout;
    for (auto filter : UI::allRecordingFilters) {
        if (UI::isInOverflowMenu(filter)) {
            continue;
        }
        auto* button = new QPushButton(qs(UI::rawValue(filter)), sidebar);
        button->setObjectName(QStringLiteral("filter") + qs(UI::rawValue(filter)).remove(' '));
        button->setAccessibleName(qs(UI::rawValue(filter)));
        button->setCheckable(true);
        connect(button, &QPushButton::clicked, this, [this, filter] { setFilter(filter); });
        filterButtons_.push_back(button);
        filters->addWidget(button);
    }
    more_ = new QToolButton(sidebar);
    more_->setObjectName("filterMore");
    more_->setAccessibleName(tr("More filters"));
    more_->setPopupMode(QToolButton::InstantPopup);
    more_->setCheckable(true);
    auto* menu = new QMenu(more_);
    for (auto filter : UI::allRecordingFilters) {
        if (UI::isInOverflowMenu(filter)) {
            menu->addAction(qs(UI::rawValue(filter)), this, [this, filter] { setFilter(filter); });
        }
    }
    more_->setMenu(menu);
    filters->addWidget(more_);
    filters->addStretch(1);
    side->addLayout(filters);

    customRow_ = new QWidget(sidebar);
    auto* custom = new QHBoxLayout(customRow_);
    custom->setContentsMargins(0, 0, 0, 0);
    customStart_ = new QDateEdit(customRow_);
    customStart_->setObjectName("customStart");
    customStart_->setAccessibleName(tr("From"));
    customStart_->setCalendarPopup(true);
    customEnd_ = new QDateEdit(customRow_);
    customEnd_->setObjectName("customEnd");
    customEnd_->setAccessibleName(tr("To"));
    customEnd_->setCalendarPopup(true);
    auto today = QDateTime::fromSecsSinceEpoch(qint64(Support::unixSeconds(context_.scheduler.now()))).date();
    customStart_->setDate(today.addDays(-7));
    customEnd_->setDate(today);
    custom->addWidget(new QLabel(tr("From"), customRow_));
    custom->addWidget(customStart_, 1);
    custom->addWidget(new QLabel(tr("To"), customRow_));
    custom->addWidget(customEnd_, 1);
    customRow_->hide();
    side->addWidget(customRow_);
    auto applyRange = [this] { setCustomRange(customStart_->date(), customEnd_->date()); };
    connect(customStart_, &QDateEdit::dateChanged, this, applyRange);
    connect(customEnd_, &QDateEdit::dateChanged, this, applyRange);

    sort_ = new QComboBox(sidebar);
    sort_->setObjectName("librarySort");
    sort_->setAccessibleName(tr("Sort"));
    for (auto sort : UI::allRecordingSorts) {
        sort_->addItem(qs(UI::rawValue(sort)), int(sort));
    }
    connect(sort_, &QComboBox::activated, this,
            [this](int index) { setSort(static_cast<UI::RecordingSort>(sort_->itemData(index).toInt())); });
    side->addWidget(sort_);

    model_ = new RecordingListModel(this);
    list_ = new QListView(sidebar);
    list_->setObjectName("recordingList");
    list_->setAccessibleName(tr("Recordings"));
    list_->setModel(model_);
    list_->setUniformItemSizes(true);
    list_->setSpacing(2);
    list_->setAlternatingRowColors(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    side->addWidget(list_, 3);

    moments_ = new QTreeWidget(sidebar);
    moments_->setObjectName("momentsList");
    moments_->setAccessibleName(tr("Moments"));
    moments_->setHeaderLabel(tr("Moments"));
    moments_->setWordWrap(true);
    moments_->hide();
    side->addWidget(moments_, 2);

    status_ = new QLabel(sidebar);
    status_->setObjectName("libraryStatus");
    side->addWidget(status_);

    detail_ = new QStackedWidget(splitter);
    detail_->setMinimumWidth(int(UI::LibraryLayout::detailMinWidth));
    placeholder_ = new QLabel(tr("Select a recording"), detail_);
    placeholder_->setAlignment(Qt::AlignCenter);
    detail_->addWidget(placeholder_);
    splitter->addWidget(sidebar);
    splitter->addWidget(detail_);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes(
        {int(UI::LibraryLayout::sidebarWidth), int(UI::LibraryLayout::detailWidthAtMinimumWindow)});

    connect(search_, &QLineEdit::textChanged, this,
            [this](const QString& text) { context_.library.search(text.toStdString()); });
    connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& index) {
                if (index.isValid()) {
                    const auto& r = model_->recordings()[size_t(index.row())];
                    if (!page_ || page_->recording().id != r.id) {
                        showPage(r, std::nullopt);
                    }
                }
            });
    connect(list_, &QListView::customContextMenuRequested, this, [this](const QPoint& at) {
        auto index = list_->indexAt(at);
        if (!index.isValid()) {
            return;
        }
        auto r = model_->recordings()[size_t(index.row())];
        auto* popup = new QMenu(this);
        popup->setAttribute(Qt::WA_DeleteOnClose);
        popup->addAction(r.isFavorite ? tr("Unfavorite") : tr("Favorite"), this,
                         [this, r] { detach(context_.library.toggleFavorite(r)); });
        popup->addAction(tr("Delete..."), this, [this, r] { confirmDelete(r); });
        popup->popup(list_->viewport()->mapToGlobal(at));
    });
    connect(moments_, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item, int) {
        auto id = item->data(0, recordingIdRole).toLongLong();
        auto time = item->data(0, momentTimeRole);
        openRecording(id, time.isValid() ? std::optional<double>(time.toDouble()) : std::nullopt);
    });

    subscriptions_ += context_.library.recordings.observe([this](const auto&) { refreshList(); });
    subscriptions_ += context_.library.momentGroups.observe([this](const auto&) { refreshMoments(); });
    subscriptions_ += context_.library.isSearchingMoments.observe([this](bool) { refreshMoments(); });
    refreshFilterButtons();
    refreshList();
}

LibraryWindow::~LibraryWindow() = default;

void LibraryWindow::closeEvent(QCloseEvent* event) {
    // Closing only hides the window; the app keeps running in the tray.
    event->accept();
    Q_EMIT closed();
}

void LibraryWindow::setFilter(UI::RecordingFilter filter) {
    context_.library.filter = filter;
    customRow_->setVisible(filter == UI::RecordingFilter::custom);
    if (filter == UI::RecordingFilter::custom) {
        setCustomRange(customStart_->date(), customEnd_->date());
        return;
    }
    refreshFilterButtons();
    refreshList();
}

void LibraryWindow::setSort(UI::RecordingSort sort) {
    context_.library.sort = sort;
    sort_->setCurrentIndex(sort_->findData(int(sort)));
    refreshList();
}

void LibraryWindow::setCustomRange(QDate start, QDate end) {
    if (customStart_->date() != start) {
        customStart_->setDate(start);
    }
    if (customEnd_->date() != end) {
        customEnd_->setDate(end);
    }
    context_.library.customStartDate = noonOf(start);
    context_.library.customEndDate = noonOf(end);
    refreshFilterButtons();
    refreshList();
}

void LibraryWindow::refreshFilterButtons() {
    auto current = context_.library.filter;
    size_t i = 0;
    for (auto filter : UI::allRecordingFilters) {
        if (!UI::isInOverflowMenu(filter)) {
            filterButtons_[i++]->setChecked(filter == current);
        }
    }
    more_->setChecked(UI::isInOverflowMenu(current));
    if (current == UI::RecordingFilter::custom) {
        more_->setText(qs(UI::FilterBar::customTitle(context_.library.customStartDate,
                                                     context_.library.customEndDate, context_.dateContext)));
    } else if (UI::isInOverflowMenu(current)) {
        more_->setText(qs(UI::rawValue(current)));
    } else {
        more_->setText(tr("More"));
    }
}

void LibraryWindow::refreshList() {
    auto shown = context_.library.displayedRecordings(context_.scheduler.now(), context_.dateContext);
    std::optional<Database::RecordingId> selected;
    if (page_) {
        selected = page_->recording().id;
    }
    model_->setRecordings(std::move(shown), context_.scheduler.now(), context_.dateContext);
    const auto& rows = model_->recordings();
    if (selected) {
        for (size_t i = 0; i < rows.size(); ++i) {
            if (rows[i].id == *selected) {
                list_->selectionModel()->setCurrentIndex(model_->index(int(i)),
                                                         QItemSelectionModel::ClearAndSelect);
                break;
            }
        }
        if (auto fresh = context_.library.shownRecording(*selected)) {
            page_->update(*fresh);
        } else {
            // The recording is gone (deleted here or elsewhere).
            detail_->removeWidget(page_);
            page_->deleteLater();
            page_ = nullptr;
            detail_->setCurrentWidget(placeholder_);
        }
    }
    status_->setText(rows.empty() && context_.library.hasLoadedOnce.get() ? tr("No recordings") : QString());
}

void LibraryWindow::refreshMoments() {
    const auto& groups = context_.library.momentGroups.get();
    moments_->clear();
    bool searching = !search_->text().trimmed().isEmpty();
    moments_->setVisible(searching && (!groups.empty() || context_.library.isSearchingMoments.get()));
    moments_->setHeaderLabel(context_.library.isSearchingMoments.get() ? tr("Searching moments...")
                                                                       : tr("Moments"));
    for (const auto& group : groups) {
        auto* top = new QTreeWidgetItem(moments_, {qs(group.recording.title)});
        top->setData(0, recordingIdRole, QVariant::fromValue<qlonglong>(group.id()));
        for (const auto& hit : group.hits) {
            QString line =
                qs(Database::TranscriptTextFormatter::timestamp(hit.startTime)) + QStringLiteral("  ");
            if (hit.source == Intelligence::MomentHit::Source::screen) {
                line += tr("On screen: ");
            } else if (!hit.speaker.empty()) {
                line += qs(hit.speaker) + QStringLiteral(": ");
            }
            line += qs(hit.text);
            auto* child = new QTreeWidgetItem(top, {line});
            child->setData(0, recordingIdRole, QVariant::fromValue<qlonglong>(group.id()));
            child->setData(0, momentTimeRole, hit.startTime);
            child->setToolTip(0, qs(hit.text));
        }
        top->setExpanded(true);
    }
}

void LibraryWindow::openRecording(Database::RecordingId id, std::optional<double> transcriptTime) {
    const auto& rows = model_->recordings();
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].id == id) {
            showPage(rows[i], transcriptTime);
            list_->selectionModel()->setCurrentIndex(model_->index(int(i)),
                                                     QItemSelectionModel::ClearAndSelect);
            return;
        }
    }
    if (auto r = context_.library.shownRecording(id)) {
        showPage(*r, transcriptTime);
    }
}

void LibraryWindow::showPage(const Recording& recording, std::optional<double> transcriptTime) {
    if (!page_ || page_->recording().id != recording.id) {
        if (page_) {
            detail_->removeWidget(page_);
            page_->deleteLater();
        }
        page_ =
            new RecordingPage(recording,
                              {context_.database, context_.defaults, context_.scheduler, context_.dateContext,
                               context_.copy, context_.jobs, context_.generation, context_.player},
                              detail_);
        page_->onToggleFavorite = [this](const Recording& r) { detach(context_.library.toggleFavorite(r)); };
        page_->onDelete = [this](const Recording& r) { confirmDelete(r); };
        detail_->addWidget(page_);
    }
    detail_->setCurrentWidget(page_);
    if (transcriptTime) {
        page_->showTranscriptAt(*transcriptTime);
    }
}

void LibraryWindow::confirmDelete(const Recording& recording) {
    auto* box =
        new QMessageBox(QMessageBox::Warning, tr("Delete Recording"),
                        tr("Delete \u201c%1\u201d?").arg(qs(recording.title)), QMessageBox::NoButton, this);
    box->setObjectName("deleteConfirmation");
    box->setInformativeText(
        tr("The recording, its transcript and its video are removed. This cannot be undone."));
    auto* remove = box->addButton(tr("Delete"), QMessageBox::DestructiveRole);
    remove->setObjectName("confirmDelete");
    box->addButton(QMessageBox::Cancel)->setObjectName("cancelDelete");
    box->setDefaultButton(QMessageBox::Cancel);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::buttonClicked, this, [this, remove, recording](QAbstractButton* clicked) {
        if (clicked == remove) {
            detach(context_.library.deleteRecording(recording));
        }
    });
    box->open();
}

} // namespace Desktop
