#include "Intelligence/OpenAITranscriber.h"

#include "Intelligence/TranscriptionResponse.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <deque>
#include <malloc.h>
#include <memory>
#include <random>

namespace Intelligence {

namespace {
const Support::Logger log("transcription");

/// About eight minutes of 16 kHz audio: a piece's body is built whole in memory, so pieces stay this small
/// even when the server takes more.
constexpr std::int64_t largestPieceBytes = 16 * 1000 * 1000;

std::string randomBoundary() {
    static const char digits[] = "0123456789abcdef";
    std::random_device device;
    std::string boundary = "vellmora-";
    for (int i = 0; i < 24; ++i) {
        boundary.push_back(digits[device() % 16]);
    }
    return boundary;
}

std::string withoutTrailingSlash(std::string url) {
    while (!url.empty() && url.back() == '/') {
        url.pop_back();
    }
    return url;
}

bool mentionsResponseFormat(const std::string& body) {
    return body.find("response_format") != std::string::npos ||
           body.find("verbose_json") != std::string::npos || body.find("diarized_json") != std::string::npos;
}
} // namespace

OpenAITranscriber::OpenAITranscriber(Platform::HttpClient& http, Support::Scheduler& scheduler, Config config)
    : http_(http), scheduler_(scheduler), config_(std::move(config)) {
    config_.baseURL = withoutTrailingSlash(config_.baseURL);
}

std::string OpenAITranscriber::name() const {
    return "the transcription server at " + config_.baseURL;
}

std::string OpenAITranscriber::multipartBody(const std::string& boundary, AudioFile& file,
                                             const AudioPiece& piece,
                                             const std::vector<std::pair<std::string, std::string>>& fields) {
    std::string head;
    for (const auto& [name, value] : fields) {
        head += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" +
                value + "\r\n";
    }
    head += "--" + boundary +
            "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"audio.wav\"\r\n"
            "Content-Type: audio/wav\r\n\r\n";
    const std::string tail = "\r\n--" + boundary + "--\r\n";
    // One buffer of the exact size: the audio is written straight into the body, never copied.
    std::string body;
    body.reserve(head.size() + AudioPieces::wavHeaderBytes +
                 static_cast<size_t>(AudioPieces::encodedSamples(piece, file.sampleRate())) * 2 +
                 tail.size());
    body += head;
    AudioPieces::encodeWav16k(file, piece, [&body](std::string_view bytes) { body.append(bytes); });
    body += tail;
    return body;
}

std::string OpenAITranscriber::refusalSentence(int status, const std::string& body,
                                               const std::string& server) {
    auto words = TranscriptionResponse::errorMessage(body);
    std::string said = words.empty() ? "" : ": " + words;
    if (!said.empty() && said.back() != '.' && said.back() != '!' && said.back() != '?') {
        said += ".";
    } else if (said.empty()) {
        said = ".";
    }
    if (status == 401 || status == 403) {
        return "The transcription server refused the key (HTTP " + std::to_string(status) + ")" + said +
               " Set it with `vellmora transcription configure --key`.";
    }
    if (status == 404) {
        return "The transcription server at " + server + " has no /v1/audio/transcriptions (HTTP 404)" + said;
    }
    if (status == 429) {
        return "The transcription server is still busy after several waits (HTTP 429)" + said;
    }
    return "The transcription server refused the audio (HTTP " + std::to_string(status) + ")" + said;
}

double OpenAITranscriber::retryAfterSeconds(const std::optional<std::string>& header, Support::Date now) {
    constexpr double fallback = 5, longest = 600;
    if (!header) {
        return fallback;
    }
    auto text = Support::Text::trimmed(*header);
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (!text.empty() && end == text.c_str() + text.size() && std::isfinite(value)) {
        return std::clamp(value, 0.0, longest);
    }
    std::tm tm{};
    if (const char* rest = strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S", &tm); rest) {
        const double when = static_cast<double>(timegm(&tm));
        return std::clamp(when - Support::unixSeconds(now), 0.0, longest);
    }
    return fallback;
}

Support::Task<std::vector<SpeechSegment>>
OpenAITranscriber::transcribe(SpeechTrack track, SpeechOptions options, Progress progress) {
    struct Source {
        std::unique_ptr<AudioFile> file;
        std::vector<float> energies;
        std::int64_t window = 1;
    };
    auto source = std::make_shared<Source>();
    const auto path = track.file;
    co_await Support::BlockingWork::run([source, path] {
        source->file = std::make_unique<AudioFile>(path);
        source->energies = AudioPieces::windowEnergies(*source->file);
        source->window = AudioPieces::framesPerWindow(*source->file);
    });
    const int rate = std::max(1, source->file->sampleRate());
    const std::int64_t total = source->file->frames();
    const std::int64_t pieceBytes = std::min(config_.maxUploadBytes, largestPieceBytes);
    std::int64_t maxFrames =
        AudioPieces::maxFramesForBytes(pieceBytes - 4096, rate); // room for the form fields
    std::deque<AudioPiece> todo;
    for (const auto& p : AudioPieces::planRange(source->energies, source->window, 0, total, maxFrames)) {
        todo.push_back(p);
    }

    std::string format = config_.responseFormat;
    const std::string prompt = options.prompt();
    const std::string url = config_.baseURL + "/v1/audio/transcriptions";
    std::vector<SpeechSegment> segments;
    std::int64_t done = 0;
    int busyWaits = 0;

    while (!todo.empty()) {
        const AudioPiece piece = todo.front();
        std::vector<std::pair<std::string, std::string>> fields = {{"model", config_.model},
                                                                   {"response_format", format}};
        if (format == "verbose_json") {
            fields.emplace_back("timestamp_granularities[]", "segment");
        }
        if (format == "diarized_json") {
            fields.emplace_back("chunking_strategy", "auto");
        }
        if (options.language != "auto" && !options.language.empty()) {
            fields.emplace_back("language", options.language);
        }
        if (!prompt.empty() && format != "diarized_json") {
            fields.emplace_back("prompt", prompt);
        }
        const std::string boundary = randomBoundary();
        Platform::HttpRequest request;
        request.method = "POST";
        request.url = url;
        request.timeout = config_.timeout;
        request.headers = {{"Content-Type", "multipart/form-data; boundary=" + boundary},
                           {"Accept", "application/json"}};
        if (!config_.key.empty()) {
            request.headers.emplace_back("Authorization", "Bearer " + config_.key);
        }
        request.body = co_await Support::BlockingWork::run([source, piece, fields, boundary] {
            return multipartBody(boundary, *source->file, piece, fields);
        });

        Platform::HttpResponse response;
        try {
            auto transfer = http_.send(std::move(request));
            response = co_await Support::awaitOwned(transfer);
        } catch (const Platform::HttpTransportError& e) {
            throw TranscriptionError("The transcription server at " + config_.baseURL +
                                         " cannot be reached: " + e.description(),
                                     true);
        }

        // The piece's body (up to the upload limit) was built on a pool thread; give its pages back now
        // rather than keep one such buffer per pool thread's heap for the rest of the track.
        ::malloc_trim(0);
        const double pieceStart = static_cast<double>(piece.start) / rate;
        const double pieceDuration = static_cast<double>(piece.end - piece.start) / rate;
        if (response.isSuccess()) {
            auto parsed = TranscriptionResponse::parseServerAnswer(response.body, pieceDuration);
            if (!parsed) {
                throw TranscriptionError("The transcription server at " + config_.baseURL +
                                             " gave an answer that is not a transcript.",
                                         true);
            }
            for (auto& s : *parsed) {
                s.start += track.offset + pieceStart;
                s.end += track.offset + pieceStart;
                segments.push_back(std::move(s));
            }
            todo.pop_front();
            done += piece.end - piece.start;
            busyWaits = 0;
            if (progress && total > 0) {
                progress(static_cast<double>(done) / static_cast<double>(total));
            }
            continue;
        }
        if (response.status == 413) {
            const std::int64_t length = piece.end - piece.start;
            if (length <= rate) {
                throw TranscriptionError(refusalSentence(413, response.body, config_.baseURL), false);
            }
            maxFrames = std::max<std::int64_t>(length * 3 / 4, rate);
            log.notice("The server found a piece of {:.0f} s too large; sending pieces of at most {:.0f} s",
                       pieceDuration, static_cast<double>(maxFrames) / rate);
            todo.pop_front();
            std::deque<AudioPiece> rest;
            for (const auto& p :
                 AudioPieces::planRange(source->energies, source->window, piece.start, total, maxFrames)) {
                rest.push_back(p);
            }
            todo = std::move(rest);
            continue;
        }
        if (response.status == 429 && busyWaits < config_.maxBusyRetries) {
            ++busyWaits;
            const double wait = retryAfterSeconds(response.header("Retry-After"), scheduler_.now());
            log.notice("The transcription server is busy; trying again in {:.0f} s", wait);
            co_await scheduler_.sleepFor(Support::seconds(wait));
            continue;
        }
        if (response.status == 400 && format != "json" && mentionsResponseFormat(response.body)) {
            log.notice("The transcription server does not give {}; asking for plain json", format);
            format = "json";
            continue;
        }
        const bool audioFault = response.status == 400 || response.status == 413 || response.status == 415 ||
                                response.status == 422;
        throw TranscriptionError(refusalSentence(response.status, response.body, config_.baseURL),
                                 !audioFault);
    }
    co_return segments;
}

} // namespace Intelligence
