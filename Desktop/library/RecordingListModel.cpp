#include "Desktop/library/RecordingListModel.h"

#include "Database/TranscriptTextFormatter.h"
#include "UI/library/Formatters.h"

namespace Desktop {

RecordingListModel::RecordingListModel(QObject* parent) : QAbstractListModel(parent) {}

void RecordingListModel::setRecordings(std::vector<Recording> recordings, Support::Date now,
                                       UI::DateContext context) {
    beginResetModel();
    recordings_ = std::move(recordings);
    now_ = now;
    context_ = std::move(context);
    endResetModel();
}

int RecordingListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(recordings_.size());
}

QVariant RecordingListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= static_cast<int>(recordings_.size())) {
        return {};
    }
    const auto& r = recordings_[static_cast<size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole: {
        auto title = QString::fromStdString(r.title);
        if (r.isFavorite) {
            title = QStringLiteral("\u2605 ") + title;
        }
        auto detail =
            QString::fromStdString(UI::Formatters::formatRelativeDate(r.startDate, false, now_, context_)) +
            QStringLiteral(" \u00b7 ") +
            QString::fromStdString(Database::TranscriptTextFormatter::timestamp(r.duration));
        return title + QLatin1Char('\n') + detail;
    }
    case Qt::ToolTipRole:
        return QString::fromStdString(UI::Formatters::formatRelativeDate(r.startDate, true, now_, context_));
    case recordingIdRole:
        return QVariant::fromValue<qlonglong>(r.id);
    default:
        return {};
    }
}

} // namespace Desktop
