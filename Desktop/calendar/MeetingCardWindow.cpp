#include "Desktop/calendar/MeetingCardWindow.h"

#include "UI/calendar/MeetingOverlayKeyPolicy.h"

#include <QApplication>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace Desktop {

namespace {
QString qs(std::string_view s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}
/// A button title shown as written ("Join & Record"), not with "&" marking a mnemonic.
QString buttonText(std::string_view s) {
    return qs(s).replace(QLatin1Char('&'), QStringLiteral("&&"));
}
using Policy = UI::MeetingOverlayKeyPolicy;
using Button = UI::MeetingOverlayPresentation::Button;

QLabel* label(const std::string& text, QWidget* parent, const char* name, double scale = 1,
              bool bold = false) {
    auto* l = new QLabel(qs(text), parent);
    l->setObjectName(name);
    l->setWordWrap(true);
    l->setAlignment(Qt::AlignHCenter);
    QFont f = l->font();
    f.setPointSizeF(f.pointSizeF() * scale);
    f.setBold(bold);
    l->setFont(f);
    return l;
}
} // namespace

MeetingCardWindow::MeetingCardWindow(UI::MeetingReminderCard card, Support::Scheduler& scheduler,
                                     UI::MeetingReminderPresenter::CardActionHandler onAction,
                                     QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      card_(std::move(card)), scheduler_(scheduler), onAction_(std::move(onAction)),
      guardEnds_(scheduler.monotonicNow() +
                 (card_.shownAt + Support::seconds(Policy::guardPeriod) - scheduler.now())) {
    const auto& p = card_.presentation;
    setObjectName("meetingCard");
    setWindowTitle(qs(p.title));
    setAccessibleName(qs(p.title));
    setAccessibleDescription(qs(p.summary));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);

    auto* outer = new QVBoxLayout(this);
    outer->addStretch(1);
    auto* frame = new QFrame(this);
    frame->setObjectName("cardFrame");
    frame->setFrameShape(QFrame::StyledPanel);
    frame->setAutoFillBackground(true);
    frame->setMaximumWidth(560);
    frame->setMinimumWidth(420);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(frame);
    row->addStretch(1);
    outer->addLayout(row);
    outer->addStretch(1);

    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(8);
    layout->addWidget(label(p.serviceName, frame, "cardService"));
    layout->addWidget(label(p.title, frame, "cardTitle", 1.6, true));
    layout->addWidget(label(p.relativeTime, frame, "cardRelativeTime", 1.2));
    layout->addWidget(label(p.timeRangeText, frame, "cardTimeRange"));

    auto* buttonRow = new QHBoxLayout;
    for (auto button : p.buttons) {
        auto* b = new QPushButton(buttonText(UI::title(button)), frame);
        b->setObjectName(qs(UI::rawValue(button)));
        b->setAccessibleName(qs(UI::title(button)));
        b->setAutoDefault(false);
        b->setFocusPolicy(Qt::StrongFocus);
        connect(b, &QPushButton::clicked, this,
                [this, button] { report(UI::MeetingOverlayAction::button(button)); });
        buttons_.push_back(b);
        buttonRow->addWidget(b);
    }
    layout->addSpacing(8);
    layout->addLayout(buttonRow);

    for (const auto& extra : p.extraRows) {
        auto* line = new QHBoxLayout;
        auto* texts = new QVBoxLayout;
        auto* t = label(extra.title, frame, "extraTitle", 1, true);
        t->setAlignment(Qt::AlignLeft);
        auto* d = label(extra.detail, frame, "extraDetail");
        d->setAlignment(Qt::AlignLeft);
        texts->addWidget(t);
        texts->addWidget(d);
        line->addLayout(texts, 1);
        auto* join = new QPushButton(buttonText(extra.joinTitle), frame);
        join->setObjectName("joinExtra");
        join->setAccessibleName(qs(extra.joinTitle + " " + extra.title));
        join->setAutoDefault(false);
        connect(join, &QPushButton::clicked, this,
                [this, key = extra.occurrenceKey] { report(UI::MeetingOverlayAction::joinExtra(key)); });
        buttons_.push_back(join);
        line->addWidget(join);
        layout->addLayout(line);
    }
    if (p.snoozeLine) {
        layout->addWidget(label(*p.snoozeLine, frame, "cardSnoozeLine", 0.9));
    }
    // Only the main buttons are reported by `buttons()`: the extra rows' come after them.
    // Keys reach the focused button first; Tab would move the focus before any key handler: the filter sees
    // every key first.
    installEventFilter(this);
    for (auto* child : findChildren<QWidget*>()) {
        child->installEventFilter(this);
    }
}

MeetingCardWindow::~MeetingCardWindow() = default;

void MeetingCardWindow::present() {
    auto* primary = QGuiApplication::primaryScreen();
    for (auto* screen : QGuiApplication::screens()) {
        if (screen == primary) {
            continue;
        }
        auto dim =
            std::make_unique<QWidget>(nullptr, Qt::Window | Qt::FramelessWindowHint |
                                                   Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
        dim->setAttribute(Qt::WA_ShowWithoutActivating);
        dim->setAttribute(Qt::WA_TranslucentBackground);
        dim->setObjectName("cardDimmer");
        dim->setStyleSheet("background: rgba(0, 0, 0, 110);");
        dim->setGeometry(screen->geometry());
        dim->show();
        dimmers_.push_back(std::move(dim));
    }
    if (primary) {
        setGeometry(primary->geometry());
    }
    show();
    raise();
    auto remaining = guardEnds_ - scheduler_.monotonicNow();
    focusTimer_ = scheduler_.after(remaining, [this] {
        activateWindow();
        if (!buttons_.empty()) {
            buttons_.front()->setFocus(Qt::OtherFocusReason);
        }
    });
}

void MeetingCardWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(0, 0, 0, 110));
}

std::uint16_t MeetingCardWindow::keyCode(int qtKey) {
    switch (qtKey) {
    case Qt::Key_Escape:
        return Policy::escapeKey;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return Policy::tabKey;
    case Qt::Key_Return:
        return Policy::returnKey;
    case Qt::Key_Enter:
        return Policy::keypadEnterKey;
    case Qt::Key_Space:
        return Policy::spaceKey;
    case Qt::Key_Left:
        return Policy::arrows[0];
    case Qt::Key_Right:
        return Policy::arrows[1];
    case Qt::Key_Down:
        return Policy::arrows[2];
    case Qt::Key_Up:
        return Policy::arrows[3];
    default:
        return 0;
    }
}

bool MeetingCardWindow::isGuarded() const {
    return scheduler_.monotonicNow() < guardEnds_;
}

bool MeetingCardWindow::handleKey(QKeyEvent* event) {
    auto outcome = Policy::outcome(keyCode(event->key()), isGuarded(), hasNavigated_);
    switch (outcome) {
    case Policy::Outcome::swallow:
        return true;
    case Policy::Outcome::escape:
        if (auto action = Policy::action(outcome)) {
            report(*action);
        }
        return true;
    case Policy::Outcome::navigation: {
        hasNavigated_ = true;
        bool forward =
            event->key() == Qt::Key_Tab || event->key() == Qt::Key_Right || event->key() == Qt::Key_Down;
        moveFocus(forward);
        return true;
    }
    case Policy::Outcome::passThrough: {
        auto code = keyCode(event->key());
        if (code == Policy::returnKey || code == Policy::keypadEnterKey || code == Policy::spaceKey) {
            if (auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
                focused && std::find(buttons_.begin(), buttons_.end(), focused) != buttons_.end()) {
                focused->click();
            }
            return true;
        }
        return false;
    }
    }
    return false;
}

void MeetingCardWindow::moveFocus(bool forward) {
    if (buttons_.empty()) {
        return;
    }
    auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
    auto it = std::find(buttons_.begin(), buttons_.end(), focused);
    long index = it == buttons_.end() ? (forward ? -1 : 0) : long(it - buttons_.begin());
    long count = long(buttons_.size());
    index = ((forward ? index + 1 : index - 1) % count + count) % count;
    buttons_[size_t(index)]->setFocus(Qt::TabFocusReason);
}

bool MeetingCardWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (event->type() == QEvent::ShortcutOverride) {
            // Claim every key so that no shortcut elsewhere acts on it before the policy decides.
            event->accept();
            return true;
        }
        if (handleKey(key)) {
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void MeetingCardWindow::keyPressEvent(QKeyEvent* event) {
    if (!handleKey(event)) {
        QWidget::keyPressEvent(event);
    }
}

void MeetingCardWindow::report(const UI::MeetingOverlayAction& action) {
    if (reported_) {
        return;
    }
    reported_ = true;
    focusTimer_.reset();
    dimmers_.clear();
    hide();
    if (onAction_) {
        auto handler = onAction_;
        handler(action);
    }
}

} // namespace Desktop
