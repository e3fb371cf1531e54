// The transcript tab of a recording's page: the speaker chips, the search field, the rows with their topic
// dividers, "Copy All", the page count with "Load More Segments", and the follow-playback switch. A thin view
// over `UI::TranscriptReaderModel`: every text and decision comes from it. The player (or a test) reports
// the playback time through `setPlaybackTime`; the tab reports the active row's frame and the user's own
// scrolls to the model's follow controller and scrolls along only while it says so.
#pragma once

#include "UI/library/TranscriptReaderModel.h"

#include <QWidget>

#include <optional>

class QCheckBox;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace Desktop {

class TranscriptTab : public QWidget {
    Q_OBJECT
public:
    static constexpr int startTimeRole = Qt::UserRole + 1;
    static constexpr int segmentIdRole = Qt::UserRole + 2;

    explicit TranscriptTab(UI::TranscriptReaderModel& model, QWidget* parent = nullptr);

    /// Shows the row being played at `seconds`, scrolling to it when the follow controller is engaged.
    void setPlaybackTime(double seconds);
    /// Scrolls to and selects the row spoken at `seconds` (a search moment), loading pages until it is there.
    void revealTime(double seconds);

    QListWidget* list() const { return list_; }

private:
    void rebuildChips();
    void rebuildRows();
    void updateFooter();
    QListWidgetItem* rowAt(double seconds) const;
    void continueReveal();

    UI::TranscriptReaderModel& model_;
    QHBoxLayout* chips_ = nullptr;
    QLineEdit* search_ = nullptr;
    QPushButton* copy_ = nullptr;
    QCheckBox* follow_ = nullptr;
    QListWidget* list_ = nullptr;
    QLabel* empty_ = nullptr;
    QLabel* count_ = nullptr;
    QPushButton* loadMore_ = nullptr;
    std::optional<double> pendingReveal_;
    std::optional<std::int64_t> activeSegment_;
    bool scrollingProgrammatically_ = false;
    bool loaded_ = false;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
