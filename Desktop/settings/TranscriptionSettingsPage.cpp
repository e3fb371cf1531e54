#include "Desktop/settings/TranscriptionSettingsPage.h"

#include "Desktop/settings/SettingsForm.h"
#include "Intelligence/TranscriptionSettings.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;
using Intelligence::TranscriptionEngine;

TranscriptionSettingsPage::TranscriptionSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("transcriptionSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("Speech Engine"), this));
    auto* form = new QFormLayout;
    engine_ = named(new QComboBox(this), "speechEngine", tr("Speech engine"));
    engine_->addItem(tr("None (recordings wait to be transcribed)"), int(TranscriptionEngine::none));
    engine_->addItem(tr("whisper.cpp on this computer"), int(TranscriptionEngine::whisperCli));
    engine_->addItem(tr("Transcription server"), int(TranscriptionEngine::server));
    form->addRow(tr("Engine:"), engine_);
    language_ = named(new QLineEdit(this), "language", tr("Spoken language"));
    language_->setPlaceholderText(tr("auto, or a code such as en"));
    form->addRow(tr("Language:"), language_);
    whisperModel_ = named(new QComboBox(this), "whisperModel", tr("Speech model"));
    form->addRow(tr("Speech model:"), whisperModel_);
    serverURL_ = named(new QLineEdit(this), "serverURL", tr("Server address"));
    form->addRow(tr("Server address:"), serverURL_);
    serverModel_ = named(new QLineEdit(this), "serverModel", tr("Server model"));
    form->addRow(tr("Server model:"), serverModel_);
    layout->addLayout(form);
    auto* applyRow = new QHBoxLayout;
    auto* apply = named(new QPushButton(tr("Apply"), this), "applyTranscription", tr("Apply speech engine"));
    applyRow->addWidget(apply);
    applied_ = caption(QString(), this, "transcriptionApplied");
    applyRow->addWidget(applied_, 1);
    layout->addLayout(applyRow);

    layout->addSpacing(8);
    layout->addWidget(heading(tr("Speech Models"), this));
    models_ = named(new QTreeWidget(this), "speechModels", tr("Speech models"));
    models_->setColumnCount(3);
    models_->setHeaderLabels({tr("Model"), tr("Size"), QString()});
    models_->setRootIsDecorated(false);
    models_->header()->setStretchLastSection(false);
    models_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    layout->addWidget(models_, 1);
    auto* downloadRow = new QHBoxLayout;
    progressText_ = new QLabel(this);
    progressText_->setObjectName("downloadText");
    downloadRow->addWidget(progressText_);
    progress_ = named(new QProgressBar(this), "downloadProgress", tr("Download progress"));
    progress_->setRange(0, 1000);
    downloadRow->addWidget(progress_, 1);
    stop_ = named(new QPushButton(tr("Stop"), this), "stopDownload", tr("Stop the download"));
    downloadRow->addWidget(stop_);
    layout->addLayout(downloadRow);
    message_ = caption(QString(), this, "downloadMessage");
    layout->addWidget(message_);

    connect(engine_, &QComboBox::currentIndexChanged, this, [this](int) { refreshEngineFields(); });
    connect(apply, &QPushButton::clicked, this, [this] { this->apply(); });
    connect(stop_, &QPushButton::clicked, this, [this] { services_.speechModels.cancel(); });
    auto& downloads = services_.speechModels;
    subscriptions_ += downloads.rows.observe([this](const auto&) { rebuildModels(); });
    subscriptions_ += downloads.download.observe([this](const auto&) { refreshDownload(); });
    subscriptions_ += downloads.message.observe(
        [this](const SpeechModelDownloads::Outcome& o) { showOutcome(message_, o.text, o.isFailure); });
    load();
    rebuildModels();
    refreshDownload();
    message_->hide();
}

void TranscriptionSettingsPage::load() {
    auto s = Intelligence::TranscriptionSettings::load(services_.defaults);
    if (s.engine == TranscriptionEngine::simulated && engine_->findData(int(s.engine)) < 0) {
        engine_->addItem(tr("Simulated (demo)"), int(TranscriptionEngine::simulated));
    }
    engine_->setCurrentIndex(engine_->findData(int(s.engine)));
    language_->setText(qs(s.language));
    serverURL_->setText(qs(s.serverBaseURL));
    serverModel_->setText(qs(s.serverModel));
    whisperModel_->clear();
    for (const auto& m : Intelligence::SpeechModels::catalogue()) {
        whisperModel_->addItem(qs(m.name), qs(m.name));
    }
    if (whisperModel_->findData(qs(s.whisperModel)) < 0) {
        whisperModel_->addItem(qs(s.whisperModel), qs(s.whisperModel));
    }
    whisperModel_->setCurrentIndex(whisperModel_->findData(qs(s.whisperModel)));
    refreshEngineFields();
}

void TranscriptionSettingsPage::refreshEngineFields() {
    auto engine = TranscriptionEngine(engine_->currentData().toInt());
    bool server = engine == TranscriptionEngine::server;
    serverURL_->setEnabled(server);
    serverModel_->setEnabled(server);
    whisperModel_->setEnabled(engine == TranscriptionEngine::whisperCli);
    language_->setEnabled(engine != TranscriptionEngine::none);
}

void TranscriptionSettingsPage::apply() {
    auto s = Intelligence::TranscriptionSettings::load(services_.defaults);
    s.engine = TranscriptionEngine(engine_->currentData().toInt());
    s.language = language_->text().trimmed().isEmpty() ? "auto" : language_->text().trimmed().toStdString();
    s.serverBaseURL = serverURL_->text().trimmed().toStdString();
    s.serverModel = serverModel_->text().trimmed().toStdString();
    s.whisperModel = whisperModel_->currentData().toString().toStdString();
    s.save(services_.defaults);
    showOutcome(applied_, "Applied: recordings are transcribed with these settings from now on.", false);
}

void TranscriptionSettingsPage::rebuildModels() {
    models_->clear();
    auto& downloads = services_.speechModels;
    for (const auto& row : downloads.rows.get()) {
        auto* item = new QTreeWidgetItem(
            models_,
            {qs(row.model.name), qs(SpeechModelDownloads::sizeText(row.model.approximateBytes)), QString()});
        auto name = row.model.name;
        auto* button = new QPushButton(row.installed ? tr("Remove") : tr("Download"), models_);
        button->setObjectName(qs((row.installed ? "remove:" : "download:") + name));
        button->setAccessibleName((row.installed ? tr("Remove %1") : tr("Download %1")).arg(qs(name)));
        button->setEnabled(!downloads.download.get());
        connect(button, &QPushButton::clicked, this, [this, name, installed = row.installed] {
            if (installed) {
                services_.speechModels.remove(name);
            } else {
                services_.speechModels.start(name);
            }
        });
        models_->setItemWidget(item, 2, button);
    }
}

void TranscriptionSettingsPage::refreshDownload() {
    const auto& download = services_.speechModels.download.get();
    progressText_->setVisible(download.has_value());
    progress_->setVisible(download.has_value());
    stop_->setVisible(download.has_value());
    if (download) {
        auto text = qs(SpeechModelDownloads::progressText(*download));
        progressText_->setText(text);
        progress_->setValue(int(download->fraction * 1000));
        progress_->setAccessibleDescription(text);
    }
    for (auto* button : models_->findChildren<QPushButton*>()) {
        button->setEnabled(!download);
    }
}

} // namespace Desktop
