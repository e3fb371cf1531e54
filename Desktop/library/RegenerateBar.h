// The row above a recording's summary that writes its title, summary or action items again with AI:
// "Regenerate Title", "Regenerate Summary", "Regenerate Action Items", the progress line of the job under
// way (the runner's texts: "Generating summary...", "Summarizing part 2 of 5…", "Waiting for … to load...")
// and the failure text of the last job that failed (the job's own message, such as "AI model not
// configured. Go to Settings to set up an AI model."). Jobs run in `UI::AIGenerationJobs` (one per kind and
// recording; a new one supersedes the old), so a job started here keeps running when the page closes, and a
// page opened on a recording with a running job shows it.
//
// Without an AI client (no provider set up) the buttons are disabled and say why in their tooltip.
#pragma once

#include "Database/DatabaseManager.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QLabel;
class QPushButton;

namespace Desktop {

class RegenerateBar : public QWidget {
    Q_OBJECT
public:
    using Kind = UI::AIGenerationJobs::Kind;
    struct Context {
        Database::DatabaseManager& database;
        UI::AIGenerationJobs& jobs;
        /// The client over the AI service, or nothing when AI is not set up.
        std::function<std::optional<UI::AIGenerationClient>()> generation;
    };

    RegenerateBar(Database::RecordingId recording, Context context, QWidget* parent = nullptr);
    ~RegenerateBar() override;

    void regenerate(Kind kind);

    /// The summary as it is being written.
    std::function<void(const std::string& textSoFar)> onSummaryText;
    /// A job ended (finished or failed): the page reads the recording again.
    std::function<void(Kind kind)> onFinished;

    QLabel* progress() const { return progress_; }
    QLabel* failure() const { return failure_; }

private:
    void refresh();
    QPushButton* button(Kind kind) const;

    Database::RecordingId recording_;
    Context context_;
    QPushButton* title_ = nullptr;
    QPushButton* summary_ = nullptr;
    QPushButton* actionItems_ = nullptr;
    QLabel* progress_ = nullptr;
    QLabel* failure_ = nullptr;
    Support::Subscription ends_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Desktop
