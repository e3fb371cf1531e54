#include "App/host/TranscriptionService.h"

#include "App/host/SpeechEngines.h"
#include "Intelligence/TranscriptionSettings.h"
#include "UI/recording/ProcessingNotifications.h"

#include <fmt/format.h>

namespace App {

TranscriptionService::TranscriptionService(Dependencies dependencies) : deps_(std::move(dependencies)) {
    queue_ = std::make_unique<UI::TranscriptionQueue>(UI::TranscriptionQueue::Dependencies{
        .database = deps_.database,
        .center = deps_.center,
        .scheduler = deps_.scheduler,
        .engine =
            [this] {
                auto settings = Intelligence::TranscriptionSettings::load(deps_.defaults);
                if (deps_.demo && settings.engine == Intelligence::TranscriptionEngine::none) {
                    settings.engine = Intelligence::TranscriptionEngine::simulated;
                }
                return SpeechEngines::make(settings,
                                           {deps_.http, deps_.scheduler, deps_.runner, deps_.searchPath});
            },
        .language = [this] { return Intelligence::TranscriptionSettings::load(deps_.defaults).language; },
        .file = deps_.file,
        .say = deps_.say,
    });
    transcribed_ = queue_->transcribed.connect([this](Database::RecordingId id, int segments) {
        if (deps_.say) {
            deps_.say(fmt::format("Transcribed #{}: {} segment{} in the library", id, segments,
                                  segments == 1 ? "" : "s"));
        }
    });
}

TranscriptionService::~TranscriptionService() {
    stop();
}

void TranscriptionService::start() {
    queue_->start();
}

void TranscriptionService::recordingSaved(Database::RecordingId id) {
    queue_->enqueue(id);
}

void TranscriptionService::stop() {
    queue_->stop();
}

} // namespace App
