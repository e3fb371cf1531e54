#include "Desktop/settings/RecordingSettingsPage.h"

#include "Desktop/settings/LevelTestReport.h"
#include "Desktop/settings/SettingsForm.h"
#include "Support/BlockingWork.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace Desktop {

using namespace SettingsForm;

namespace {
void fill(QListWidget* list, const std::vector<AudioEngine::PulseDevices::Device>& devices,
          const QString& none) {
    list->clear();
    for (const auto& d : devices) {
        auto text = qs(d.description.empty() ? d.name : d.description);
        if (d.isDefault) {
            text += QObject::tr(" (recorded)");
        }
        auto* item = new QListWidgetItem(text, list);
        item->setToolTip(qs(d.name));
        item->setFlags(Qt::ItemIsEnabled);
    }
    if (devices.empty()) {
        new QListWidgetItem(none, list);
    }
}
} // namespace

RecordingSettingsPage::RecordingSettingsPage(const SettingsServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
    setObjectName("recordingSettings");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading(tr("Microphones"), this));
    microphones_ = named(new QListWidget(this), "microphones", tr("Microphones"));
    microphones_->setMaximumHeight(140);
    layout->addWidget(microphones_);
    layout->addWidget(heading(tr("Outputs"), this));
    outputs_ = named(new QListWidget(this), "outputs", tr("Outputs"));
    outputs_->setMaximumHeight(140);
    layout->addWidget(outputs_);
    server_ = caption(tr("Recordings take the sound server's default microphone (you) and what its default "
                         "output plays (the others). Change them in the desktop's sound settings."),
                      this, "soundServer");
    layout->addWidget(server_);
    layout->addSpacing(8);
    layout->addWidget(heading(tr("Level Test"), this));
    test_ = named(new QPushButton(tr("Test Levels"), this), "levelTest", tr("Test levels"));
    test_->setToolTip(tr("Records a few seconds of your microphone and of what the computer plays: speak, "
                         "and play something."));
    test_->setEnabled(bool(services_.levelTest));
    layout->addWidget(test_, 0, Qt::AlignLeft);
    result_ = caption(QString(), this, "levelResult");
    result_->setForegroundRole(QPalette::WindowText);
    layout->addWidget(result_);
    layout->addStretch(1);
    connect(test_, &QPushButton::clicked, this, [this] { runLevelTest(); });
}

RecordingSettingsPage::~RecordingSettingsPage() {
    *alive_ = false;
}

void RecordingSettingsPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!loaded_) {
        loaded_ = true;
        loadDevices();
    }
}

void RecordingSettingsPage::loadDevices() {
    if (!services_.devices) {
        fill(microphones_, {}, tr("No sound server here."));
        fill(outputs_, {}, tr("No sound server here."));
        return;
    }
    (void)Support::startTask(
        [this, devices = services_.devices, alive = std::weak_ptr<bool>(alive_)]() -> Support::Task<void> {
            AudioEngine::PulseDevices found;
            std::string problem;
            try {
                found = co_await Support::BlockingWork::run([devices] { return devices(); });
            } catch (const Support::Cancelled&) {
                throw;
            } catch (const std::exception& e) {
                problem = e.what();
            }
            if (!alive.lock()) {
                co_return;
            }
            fill(microphones_, found.microphones, problem.empty() ? tr("No microphone.") : qs(problem));
            fill(outputs_, found.outputs, problem.empty() ? tr("No output.") : qs(problem));
        });
}

void RecordingSettingsPage::runLevelTest() {
    if (!services_.levelTest || !test_->isEnabled()) {
        return;
    }
    test_->setEnabled(false);
    test_->setText(tr("Testing…"));
    showOutcome(result_, "Recording a few seconds: speak, and play something…", false);
    (void)Support::startTask(
        [this, run = services_.levelTest, alive = std::weak_ptr<bool>(alive_)]() -> Support::Task<void> {
            std::vector<std::string> lines;
            bool failed = false;
            try {
                lines = LevelTestReport::lines(co_await run());
            } catch (const Support::Cancelled&) {
                throw;
            } catch (const std::exception& e) {
                lines = {std::string("The level test could not record: ") + e.what()};
                failed = true;
            }
            if (!alive.lock()) {
                co_return;
            }
            std::string text;
            for (const auto& line : lines) {
                text += (text.empty() ? "" : "\n") + line;
            }
            showOutcome(result_, text, failed);
            test_->setText(tr("Test Levels"));
            test_->setEnabled(true);
        });
}

} // namespace Desktop
