// A recording's page in the library window: the title, the expanded date and length, the favourite and
// delete buttons, and two tabs: "Summary" (the summary, the action items and the topics, read from the
// store, with the row that regenerates them) and "Transcript" (the transcript tab over its own reader model).
// The buttons only report the request: the library window owns favouriting and the deletion with its
// confirmation.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Scheduler.h"
#include "Support/TaskGroup.h"
#include "Support/UserDefaults.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/library/DateContext.h"
#include "UI/library/TranscriptReaderModel.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QLabel;
class QPushButton;
class QTabWidget;
class QTextBrowser;

namespace Desktop {

class PlaybackSource;
class PlayerBar;
class RegenerateBar;
class TranscriptTab;

class RecordingPage : public QWidget {
    Q_OBJECT
public:
    using Recording = Database::DatabaseManager::Recording;

    struct Context {
        Database::DatabaseManager& database;
        Support::UserDefaults& defaults;
        Support::Scheduler& scheduler;
        UI::DateContext dateContext;
        std::function<void(const std::string&)> copy;
        /// Regenerating the title, summary and action items: the job register (none: no buttons) and the
        /// AI client (empty, or giving nothing: AI is not set up).
        UI::AIGenerationJobs* jobs = nullptr;
        std::function<std::optional<UI::AIGenerationClient>()> generation = {};
        /// The player of a recording (none: no player row).
        std::function<std::unique_ptr<PlaybackSource>(const Recording&)> player = {};
    };

    RecordingPage(Recording recording, Context context, QWidget* parent = nullptr);
    ~RecordingPage() override;

    /// Called with this page's recording when its favourite or delete button is pressed.
    std::function<void(const Recording&)> onToggleFavorite;
    std::function<void(const Recording&)> onDelete;

    /// Refreshes the header after the list changed (a favourite flipped, a title regenerated).
    void update(const Recording& recording);
    /// Opens the transcript tab at `seconds`.
    void showTranscriptAt(double seconds);

    const Recording& recording() const { return recording_; }
    UI::TranscriptReaderModel& reader() { return *reader_; }
    TranscriptTab* transcriptTab() const { return transcript_; }
    /// Null without a player.
    PlaybackSource* player() const { return player_.get(); }
    PlayerBar* playerBar() const { return playerBar_; }
    /// Null without a job register.
    RegenerateBar* regenerateBar() const { return regenerate_; }
    QTabWidget* tabs() const { return tabs_; }

private:
    void updateHeader();
    void loadSummary();
    /// Reads the recording again (after a regenerated title or summary).
    void reload();

    Recording recording_;
    Context context_;
    std::unique_ptr<UI::TranscriptReaderModel> reader_;
    QLabel* title_ = nullptr;
    QLabel* date_ = nullptr;
    QPushButton* favorite_ = nullptr;
    QPushButton* delete_ = nullptr;
    QTabWidget* tabs_ = nullptr;
    QTextBrowser* summary_ = nullptr;
    TranscriptTab* transcript_ = nullptr;
    RegenerateBar* regenerate_ = nullptr;
    std::unique_ptr<PlaybackSource> player_;
    PlayerBar* playerBar_ = nullptr;
    Support::SubscriptionBag playback_;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace Desktop
