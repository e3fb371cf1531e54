// The speech models on the transcription page: every model of the catalogue with its size, whether it is
// installed, and the download under way with its progress ("Downloading base.en… 42%"), one at a time.
// Downloading goes through `Intelligence::SpeechModels` (resumable, checked against its SHA-1); a failed
// download leaves its sentence in `message` and nothing half-installed. Qt-free; main loop only.
#pragma once

#include "Intelligence/SpeechModels.h"
#include "Platform/HttpClient.h"
#include "Support/Signal.h"
#include "Support/Task.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Desktop {

class SpeechModelDownloads {
public:
    struct Row {
        Intelligence::SpeechModels::Model model;
        bool installed = false;
        bool operator==(const Row&) const = default;
    };
    struct Download {
        std::string name;
        double fraction = 0;
        bool operator==(const Download&) const = default;
    };

    SpeechModelDownloads(
        Intelligence::SpeechModels& models, Platform::HttpClient& http,
        std::vector<Intelligence::SpeechModels::Model> catalogue = Intelligence::SpeechModels::catalogue());
    ~SpeechModelDownloads();

    Support::Published<std::vector<Row>> rows;
    Support::Published<std::optional<Download>> download;
    struct Outcome {
        std::string text;
        bool isFailure = false;
        bool operator==(const Outcome&) const = default;
    };
    /// The last download's or removal's outcome ("base.en is installed.", or why it failed).
    Support::Published<Outcome> message;

    void refresh();
    /// Starts downloading `name` (nothing while another download runs).
    void start(const std::string& name);
    void cancel();
    void remove(const std::string& name);

    /// "Downloading base.en… 42%".
    static std::string progressText(const Download& download);
    /// "142 MB".
    static std::string sizeText(std::int64_t bytes);

private:
    Intelligence::SpeechModels& models_;
    Platform::HttpClient& http_;
    std::vector<Intelligence::SpeechModels::Model> catalogue_;
    Support::Task<void> task_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Desktop
