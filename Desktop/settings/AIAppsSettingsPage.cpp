#include "Desktop/settings/AIAppsSettingsPage.h"

#include "Desktop/settings/SettingsForm.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;
using Model = UI::AIAppsSettingsModel;

namespace {
template <typename T> void detach(Support::Task<T> task) {
    (void)task;
}

QString statusLabel(UI::MCPClientStatus status) {
    switch (status) {
    case UI::MCPClientStatus::connected:
        return QObject::tr("Connected");
    case UI::MCPClientStatus::needsUpdate:
        return QObject::tr("Needs update");
    case UI::MCPClientStatus::notInstalled:
        return QObject::tr("Not installed");
    case UI::MCPClientStatus::notConnected:
        return QObject::tr("Not connected");
    case UI::MCPClientStatus::unknown:
        break;
    }
    return QObject::tr("Unknown");
}

struct ActionText {
    const char* name;
    QString title;
};
ActionText actionText(Model::RowAction action) {
    switch (action) {
    case Model::RowAction::connect:
        return {"connect", QObject::tr("Connect")};
    case Model::RowAction::disconnect:
        return {"disconnect", QObject::tr("Disconnect")};
    case Model::RowAction::copySetup:
        break;
    }
    return {"copySetup", QObject::tr("Copy Setup")};
}
} // namespace

AIAppsSettingsPage::AIAppsSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("aiAppsSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("AI Apps"), this));
    layout->addWidget(
        caption(tr("Let AI apps on this computer read your recordings and transcripts through "
                   "Vellmora's MCP server. Nothing leaves this computer unless the app sends it."),
                this));
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* list = new QWidget(scroll);
    auto* listLayout = new QVBoxLayout(list);
    rows_ = new QGridLayout;
    rows_->setColumnStretch(0, 1);
    listLayout->addLayout(rows_);
    other_ = caption(QString(), list, "otherApps");
    listLayout->addWidget(other_);
    listLayout->addStretch(1);
    scroll->setWidget(list);
    layout->addWidget(scroll, 1);

    auto& model = services_.aiApps;
    auto again = [this](const auto&) { rebuildRows(); };
    subscriptions_ += model.rows.observe(again);
    subscriptions_ += model.outcomes.observe(again);
    subscriptions_ += model.busy.observe(again);
    subscriptions_ += model.confirmation.observe([this](const auto&) { showConfirmation(); });
    auto snippet = model.otherAppsSnippet();
    other_->setText(snippet ? qs(Model::otherAppsLead) + QStringLiteral("\n\n") + qs(*snippet) : QString());
    other_->setVisible(snippet.has_value());
    rebuildRows();
}

AIAppsSettingsPage::~AIAppsSettingsPage() {
    subscriptions_ = {};
}

void AIAppsSettingsPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    detach(services_.aiApps.refresh());
}

void AIAppsSettingsPage::rebuildRows() {
    clearLayout(rows_);
    auto& model = services_.aiApps;
    int r = 0;
    for (const auto& row : model.rows.get()) {
        auto id = row.client.id;
        auto idText = std::string(UI::rawValue(id));
        auto* name = new QLabel(qs(row.client.displayName), this);
        QFont bold = name->font();
        bold.setBold(true);
        name->setFont(bold);
        rows_->addWidget(name, r, 0);
        auto* status = new QLabel(statusLabel(row.status), this);
        status->setObjectName(qs("status:" + idText));
        status->setAccessibleName(tr("%1: %2").arg(qs(row.client.displayName), statusLabel(row.status)));
        rows_->addWidget(status, r, 1);
        auto* buttons = new QHBoxLayout;
        bool busy = model.busy.get().count(id) > 0;
        for (auto action : model.actions(row)) {
            auto text = actionText(action);
            auto* button = new QPushButton(text.title, this);
            button->setObjectName(qs(std::string(text.name) + ":" + idText));
            button->setAccessibleName(tr("%1 %2").arg(text.title, qs(row.client.displayName)));
            button->setEnabled(!busy);
            connect(button, &QPushButton::clicked, this,
                    [this, action, id] { services_.aiApps.trigger(action, id); });
            buttons->addWidget(button);
        }
        rows_->addLayout(buttons, r, 2);
        ++r;
        auto outcome = model.outcomes.get().find(id);
        QString busyText = busy ? tr("Working…") : QString();
        if (busy || outcome != model.outcomes.get().end()) {
            auto* line = new QLabel(this);
            line->setObjectName(qs("outcome:" + idText));
            line->setWordWrap(true);
            line->setTextInteractionFlags(Qt::TextSelectableByMouse);
            if (busy) {
                line->setText(busyText);
            } else {
                showOutcome(line, outcome->second.text, outcome->second.isFailure);
            }
            rows_->addWidget(line, r++, 0, 1, 3);
        }
        if (row.client.pasteHint && outcome != model.outcomes.get().end()) {
            rows_->addWidget(caption(qs(*row.client.pasteHint), this), r++, 0, 1, 3);
        }
    }
}

void AIAppsSettingsPage::showConfirmation() {
    auto& model = services_.aiApps;
    if (box_) {
        auto* old = box_;
        box_ = nullptr;
        old->close();
    }
    const auto& pending = model.confirmation.get();
    if (!pending) {
        return;
    }
    auto confirmation = *pending;
    bool connecting = confirmation.kind == Model::Confirmation::Kind::connect;
    auto* box = new QMessageBox(QMessageBox::Question, qs(model.confirmationTitle(confirmation)),
                                qs(model.confirmationMessage(confirmation)), QMessageBox::NoButton, this);
    box->setObjectName("aiAppsConfirmation");
    auto* accept = box->addButton(connecting ? tr("Connect") : tr("Remove"),
                                  connecting ? QMessageBox::AcceptRole : QMessageBox::DestructiveRole);
    accept->setObjectName("confirmChange");
    box->addButton(QMessageBox::Cancel)->setObjectName("cancelChange");
    box->setDefaultButton(QMessageBox::Cancel);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::buttonClicked, this, [this, box, accept, confirmation](QAbstractButton* b) {
        if (box_ == box) {
            box_ = nullptr;
        }
        if (b == accept) {
            detach(services_.aiApps.perform(confirmation));
        } else {
            services_.aiApps.cancelConfirmation();
        }
    });
    box_ = box;
    box->open();
}

} // namespace Desktop
