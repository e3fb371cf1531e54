#include "Desktop/settings/HotKeysSettingsPage.h"

#include "Desktop/settings/HotKeyConflicts.h"
#include "Desktop/settings/SettingsForm.h"
#include "UI/recording/LiveRecapShortcut.h"
#include "UI/recording/NotesShortcut.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;

HotKeysSettingsPage::HotKeysSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("hotKeySettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("Hot Keys"), this));
    layout->addWidget(caption(tr("These work while any application is in front. Type a combination such as "
                                 "ctrl+alt+n or ⌃⌥N, then Set."),
                              this));
    auto* grid = new QGridLayout;
    auto row = [&](int r, const QString& label, const QString& title, Which which, QLabel*& current,
                   QLineEdit*& input, const char* prefix) {
        grid->addWidget(new QLabel(label, this), r, 0);
        current = new QLabel(this);
        current->setObjectName(QString::fromLatin1(prefix) + "Shortcut");
        QFont big = current->font();
        big.setBold(true);
        current->setFont(big);
        grid->addWidget(current, r, 1);
        input = named(new QLineEdit(this), (std::string(prefix) + "Input").c_str(), tr("New %1").arg(title));
        input->setPlaceholderText(tr("New combination"));
        grid->addWidget(input, r, 2);
        auto* set = named(new QPushButton(tr("Set"), this), (std::string(prefix) + "Set").c_str(),
                          tr("Set the %1").arg(title));
        grid->addWidget(set, r, 3);
        auto* reset = named(new QPushButton(tr("Reset"), this), (std::string(prefix) + "Reset").c_str(),
                            tr("Reset the %1").arg(title));
        grid->addWidget(reset, r, 4);
        connect(set, &QPushButton::clicked, this, [this, which] { this->set(which); });
        connect(input, &QLineEdit::returnPressed, this, [this, which] { this->set(which); });
        connect(reset, &QPushButton::clicked, this, [this, which] { this->reset(which); });
    };
    row(0, tr("Notes panel:"), tr("notes shortcut"), Which::notes, notes_, notesInput_, "notes");
    row(1, tr("Live recap:"), tr("live recap shortcut"), Which::liveRecap, liveRecap_, liveRecapInput_,
        "liveRecap");
    grid->setColumnStretch(2, 1);
    layout->addLayout(grid);
    error_ = new QLabel(this);
    error_->setObjectName("hotKeyError");
    error_->setWordWrap(true);
    error_->hide();
    layout->addWidget(error_);
    report_ = new QLabel(this);
    report_->setObjectName("hotKeyReport");
    report_->setWordWrap(true);
    layout->addWidget(report_);
    layout->addStretch(1);

    auto again = [this](const auto&) { refresh(); };
    subscriptions_ += services_.center.observe(UI::NotesShortcut::didChangeNotification, again);
    subscriptions_ += services_.center.observe(UI::LiveRecapShortcut::didChangeNotification, again);
    refresh();
}

void HotKeysSettingsPage::refresh() {
    auto notes = UI::NotesShortcut::load(services_.defaults);
    auto recap = UI::LiveRecapShortcut::load(services_.defaults);
    notes_->setText(qs(notes.displayString()));
    notes_->setAccessibleName(tr("Notes shortcut: %1").arg(qs(notes.accessibilityLabel())));
    liveRecap_->setText(qs(recap.displayString()));
    liveRecap_->setAccessibleName(tr("Live recap shortcut: %1").arg(qs(recap.accessibilityLabel())));
    bool taken = services_.defaults.boolean(UI::LiveRecapShortcut::registrationFailedKey).value_or(false);
    auto report = HotKeyConflicts::report(notes, recap, taken);
    showOutcome(report_, report.value_or(""), true);
}

void HotKeysSettingsPage::set(Which which) {
    auto* input = which == Which::notes ? notesInput_ : liveRecapInput_;
    auto parsed = HotKeyConflicts::parse(input->text().trimmed().toStdString());
    if (auto* why = std::get_if<std::string>(&parsed)) {
        showOutcome(error_, *why, true);
        return;
    }
    error_->hide();
    input->clear();
    const auto& shortcut = std::get<UI::NotesShortcut>(parsed);
    if (which == Which::notes) {
        UI::NotesShortcut::save(shortcut, services_.defaults, services_.center);
    } else {
        UI::LiveRecapShortcut::save(shortcut, services_.defaults, services_.center);
    }
    refresh();
}

void HotKeysSettingsPage::reset(Which which) {
    error_->hide();
    if (which == Which::notes) {
        UI::NotesShortcut::reset(services_.defaults, services_.center);
    } else {
        UI::LiveRecapShortcut::reset(services_.defaults, services_.center);
    }
    refresh();
}

} // namespace Desktop
