#include "Intelligence/AudioPieces.h"

#include "Intelligence/SpeechRecognizer.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>

namespace Intelligence {

struct AudioFile::Handle {
    SNDFILE* file = nullptr;
    ~Handle() {
        if (file) {
            sf_close(file);
        }
    }
};

AudioFile::AudioFile(const std::filesystem::path& path) : handle_(std::make_unique<Handle>()), path_(path) {
    SF_INFO info{};
    handle_->file = sf_open(path.c_str(), SFM_READ, &info);
    if (!handle_->file) {
        throw TranscriptionError("The audio file " + path.string() +
                                     " cannot be read: " + std::string(sf_strerror(nullptr)) + ".",
                                 false);
    }
    sampleRate_ = info.samplerate;
    channels_ = std::max(1, info.channels);
    frames_ = info.frames;
}

AudioFile::~AudioFile() = default;

std::vector<float> AudioFile::readMono(std::int64_t start, std::int64_t count) {
    std::vector<float> mono;
    if (start >= frames_ || count <= 0) {
        return mono;
    }
    count = std::min(count, frames_ - start);
    if (sf_seek(handle_->file, start, SEEK_SET) < 0) {
        throw TranscriptionError("The audio file " + path_.string() + " cannot be read past " +
                                     std::to_string(start / std::max(1, sampleRate_)) + " seconds.",
                                 false);
    }
    std::vector<float> interleaved(static_cast<size_t>(count) * channels_);
    const sf_count_t got = sf_readf_float(handle_->file, interleaved.data(), count);
    mono.resize(static_cast<size_t>(std::max<sf_count_t>(got, 0)));
    for (size_t i = 0; i < mono.size(); ++i) {
        float sum = 0;
        for (int c = 0; c < channels_; ++c) {
            sum += interleaved[i * channels_ + c];
        }
        mono[i] = sum / static_cast<float>(channels_);
    }
    return mono;
}

namespace AudioPieces {

std::vector<AudioPiece> planRange(const std::vector<float>& windowEnergies, std::int64_t framesPerWindow,
                                  std::int64_t from, std::int64_t to, std::int64_t maxFrames) {
    std::vector<AudioPiece> pieces;
    if (to <= from) {
        return pieces;
    }
    maxFrames = std::max<std::int64_t>(maxFrames, 1);
    framesPerWindow = std::max<std::int64_t>(framesPerWindow, 1);
    std::int64_t pos = from;
    while (to - pos > maxFrames) {
        std::int64_t cut = pos + maxFrames;
        const std::int64_t searchFrom = pos + maxFrames * 3 / 4;
        const std::int64_t firstWindow = (searchFrom + framesPerWindow - 1) / framesPerWindow;
        float quietest = 0;
        bool found = false;
        for (std::int64_t w = firstWindow; w < static_cast<std::int64_t>(windowEnergies.size()); ++w) {
            if ((w + 1) * framesPerWindow > pos + maxFrames) {
                break;
            }
            if (!found || windowEnergies[static_cast<size_t>(w)] < quietest) {
                quietest = windowEnergies[static_cast<size_t>(w)];
                cut = w * framesPerWindow + framesPerWindow / 2;
                found = true;
            }
        }
        if (cut <= pos || cut > pos + maxFrames) {
            cut = pos + maxFrames;
        }
        pieces.push_back({pos, cut});
        pos = cut;
    }
    pieces.push_back({pos, to});
    return pieces;
}

std::vector<AudioPiece> planFromEnergies(const std::vector<float>& windowEnergies,
                                         std::int64_t framesPerWindow, std::int64_t totalFrames,
                                         std::int64_t maxFrames) {
    return planRange(windowEnergies, framesPerWindow, 0, totalFrames, maxFrames);
}

std::int64_t framesPerWindow(const AudioFile& file) {
    return std::max(1, file.sampleRate() / 10);
}

std::vector<float> windowEnergies(AudioFile& file) {
    const std::int64_t window = framesPerWindow(file);
    std::vector<float> energies;
    energies.reserve(static_cast<size_t>(file.frames() / window + 1));
    for (std::int64_t start = 0; start < file.frames(); start += window * 10) {
        auto block = file.readMono(start, window * 10);
        if (block.empty()) {
            break;
        }
        for (size_t i = 0; i < block.size(); i += static_cast<size_t>(window)) {
            const size_t end = std::min(block.size(), i + static_cast<size_t>(window));
            double sum = 0;
            for (size_t k = i; k < end; ++k) {
                sum += static_cast<double>(block[k]) * block[k];
            }
            energies.push_back(static_cast<float>(sum / static_cast<double>(end - i)));
        }
    }
    return energies;
}

std::vector<AudioPiece> plan(AudioFile& file, std::int64_t maxFrames) {
    if (file.frames() <= maxFrames) {
        return planFromEnergies({}, 1, file.frames(), maxFrames);
    }
    return planFromEnergies(windowEnergies(file), framesPerWindow(file), file.frames(), maxFrames);
}

std::int64_t maxFramesForBytes(std::int64_t maxBytes, int sampleRate) {
    const std::int64_t samples = std::max<std::int64_t>((maxBytes - wavHeaderBytes) / 2, 1);
    return std::max<std::int64_t>(samples * sampleRate / targetRate, 1);
}

std::int64_t encodedSamples(const AudioPiece& piece, int sampleRate) {
    const std::int64_t frames = piece.end - piece.start;
    if (frames <= 0 || sampleRate <= 0) {
        return 0;
    }
    return (frames - 1) * targetRate / sampleRate + 1;
}

namespace {
void putLE(std::string& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xff));
    }
}

std::string wavHeader(std::int64_t samples) {
    const auto dataBytes = static_cast<std::uint32_t>(samples * 2);
    std::string h = "RIFF";
    putLE(h, 36 + dataBytes, 4);
    h += "WAVEfmt ";
    putLE(h, 16, 4);
    putLE(h, 1, 2); // PCM
    putLE(h, 1, 2); // mono
    putLE(h, targetRate, 4);
    putLE(h, targetRate * 2, 4);
    putLE(h, 2, 2);
    putLE(h, 16, 2);
    h += "data";
    putLE(h, dataBytes, 4);
    return h;
}

void putSample(std::string& out, float value) {
    const float clamped = std::clamp(value, -1.0f, 1.0f);
    const auto s = static_cast<std::int16_t>(std::lround(clamped * 32767.0f));
    putLE(out, static_cast<std::uint16_t>(s), 2);
}
} // namespace

void encodeWav16k(AudioFile& file, const AudioPiece& piece,
                  const std::function<void(std::string_view)>& sink) {
    const int rate = std::max(1, file.sampleRate());
    const std::int64_t total = encodedSamples(piece, rate);
    sink(wavHeader(total));
    std::int64_t emitted = 0;
    std::int64_t current = 0; // output index the accumulator belongs to
    double sum = 0;
    int count = 0;
    float last = 0;
    std::string block;
    const std::int64_t step = rate; // one second of source at a time
    for (std::int64_t start = piece.start; start < piece.end; start += step) {
        auto samples = file.readMono(start, std::min(step, piece.end - start));
        if (samples.empty()) {
            break;
        }
        block.clear();
        for (size_t i = 0; i < samples.size(); ++i) {
            const std::int64_t j = start - piece.start + static_cast<std::int64_t>(i);
            const std::int64_t index = j * targetRate / rate;
            if (index != current && count > 0) {
                last = static_cast<float>(sum / count);
                putSample(block, last);
                ++emitted;
                for (std::int64_t gap = current + 1; gap < index; ++gap) { // a rate below 16 kHz
                    putSample(block, last);
                    ++emitted;
                }
                sum = 0;
                count = 0;
            }
            current = index;
            sum += samples[i];
            ++count;
        }
        sink(block);
    }
    block.clear();
    if (count > 0) {
        putSample(block, static_cast<float>(sum / count));
        ++emitted;
    }
    while (emitted < total) { // a file shorter than it said: keep the header true
        putSample(block, 0);
        ++emitted;
    }
    sink(block);
}

std::string wav16k(AudioFile& file, const AudioPiece& piece) {
    std::string out;
    out.reserve(static_cast<size_t>(wavHeaderBytes + encodedSamples(piece, file.sampleRate()) * 2));
    encodeWav16k(file, piece, [&out](std::string_view bytes) { out.append(bytes); });
    return out;
}

} // namespace AudioPieces
} // namespace Intelligence
