// The library list's rows for Qt's list view: the recordings the library view model displays, each shown as
// its title (a star in front for a favourite) over its relative date and length. Holds a copy of the list;
// `setRecordings` replaces it in one reset, which keeps 100,000 rows cheap (the view asks only for the
// rows it draws). Used by the library window.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Time.h"
#include "UI/library/DateContext.h"

#include <QAbstractListModel>

#include <vector>

namespace Desktop {

class RecordingListModel : public QAbstractListModel {
    Q_OBJECT
public:
    using Recording = Database::DatabaseManager::Recording;
    enum Role { recordingIdRole = Qt::UserRole + 1 };

    explicit RecordingListModel(QObject* parent = nullptr);

    void setRecordings(std::vector<Recording> recordings, Support::Date now, UI::DateContext context);
    const std::vector<Recording>& recordings() const { return recordings_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    std::vector<Recording> recordings_;
    Support::Date now_{};
    UI::DateContext context_;
};

} // namespace Desktop
