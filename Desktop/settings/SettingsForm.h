// Small helpers the settings pages share to build their forms: text conversion, a page heading, a caption
// under a control, and naming a control for screen readers and tests in one call.
#pragma once

#include <QLabel>
#include <QLayout>
#include <QString>
#include <QWidget>

#include <string>
#include <string_view>

namespace Desktop::SettingsForm {

inline QString qs(std::string_view s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

/// Sets the object name (tests find the control by it) and the accessible name (screen readers say it).
template <typename W> W* named(W* widget, const char* objectName, const QString& accessibleName) {
    widget->setObjectName(QString::fromLatin1(objectName));
    widget->setAccessibleName(accessibleName);
    return widget;
}

inline QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.3);
    label->setFont(font);
    label->setAccessibleName(text);
    return label;
}

/// A secondary line under a control, wrapped; `objectName` lets tests read it.
inline QLabel* caption(const QString& text, QWidget* parent, const char* objectName = "") {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setObjectName(QString::fromLatin1(objectName));
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

/// Shows `text` in `label` (hidden when empty), in the error colour when `failure`.
inline void showOutcome(QLabel* label, const std::string& text, bool failure) {
    label->setText(qs(text));
    label->setAccessibleName(qs(text));
    // A red that reads on light and dark themes alike.
    label->setStyleSheet(failure ? QStringLiteral("color: #d9382c;") : QString());
    label->setVisible(!text.empty());
}

/// Empties `layout`, nested layouts too. Widgets go later (one may be the button whose click rebuilt the
/// page) and lose their names now, so that nothing finds them meanwhile.
inline void clearLayout(QLayout* layout) {
    while (auto* item = layout->takeAt(0)) {
        if (auto* inner = item->layout()) {
            clearLayout(inner);
        }
        if (auto* widget = item->widget()) {
            widget->setObjectName(QString());
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
}

} // namespace Desktop::SettingsForm
