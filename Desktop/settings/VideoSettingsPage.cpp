#include "Desktop/settings/VideoSettingsPage.h"

#include "AudioEngine/VideoExpiryPreferences.h"
#include "Desktop/settings/SettingsForm.h"

#include <QComboBox>
#include <QFormLayout>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;
using AudioEngine::VideoExpiryPreferences;

VideoSettingsPage::VideoSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("videoSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("Screen Video"), this));
    auto* form = new QFormLayout;
    retention_ = named(new QComboBox(this), "videoRetention", tr("Delete screen videos"));
    for (auto option : VideoExpiryPreferences::allOptions()) {
        retention_->addItem(qs(VideoExpiryPreferences::displayName(option)), int(option));
    }
    retention_->setCurrentIndex(
        retention_->findData(int(VideoExpiryPreferences::currentOption(services_.defaults))));
    form->addRow(tr("Delete screen videos:"), retention_);
    layout->addLayout(form);
    layout->addWidget(caption(tr("Screen videos are large. Deleting one keeps the recording's audio, "
                                 "transcript, notes, slides and key screens."),
                              this));
    layout->addStretch(1);
    connect(retention_, &QComboBox::activated, this, [this](int index) {
        VideoExpiryPreferences::setOption(services_.defaults,
                                          std::uint8_t(retention_->itemData(index).toInt()));
    });
}

} // namespace Desktop
