#include "Desktop/settings/AIProviderSettingsPage.h"

#include "Desktop/settings/SettingsForm.h"
#include "Support/Errors.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;
using Intelligence::AIProvider;

namespace {
AIProvider providerOf(const QComboBox* box) {
    return AIProvider(box->currentData().toInt());
}
} // namespace

AIProviderSettingsPage::AIProviderSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("aiSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("AI Provider"), this));
    status_ = new QLabel(this);
    status_->setObjectName("aiStatus");
    status_->setWordWrap(true);
    layout->addWidget(status_);
    help_ = caption(QString(), this, "aiHelp");
    layout->addWidget(help_);
    auto* form = new QFormLayout;
    provider_ = named(new QComboBox(this), "aiProvider", tr("AI provider"));
    provider_->addItem(tr("Off"), int(AIProvider::none));
    provider_->addItem(tr("OpenAI-compatible server"), int(AIProvider::openAICompatible));
    provider_->addItem(tr("Google Gemini"), int(AIProvider::gemini));
    form->addRow(tr("Provider:"), provider_);
    baseURL_ = named(new QLineEdit(this), "aiBaseURL", tr("Server address"));
    baseURL_->setPlaceholderText(qs(Intelligence::defaultOpenAIBaseURL));
    form->addRow(tr("Server address:"), baseURL_);
    model_ = named(new QComboBox(this), "aiModel", tr("Model"));
    model_->setEditable(true);
    form->addRow(tr("Model:"), model_);
    key_ = named(new QLineEdit(this), "aiKey", tr("API key"));
    key_->setEchoMode(QLineEdit::Password);
    form->addRow(tr("API key:"), key_);
    layout->addLayout(form);

    auto* testRow = new QHBoxLayout;
    test_ = named(new QPushButton(tr("Test"), this), "aiTest", tr("Test the provider settings"));
    testRow->addWidget(test_);
    testHint_ = caption(QString(), this, "aiTestHint");
    testRow->addWidget(testHint_, 1);
    layout->addLayout(testRow);
    testResult_ = new QLabel(this);
    testResult_->setObjectName("aiTestResult");
    testResult_->setWordWrap(true);
    testResult_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    testResult_->hide();
    layout->addWidget(testResult_);

    auto* applyRow = new QHBoxLayout;
    auto* apply = named(new QPushButton(tr("Apply"), this), "aiApply", tr("Apply the provider settings"));
    applyRow->addWidget(apply);
    applied_ = caption(QString(), this, "aiApplied");
    applyRow->addWidget(applied_, 1);
    layout->addLayout(applyRow);
    layout->addStretch(1);

    connect(provider_, &QComboBox::activated, this, [this](int) { refreshProvider(); });
    connect(test_, &QPushButton::clicked, this, [this] { test(); });
    connect(apply, &QPushButton::clicked, this, [this] { this->apply(); });
    auto& ai = services_.ai;
    subscriptions_ += ai.status.observe([this](const auto&) { refreshStatus(); });
    subscriptions_ += ai.testResult.observe([this](const auto&) { refreshTest(); });
    subscriptions_ += ai.isTesting.observe([this](bool) { refreshTest(); });
    subscriptions_ += ai.availableModels.observe([this](const std::vector<std::string>& models) {
        auto current = model_->currentText();
        model_->clear();
        for (const auto& m : models) {
            model_->addItem(qs(m));
        }
        model_->setCurrentText(current);
    });
    load();
    refreshStatus();
    refreshTest();
}

void AIProviderSettingsPage::load() {
    auto s = Intelligence::AIProviderSettings::load(services_.defaults);
    provider_->setCurrentIndex(provider_->findData(int(s.provider)));
    refreshProvider();
}

void AIProviderSettingsPage::refreshProvider() {
    auto s = Intelligence::AIProviderSettings::load(services_.defaults);
    auto provider = providerOf(provider_);
    bool openAI = provider == AIProvider::openAICompatible;
    bool on = provider != AIProvider::none;
    baseURL_->setEnabled(openAI);
    baseURL_->setText(openAI ? qs(s.openAIBaseURL) : QString());
    model_->setEnabled(on);
    model_->setCurrentText(openAI                           ? qs(s.openAIModel)
                           : provider == AIProvider::gemini ? qs(s.geminiModel)
                                                            : QString());
    key_->setEnabled(on);
    test_->setEnabled(on && !services_.ai.isTesting.get());
    std::string key;
    try {
        auto keys = Intelligence::AIKeyStore(services_.keyFile).load();
        key = openAI ? keys.openAI : provider == AIProvider::gemini ? keys.gemini : std::string();
    } catch (const std::exception& e) {
        showOutcome(applied_, e.what(), true);
    }
    key_->setText(qs(key));
    testHint_->setText(openAI ? tr("Tests with your entered values (before applying)")
                       : on   ? tr("Tests with your entered API key (before applying)")
                              : QString());
}

void AIProviderSettingsPage::refreshStatus() {
    status_->setText(qs(services_.ai.statusText()));
    status_->setAccessibleName(status_->text());
    auto help = services_.ai.aiStatusHelpText();
    help_->setText(help ? qs(*help) : QString());
    help_->setVisible(help.has_value());
}

void AIProviderSettingsPage::refreshTest() {
    bool testing = services_.ai.isTesting.get();
    test_->setText(testing ? tr("Testing…") : tr("Test"));
    test_->setEnabled(!testing && providerOf(provider_) != AIProvider::none);
    const auto& result = services_.ai.testResult.get();
    if (result) {
        showOutcome(testResult_, result->message, result->isFailure);
    } else {
        testResult_->hide();
    }
}

void AIProviderSettingsPage::test() {
    auto key = key_->text().toStdString();
    switch (providerOf(provider_)) {
    case AIProvider::openAICompatible:
        services_.ai.testConnectionWith(key, baseURL_->text().trimmed().toStdString());
        break;
    case AIProvider::gemini:
        services_.ai.testGeminiConnectionWith(key);
        break;
    case AIProvider::none:
        break;
    }
}

void AIProviderSettingsPage::apply() {
    auto s = Intelligence::AIProviderSettings::load(services_.defaults);
    s.provider = providerOf(provider_);
    auto model = model_->currentText().trimmed().toStdString();
    if (s.provider == AIProvider::openAICompatible) {
        auto url = baseURL_->text().trimmed().toStdString();
        s.openAIBaseURL = url.empty() ? Intelligence::defaultOpenAIBaseURL : url;
        s.openAIModel = model.empty() ? Intelligence::defaultOpenAIModel : model;
    } else if (s.provider == AIProvider::gemini) {
        s.geminiModel = model.empty() ? Intelligence::defaultGeminiModel : model;
    }
    try {
        Intelligence::AIKeyStore store(services_.keyFile);
        if (s.provider != AIProvider::none) {
            auto keys = store.load();
            auto key = key_->text().trimmed().toStdString();
            (s.provider == AIProvider::gemini ? keys.gemini : keys.openAI) = key;
            store.save(keys);
        }
        s.save(services_.defaults);
        showOutcome(applied_, "Applied. AI features use these settings from the next request.", false);
    } catch (const std::exception& e) {
        showOutcome(applied_, e.what(), true);
    }
}

} // namespace Desktop
