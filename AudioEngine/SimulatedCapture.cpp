#include "AudioEngine/SimulatedCapture.h"

#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Uuid.h"

#include <algorithm>
#include <cstdint>

namespace AudioEngine {

SimulatedCapture::SimulatedCapture(Support::Scheduler& scheduler, Support::Duration startDelay,
                                   Support::Duration stopDelay)
    : scheduler_(scheduler), startDelay_(startDelay), stopDelay_(stopDelay) {}

Support::Task<CaptureSession> SimulatedCapture::start(std::filesystem::path folder) {
    return Support::startTask([this, folder]() -> Support::Task<CaptureSession> {
        if (session_) {
            throw CaptureError("A recording is already running.");
        }
        co_await scheduler_.sleepFor(startDelay_);
        auto id = Support::Uuid::generate();
        CaptureSession session{id, scheduler_.now(), folder / (id + ".wav")};
        session_ = session;
        startedMonotonic_ = scheduler_.monotonicNow();
        co_return session;
    });
}

Support::Task<std::optional<CapturedRecording>> SimulatedCapture::stop() {
    return Support::startTask([this]() -> Support::Task<std::optional<CapturedRecording>> {
        if (!session_) {
            co_return std::nullopt;
        }
        auto session = *std::exchange(session_, std::nullopt);
        double duration = Support::toSeconds(scheduler_.monotonicNow() - startedMonotonic_);
        co_await scheduler_.sleepFor(stopDelay_);
        auto path = session.audioFile;
        const auto stem = path.parent_path() / path.stem();
        const auto microphone = std::filesystem::path(stem.string() + "-microphone.wav");
        const auto system = std::filesystem::path(stem.string() + "-system.wav");
        co_await Support::BlockingWork::run([path, microphone, system, duration] {
            const auto wav = silentWav(duration);
            Support::Files::writeAtomically(path, wav);
            Support::Files::writeAtomically(microphone, wav);
            Support::Files::writeAtomically(system, wav);
        });
        CapturedRecording recording;
        recording.recordingId = session.recordingId;
        recording.startedAt = session.startedAt;
        recording.durationSeconds = duration;
        recording.audioFile = path;
        recording.tracks = {{microphone, true, {}}, {system, false, {}}};
        co_return std::optional<CapturedRecording>(std::move(recording));
    });
}

std::string SimulatedCapture::silentWav(double seconds) {
    const std::uint32_t rate = 16000;
    const std::uint32_t samples = static_cast<std::uint32_t>(std::clamp(seconds, 0.0, 60.0) * rate);
    const std::uint32_t dataBytes = samples * 2;
    std::string out;
    auto put32 = [&](std::uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            out.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
        }
    };
    auto put16 = [&](std::uint16_t v) {
        out.push_back(static_cast<char>(v & 0xff));
        out.push_back(static_cast<char>(v >> 8));
    };
    out += "RIFF";
    put32(36 + dataBytes);
    out += "WAVEfmt ";
    put32(16);
    put16(1); // PCM
    put16(1); // mono
    put32(rate);
    put32(rate * 2);
    put16(2);
    put16(16);
    out += "data";
    put32(dataBytes);
    out.append(dataBytes, '\0');
    return out;
}

} // namespace AudioEngine
