// Capture through the sound server's command-line recorders: `pw-record` (PipeWire) when it is installed,
// else `parecord` (PulseAudio, also served by PipeWire). The tool records the default microphone as 16 kHz
// mono 16-bit WAV into the recording's folder, as a child process of its own group; stopping sends it
// SIGINT, on which both tools complete the WAV header and exit.
//
// Used by the host when `find` names a tool (else it keeps `SimulatedCapture`). Edge cases: a tool that ends
// within `startCheck` of its start (no microphone, no sound server) makes `start` throw `CaptureError` and
// leaves no file behind; a tool that does not end within `stopTimeout` of SIGINT is killed; the duration
// comes from the WAV's data, counting the bytes present when the header was left incomplete, and from the
// wall clock when the file has no readable header. A tool that dies during a recording is only noticed at
// `stop`, which still gives what it wrote.
#pragma once

#include "AudioEngine/CaptureEngine.h"
#include "Support/Scheduler.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace Platform {
class ChildProcess;
}

namespace AudioEngine {

class CommandCapture final : public CaptureEngine {
public:
    enum class Tool { pwRecord, parecord };

    struct Options {
        Tool tool = Tool::pwRecord;
        /// The tool's absolute path.
        std::filesystem::path executable;
        /// How long a fresh tool must keep running for the start to count.
        Support::Duration startCheck = Support::seconds(0.5);
        /// How long `stop` waits for the tool to end after SIGINT before killing it.
        Support::Duration stopTimeout = Support::seconds(5);
        /// Where the tool's own messages are appended; empty: discarded.
        std::filesystem::path logFile;
    };

    /// The recorder to use with this PATH value: pw-record first, then parecord; nothing without either.
    static std::optional<Options> find(const std::string& pathVariable);
    /// The tool's arguments to record the default microphone into `file`.
    static std::vector<std::string> arguments(Tool tool, const std::filesystem::path& file);
    /// Seconds of audio in a WAV file whose first bytes are `header` and whose size is `fileSize`; nothing
    /// when the header is not a PCM WAV header up to its data chunk.
    static std::optional<double> wavDuration(std::string_view header, std::uint64_t fileSize);

    CommandCapture(Support::Scheduler& scheduler, Options options);
    ~CommandCapture() override;

    /// "PipeWire" or "PulseAudio".
    std::string name() const override;
    Support::Task<CaptureSession> start(std::filesystem::path folder) override;
    Support::Task<std::optional<CapturedRecording>> stop() override;
    bool isCapturing() const override { return session_.has_value(); }
    /// The running tool's process id (its stream is ours, not a call).
    std::optional<int> processId() const;

private:
    Support::Task<CaptureSession> startCapture(std::filesystem::path folder);
    Support::Task<std::optional<CapturedRecording>> stopCapture();

    Support::Scheduler& scheduler_;
    Options options_;
    std::unique_ptr<Platform::ChildProcess> tool_;
    std::optional<CaptureSession> session_;
    /// When the session started, on the monotonic clock: its length is measured on that clock.
    Support::MonotonicInstant startedMonotonic_{};
    bool busy_ = false;
};

} // namespace AudioEngine
