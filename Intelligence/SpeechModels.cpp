#include "Intelligence/SpeechModels.h"

#include "Support/BlockingWork.h"
#include "Support/FileDescriptor.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <unistd.h>

namespace Intelligence {

namespace {
const Support::Logger log("speech-models");

constexpr std::int64_t mib = 1024 * 1024;
} // namespace

const std::vector<SpeechModels::Model>& SpeechModels::catalogue() {
    static const std::vector<Model> models = {
        {"tiny", "bd577a113a864445d4c299885e0cb97d4ba92b5f", 75 * mib},
        {"tiny.en", "c78c86eb1a8faa21b369bcd33207cc90d64ae9df", 75 * mib},
        {"base", "465707469ff3a37a2b9b8d8f89f2f99de7299dac", 142 * mib},
        {"base.en", "137c40403d78fd54d454da0f9bd998f78703390c", 142 * mib},
        {"small", "55356645c2b361a969dfd0ef2c5a50d530afd8d5", 466 * mib},
        {"small.en", "db8a495a91d927739e50b3fc1cc4c6b8f6c2d022", 466 * mib},
        {"medium", "fd9727b6e1217c2f614f9b698455c4ffd82463b4", 1536 * mib},
        {"medium.en", "8c30f0e44ce9560643ebd10bbe50cd20eafd3723", 1536 * mib},
        {"large-v3", "ad82bf6a9043ceed055076d0fd39f5f186ff8062", 2970 * mib},
    };
    return models;
}

std::optional<SpeechModels::Model> SpeechModels::find(const std::string& name) {
    for (const auto& m : catalogue()) {
        if (m.name == name) {
            return m;
        }
    }
    return std::nullopt;
}

std::filesystem::path SpeechModels::defaultFolder() {
    return Support::Files::dataHome() / "models";
}

std::filesystem::path SpeechModels::path(const std::string& name) const {
    return folder_ / ("ggml-" + name + ".bin");
}

std::vector<std::string> SpeechModels::installed() const {
    std::vector<std::string> names;
    for (const auto& m : catalogue()) {
        if (std::filesystem::exists(path(m.name))) {
            names.push_back(m.name);
        }
    }
    std::vector<std::string> others;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, ec)) {
        const auto file = entry.path().filename().string();
        if (file.starts_with("ggml-") && file.ends_with(".bin")) {
            auto name = file.substr(5, file.size() - 9);
            if (!find(name)) {
                others.push_back(name);
            }
        }
    }
    std::sort(others.begin(), others.end());
    names.insert(names.end(), others.begin(), others.end());
    return names;
}

bool SpeechModels::remove(const std::string& name) const {
    std::error_code ec;
    std::filesystem::remove(path(name).string() + ".part", ec);
    return std::filesystem::remove(path(name), ec);
}

std::string SpeechModels::sha1OfFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw Support::UserFacingError("The file " + file.string() + " cannot be read.");
    }
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha1(), nullptr);
    std::vector<char> buffer(static_cast<size_t>(mib));
    while (in) {
        in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        if (in.gcount() > 0) {
            EVP_DigestUpdate(context.get(), buffer.data(), static_cast<size_t>(in.gcount()));
        }
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), digest, &length);
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned int i = 0; i < length; ++i) {
        out.push_back(hex[digest[i] >> 4]);
        out.push_back(hex[digest[i] & 15]);
    }
    return out;
}

Support::Task<void> SpeechModels::download(Platform::HttpClient& http, std::string name,
                                           std::function<void(double)> progress) {
    auto model = find(name);
    if (!model) {
        std::string known;
        for (const auto& m : catalogue()) {
            known += (known.empty() ? "" : ", ") + m.name;
        }
        throw Support::UserFacingError("There is no speech model called \"" + name +
                                       "\". Known models: " + known + ".");
    }
    auto work = download(http, *model, std::move(progress));
    co_await Support::awaitOwned(work);
}

Support::Task<void> SpeechModels::download(Platform::HttpClient& http, Model model,
                                           std::function<void(double)> progress) {
    struct State {
        std::FILE* file = nullptr;
        std::int64_t already = 0;
        std::int64_t received = 0;
        std::int64_t total = 0;
        bool writeFailed = false;
        ~State() {
            if (file) {
                std::fclose(file);
            }
        }
    };
    const auto target = path(model.name);
    const auto part = std::filesystem::path(target.string() + ".part");
    std::error_code ec;
    std::filesystem::create_directories(folder_, ec);
    auto state = std::make_shared<State>();
    state->already =
        std::filesystem::exists(part) ? static_cast<std::int64_t>(std::filesystem::file_size(part, ec)) : 0;

    Platform::HttpRequest request;
    request.url = host_ + "/ggml-" + model.name + ".bin";
    request.timeout = Support::seconds(60);
    if (state->already > 0) {
        request.headers.emplace_back("Range", "bytes=" + std::to_string(state->already) + "-");
    }
    Platform::HttpStreamHandlers handlers;
    handlers.onResponse = [state, part](const Platform::HttpResponse& head) {
        if (!head.isSuccess()) {
            return;
        }
        const bool resumed = head.status == 206 && state->already > 0;
        if (!resumed) {
            state->already = 0;
        }
        state->file = std::fopen(part.c_str(), resumed ? "ab" : "wb");
        state->writeFailed = state->file == nullptr;
        if (auto length = head.header("Content-Length")) {
            state->total = state->already + std::atoll(length->c_str());
        }
    };
    handlers.onChunk = [state, progress](const std::string& chunk) {
        if (!state->file || state->writeFailed) {
            return;
        }
        if (std::fwrite(chunk.data(), 1, chunk.size(), state->file) != chunk.size()) {
            state->writeFailed = true;
            return;
        }
        state->received += static_cast<std::int64_t>(chunk.size());
        if (progress && state->total > 0) {
            progress(std::min(1.0, static_cast<double>(state->already + state->received) /
                                       static_cast<double>(state->total)));
        }
    };
    Platform::HttpResponse head;
    std::optional<std::string> cut;
    try {
        auto transfer = http.stream(request, handlers);
        head = co_await Support::awaitOwned(transfer);
    } catch (const Platform::HttpTransportError& e) {
        cut = e.description();
    }
    // What arrived is on disk before anyone reads the part's size: the transfer's handlers (and with them
    // the file) may be released later, on another thread, and a resume would start short of the end.
    if (state->file) {
        const bool flushed = std::fflush(state->file) == 0 && ::fsync(fileno(state->file)) == 0;
        std::fclose(state->file);
        state->file = nullptr;
        state->writeFailed = state->writeFailed || !flushed;
    }
    if (cut) {
        throw Support::UserFacingError("The speech model " + model.name + " could not be downloaded: " +
                                       *cut + " Run the download again to resume it.");
    }
    if (!head.isSuccess()) {
        if (head.status == 416) { // the part is already whole: check it below
        } else {
            throw Support::UserFacingError("The model host refused the speech model " + model.name +
                                           " (HTTP " + std::to_string(head.status) + ").");
        }
    }
    if (state->writeFailed) {
        throw Support::UserFacingError("The speech model could not be written to " + part.string() + ".");
    }
    const auto expected = model.sha1;
    const auto sum = co_await Support::BlockingWork::run([part] { return sha1OfFile(part); });
    if (sum != expected) {
        std::filesystem::remove(part, ec);
        throw Support::UserFacingError("The downloaded speech model " + model.name +
                                       " is not the expected file (its checksum differs); it was deleted.");
    }
    std::filesystem::rename(part, target, ec);
    if (ec) {
        throw Support::UserFacingError("The speech model could not be put in place at " + target.string() +
                                       ": " + ec.message() + ".");
    }
    if (Support::FileDescriptor dir(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); dir) {
        ::fsync(dir.get());
    }
    log.info("Speech model {} installed at {}", model.name, target.string());
    if (progress) {
        progress(1.0);
    }
}

} // namespace Intelligence
