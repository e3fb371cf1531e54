// The library window: on the left the search field, the filter buttons ("All", "Today", "This Week", then
// the overflow menu with "Custom", "Transcribed" and "Favorites"), the custom date range, the sort menu,
// the list of recordings with their relative dates and, while a search runs, the moments it found; on the
// right the selected recording's page. A thin view over `UI::LibraryViewModel`: the list is the model's
// `displayedRecordings`, every edit of the search field goes to `search` (which debounces), and opening a
// moment opens the recording's transcript at the moment's time. Deleting asks first, in a window-modal
// message box that never runs a nested event loop. Closing the window only hides it.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/library/DateContext.h"
#include "UI/library/LibraryViewModel.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStackedWidget;
class QToolButton;
class QTreeWidget;

namespace Desktop {

class PlaybackSource;
class RecordingListModel;
class RecordingPage;

class LibraryWindow : public QWidget {
    Q_OBJECT
public:
    using Recording = Database::DatabaseManager::Recording;

    struct Context {
        UI::LibraryViewModel& library;
        Database::DatabaseManager& database;
        Support::UserDefaults& defaults;
        Support::Scheduler& scheduler;
        UI::DateContext dateContext;
        std::function<void(const std::string&)> copy;
        /// Passed to each recording's page (see `RecordingPage::Context`).
        UI::AIGenerationJobs* jobs = nullptr;
        std::function<std::optional<UI::AIGenerationClient>()> generation = {};
        std::function<std::unique_ptr<PlaybackSource>(const Recording&)> player = {};
    };

    explicit LibraryWindow(Context context, QWidget* parent = nullptr);
    ~LibraryWindow() override;

    /// Selects `id` in the list (when shown) and opens its page, at `transcriptTime` in the transcript when
    /// given.
    void openRecording(Database::RecordingId id, std::optional<double> transcriptTime = std::nullopt);
    void setFilter(UI::RecordingFilter filter);
    void setSort(UI::RecordingSort sort);
    void setCustomRange(QDate start, QDate end);
    /// Asks to delete `recording` (the confirmation is a child named "deleteConfirmation").
    void confirmDelete(const Recording& recording);

    RecordingPage* page() const { return page_; }
    QListView* list() const { return list_; }
    RecordingListModel* listModel() const { return model_; }

Q_SIGNALS:
    /// The user closed the window (it is hidden; the desktop windows may let it go later).
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void refreshList();
    void refreshMoments();
    void refreshFilterButtons();
    void showPage(const Recording& recording, std::optional<double> transcriptTime);

    Context context_;
    QLineEdit* search_ = nullptr;
    std::vector<QPushButton*> filterButtons_;
    QToolButton* more_ = nullptr;
    QWidget* customRow_ = nullptr;
    QDateEdit* customStart_ = nullptr;
    QDateEdit* customEnd_ = nullptr;
    QComboBox* sort_ = nullptr;
    QLabel* status_ = nullptr;
    QListView* list_ = nullptr;
    RecordingListModel* model_ = nullptr;
    QTreeWidget* moments_ = nullptr;
    QStackedWidget* detail_ = nullptr;
    QLabel* placeholder_ = nullptr;
    RecordingPage* page_ = nullptr;
    Support::SubscriptionBag subscriptions_;
};

} // namespace Desktop
