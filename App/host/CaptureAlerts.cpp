#include "App/host/CaptureAlerts.h"

#include "Support/Log.h"

namespace App {

namespace {
const Support::Logger log("host");
}

CaptureAlerts::CaptureAlerts(Dependencies dependencies) : deps_(std::move(dependencies)) {
    subscriptions_ += deps_.capture.silenceReported.connect([this](const std::string& problem) {
        deps_.say(problem);
        deps_.showWarning(problem);
        post(problem);
    });
    subscriptions_ += deps_.capture.notice.connect([this](const std::string& news) { deps_.say(news); });
    subscriptions_ += deps_.capture.failed.connect([this](const std::string& problem) {
        deps_.say(problem);
        deps_.showWarning(problem);
        post(problem);
        deps_.stopRecording();
    });
    if (deps_.phase) {
        subscriptions_ += deps_.phase->observe([this](const UI::RecordingPhase& phase) {
            if (phase.isIdle()) {
                recordingEnded();
            }
        });
    }
}

void CaptureAlerts::recordingEnded() {
    deps_.showWarning(std::nullopt);
}

Platform::NotificationRequest CaptureAlerts::notification(const std::string& problem) {
    Platform::NotificationRequest request;
    request.identifier = notificationIdentifier;
    request.content.title = "Vellmora is recording";
    request.content.body = problem;
    request.content.playsSound = true;
    return request;
}

void CaptureAlerts::post(const std::string& problem) {
    std::erase_if(posts_, [](const Support::Task<>& t) { return t.isDone(); });
    posts_.push_back(Support::startTask([this, request = notification(problem)]() -> Support::Task<> {
        try {
            co_await deps_.notifications.add(request);
        } catch (const std::exception& e) {
            log.warning("The capture notification could not be shown: {}", e.what());
        }
    }));
}

} // namespace App
