#include "UI/ai/AIModelWaitCopy.h"

#include "Intelligence/ModelRegistry.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>

namespace UI {

namespace {
const char* const quitting = "Vellmora is quitting.";
const char* const aiOff = "AI is turned off. Turn it on in Settings to use this.";
const char* const noModel = "AI model not configured. Go to Settings to set up an AI model.";
const char* const downloadFailedPrefix = "The AI model couldn't be downloaded.";
const char* const engineErrorPrefix = "AI error: ";
const char* const notDownloadedPrefix = "The AI model (";
const char* const notDownloadedSuffix = ") isn't downloaded. Download it in Settings, then try again.";

int percent(double fraction) {
    if (!std::isfinite(fraction)) {
        return 0;
    }
    return static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100);
}

bool isLoading(const AIModelWaitCopy::Generation& status) {
    using K = AIModelWaitCopy::Generation::Kind;
    return status.kind == K::loading || (status.kind == K::registryInstall && status.downloadedAndLoading);
}
} // namespace

std::string AIModelWaitCopy::unavailableMessage(const Reason& reason) {
    switch (reason.kind) {
    case Reason::Kind::modelNotDownloaded:
        return notDownloadedPrefix + reason.detail + notDownloadedSuffix;
    case Reason::Kind::downloadFailed:
        return std::string(downloadFailedPrefix) + " " + reason.detail;
    case Reason::Kind::engineError:
        return engineErrorPrefix + reason.detail;
    case Reason::Kind::appQuitting:
        return quitting;
    case Reason::Kind::aiDisabled:
        return aiOff;
    case Reason::Kind::noModel:
        return noModel;
    }
    return noModel;
}

bool AIModelWaitCopy::isUnavailableMessage(const std::string& text) {
    using Support::Text::endsWith;
    using Support::Text::startsWith;
    return text == quitting || text == aiOff || text == noModel || startsWith(text, downloadFailedPrefix) ||
           startsWith(text, engineErrorPrefix) ||
           (startsWith(text, notDownloadedPrefix) && endsWith(text, notDownloadedSuffix) &&
            text.size() >=
                std::string_view(notDownloadedPrefix).size() + std::string_view(notDownloadedSuffix).size());
}

std::string AIModelWaitCopy::modelName(const Generation& status) {
    if (status.kind == Generation::Kind::registryInstall) {
        if (auto model = Intelligence::ModelRegistry::model(status.modelId)) {
            return model->displayName;
        }
        return "the AI model";
    }
    return status.modelName.empty() ? "the AI model" : status.modelName;
}

std::optional<std::string> AIModelWaitCopy::message(const Generation& status) {
    if (status.kind == Generation::Kind::ready) {
        return std::nullopt;
    }
    const auto name = modelName(status);
    if (isLoading(status)) {
        return "Waiting for " + name + " to load...";
    }
    return "Waiting for " + name + " to finish downloading... " + std::to_string(percent(status.fraction)) +
           "%";
}

std::optional<std::string> AIModelWaitCopy::buttonHelp(const Generation& status) {
    if (status.kind == Generation::Kind::ready) {
        return std::nullopt;
    }
    if (isLoading(status)) {
        return std::string("The AI model is loading. This starts as soon as it's ready.");
    }
    return "The AI model is still downloading (" + std::to_string(percent(status.fraction)) +
           "%). This starts as soon as it's ready.";
}

} // namespace UI
