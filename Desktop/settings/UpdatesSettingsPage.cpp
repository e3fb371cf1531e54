#include "Desktop/settings/UpdatesSettingsPage.h"

#include "Desktop/settings/SettingsForm.h"
#include "UI/updates/UpdateCheckPreferences.h"

#include <QCheckBox>
#include <QDateTime>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;

UpdatesSettingsPage::UpdatesSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("updateSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("Updates"), this));
    auto* version = new QLabel(tr("Vellmora %1").arg(qs(services_.version)), this);
    version->setObjectName("version");
    layout->addWidget(version);
    automatic_ = named(new QCheckBox(tr("Look for new versions automatically"), this), "automaticUpdates",
                       tr("Look for new versions automatically"));
    layout->addWidget(automatic_);
    lastCheck_ = caption(QString(), this, "lastCheck");
    layout->addWidget(lastCheck_);
    auto* check = named(new QPushButton(tr("Check Now"), this), "checkNow", tr("Check for updates now"));
    check->setEnabled(bool(services_.checkForUpdates));
    layout->addWidget(check, 0, Qt::AlignLeft);
    layout->addStretch(1);
    connect(automatic_, &QCheckBox::toggled, this,
            [this](bool on) { UI::UpdateCheckPreferences(services_.defaults).setEnabled(on); });
    connect(check, &QPushButton::clicked, this, [this] {
        if (services_.checkForUpdates) {
            services_.checkForUpdates();
        }
    });
    refresh();
}

void UpdatesSettingsPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

void UpdatesSettingsPage::refresh() {
    UI::UpdateCheckPreferences preferences(services_.defaults);
    automatic_->setChecked(preferences.isEnabled());
    auto last = preferences.lastCheckDate();
    if (last) {
        auto when = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(Support::unixSeconds(*last)));
        lastCheck_->setText(tr("Last checked %1").arg(QLocale().toString(when, QLocale::ShortFormat)));
    } else {
        lastCheck_->setText(tr("Not checked yet"));
    }
}

} // namespace Desktop
