#include "Desktop/settings/SpeechModelDownloads.h"

#include "Support/Errors.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Desktop {

SpeechModelDownloads::SpeechModelDownloads(Intelligence::SpeechModels& models, Platform::HttpClient& http,
                                           std::vector<Intelligence::SpeechModels::Model> catalogue)
    : models_(models), http_(http), catalogue_(std::move(catalogue)) {
    refresh();
}

SpeechModelDownloads::~SpeechModelDownloads() {
    *alive_ = false;
    task_.cancel();
}

void SpeechModelDownloads::refresh() {
    auto installed = models_.installed();
    std::vector<Row> next;
    for (const auto& model : catalogue_) {
        next.push_back({model, std::find(installed.begin(), installed.end(), model.name) != installed.end()});
    }
    rows = std::move(next);
}

void SpeechModelDownloads::start(const std::string& name) {
    if (download.get()) {
        return;
    }
    auto found =
        std::find_if(catalogue_.begin(), catalogue_.end(), [&](const auto& m) { return m.name == name; });
    if (found == catalogue_.end()) {
        message = Outcome{"There is no speech model named " + name + ".", true};
        return;
    }
    download = Download{name, 0};
    message = Outcome{};
    task_ = Support::startTask([this, model = *found,
                                alive = std::weak_ptr<bool>(alive_)]() -> Support::Task<void> {
        Outcome outcome;
        try {
            co_await models_.download(http_, model, [this, alive, name = model.name](double fraction) {
                if (alive.lock()) {
                    download = Download{name, fraction};
                }
            });
            outcome = {model.name + " is installed.", false};
        } catch (const Support::Cancelled&) {
            if (alive.lock()) {
                download = std::nullopt;
                message = Outcome{
                    "The download of " + model.name + " was stopped; it resumes where it stopped.", false};
            }
            throw;
        } catch (const std::exception& e) {
            outcome = {e.what(), true};
        }
        if (!alive.lock()) {
            co_return;
        }
        download = std::nullopt;
        message = outcome;
        refresh();
    });
}

void SpeechModelDownloads::cancel() {
    task_.cancel();
}

void SpeechModelDownloads::remove(const std::string& name) {
    message = Outcome{models_.remove(name) ? name + " was removed." : name + " was not installed.", false};
    refresh();
}

std::string SpeechModelDownloads::progressText(const Download& download) {
    int percent = static_cast<int>(std::clamp(download.fraction, 0.0, 1.0) * 100);
    return "Downloading " + download.name + "… " + std::to_string(percent) + "%";
}

std::string SpeechModelDownloads::sizeText(std::int64_t bytes) {
    auto mb = static_cast<long long>(std::llround(double(bytes) / 1e6));
    if (mb >= 1000) {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f GB", double(bytes) / 1e9);
        return text;
    }
    return std::to_string(mb) + " MB";
}

} // namespace Desktop
