// The ggml speech models whisper-cli uses, kept in `$XDG_DATA_HOME/vellmora/models/` (`ggml-NAME.bin`):
// the catalogue of the public model host's files with their SHA-1 sums, what is installed, downloading and
// removing. Used by `vellmora transcription models` and the engine setup.
//
// A download streams to `ggml-NAME.bin.part` beside the model; a part left by a cut connection is resumed
// with a Range request (a server that ignores it sends the whole file again, and the part starts over).
// Only when the whole file's SHA-1 matches the catalogue is the part flushed and renamed into place; a
// wrong sum deletes the part and throws, so a model file is either whole and checked or not there. Progress
// (0…1, resumed bytes included) is reported on the main loop as pieces arrive.
#pragma once

#include "Platform/HttpClient.h"
#include "Support/Errors.h"
#include "Support/Task.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Intelligence {

class SpeechModels {
public:
    struct Model {
        std::string name;
        /// Lower-case hex.
        std::string sha1;
        std::int64_t approximateBytes = 0;
        bool operator==(const Model&) const = default;
    };

    static constexpr const char* defaultHost = "https://huggingface.co/ggerganov/whisper.cpp/resolve/main";

    /// The models offered for download, smallest first.
    static const std::vector<Model>& catalogue();
    static std::optional<Model> find(const std::string& name);
    /// `models` in the data folder.
    static std::filesystem::path defaultFolder();

    explicit SpeechModels(std::filesystem::path folder = defaultFolder(), std::string host = defaultHost)
        : folder_(std::move(folder)), host_(std::move(host)) {}

    std::filesystem::path path(const std::string& name) const;
    /// Names of the models whose file is present, in catalogue order, then other ggml files by name.
    std::vector<std::string> installed() const;
    /// False when it was not there.
    bool remove(const std::string& name) const;

    /// Downloads, checks and installs the model. Throws `Support::UserFacingError` with a sentence (unknown
    /// model, server refusal, transport failure, wrong checksum), `Support::Cancelled` when cancelled (the
    /// part stays for a resume).
    Support::Task<void> download(Platform::HttpClient& http, std::string name,
                                 std::function<void(double)> progress = {});
    /// As `download`, for a model outside the catalogue with its expected sum (tests, custom hosts).
    Support::Task<void> download(Platform::HttpClient& http, Model model,
                                 std::function<void(double)> progress);

    /// The lower-case hex SHA-1 of a file, read a megabyte at a time.
    static std::string sha1OfFile(const std::filesystem::path& file);

    const std::filesystem::path& folder() const { return folder_; }

private:
    std::filesystem::path folder_;
    std::string host_;
};

} // namespace Intelligence
