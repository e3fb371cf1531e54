#include "AudioEngine/PulseCapture.h"

#include "AudioEngine/CaptureJournal.h"
#include "AudioEngine/PulseContext.h"
#include "AudioEngine/RecordingRecovery.h"
#include "AudioEngine/TrackLevel.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/MainLoop.h"
#include "Support/Uuid.h"

#include <pulse/pulseaudio.h>

#include <array>
#include <chrono>

namespace AudioEngine {

namespace {

const Support::Logger log("capture");

constexpr std::uint32_t rate = OpusTrackWriter::sampleRate;
/// How far behind the clock a track may fall before silence fills the gap (audio arrives in bursts).
constexpr std::uint64_t lagBeforeFilling = rate / 4;
/// How far behind a track with no audio at all is kept (its audio may still be on its way).
constexpr std::uint64_t lagWithoutAudio = rate;

} // namespace

struct PulseCapture::Core {
    struct Track {
        Core* core = nullptr;
        bool isMicrophone = false;
        pa_stream* stream = nullptr;
        std::string device;
        std::unique_ptr<OpusTrackWriter> writer;
        TrackLevel level{rate, 0};
        bool started = false;
        bool lost = false;
        bool lossTold = false;
        /// Whether the track had no device when the recording started: set before the sound server's
        /// thread may touch `lost`, read by the main thread afterwards.
        bool missingAtStart = false;
    };

    PulseContext connection;
    std::array<Track, 2> tracks;
    std::chrono::steady_clock::time_point startedAt;
    Support::MainLoop* loop = nullptr;
    std::function<void(std::function<void(PulseCapture&)>)> toOwner;
    pa_time_event* timer = nullptr;
    std::string defaultSource;
    std::string defaultSink;
    bool stopping = false;
    bool failed = false;
    bool serverLost = false;

    void subscribe() {
        pa_context_set_subscribe_callback(connection.context(), &Core::onEvent, this);
        if (auto* operation =
                pa_context_subscribe(connection.context(), PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr)) {
            pa_operation_unref(operation);
        }
    }

    std::uint64_t elapsedSamples() const {
        auto elapsed = std::chrono::steady_clock::now() - startedAt;
        return std::uint64_t(std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count()) * rate /
               1000000;
    }

    void tell(std::string sentence) {
        toOwner([sentence](PulseCapture& owner) { owner.notice.emit(sentence); });
    }

    void fillUpTo(Track& track, std::uint64_t target) {
        auto written = track.writer->samplesWritten();
        if (target > written && !failed) {
            track.writer->writeSilence(target - written);
            if (track.level.addSilence(target - written)) {
                reportSilence(track);
            }
        }
    }

    void reportSilence(const Track& track) {
        std::string message = track.isMicrophone ? silentMicrophoneMessage : silentCallMessage;
        log.info("{}", message);
        toOwner([message](PulseCapture& owner) { owner.silenceReported.emit(message); });
    }

    /// `age`: how long ago the first sample was taken by the device, in samples (from the server's timing).
    void take(Track& track, const std::int16_t* samples, std::uint64_t count, std::uint64_t age) {
        if (failed || stopping) {
            return;
        }
        auto elapsed = elapsedSamples();
        auto expectedBefore = elapsed > age ? elapsed - age : 0;
        auto written = track.writer->samplesWritten();
        if (expectedBefore > written + (track.started ? lagBeforeFilling : 0)) {
            fillUpTo(track, expectedBefore);
        }
        track.started = true;
        bool silent;
        if (samples) {
            track.writer->write(std::span(samples, size_t(count)));
            silent = track.level.add(std::span(samples, size_t(count)));
        } else {
            track.writer->writeSilence(count);
            silent = track.level.addSilence(count);
        }
        if (silent) {
            reportSilence(track);
        }
        checkWriter(track);
    }

    void checkWriter(const Track& track) {
        if (failed || !track.writer->failure()) {
            return;
        }
        failed = true;
        std::string sentence = "Vellmora stopped recording: " + track.writer->file().parent_path().string() +
                               " could not be written (" + *track.writer->failure() +
                               "). What was recorded until then is kept.";
        log.error("{}", sentence);
        toOwner([sentence](PulseCapture& owner) { owner.failed.emit(sentence); });
    }

    bool connectStream(Track& track) {
        pa_sample_spec format{PA_SAMPLE_S16LE, rate, 1};
        pa_proplist* properties = pa_proplist_new();
        pa_proplist_sets(properties, PA_PROP_MEDIA_NAME,
                         track.isMicrophone ? "Vellmora: your microphone" : "Vellmora: the call");
        pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, PulseContext::applicationName);
        pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, PulseContext::applicationId);
        track.stream = pa_stream_new_with_proplist(
            connection.context(), track.isMicrophone ? "microphone" : "call", &format, nullptr, properties);
        pa_proplist_free(properties);
        if (!track.stream) {
            return false;
        }
        pa_stream_set_state_callback(track.stream, &Core::onState, &track);
        pa_stream_set_read_callback(track.stream, &Core::onRead, &track);
        pa_buffer_attr attributes{};
        attributes.maxlength = std::uint32_t(-1);
        attributes.fragsize = rate * 2 / 10; // 100 ms: ten wake-ups a second per track
        attributes.tlength = attributes.prebuf = attributes.minreq = std::uint32_t(-1);
        const char* device = track.isMicrophone ? nullptr : "@DEFAULT_MONITOR@";
        auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                                       PA_STREAM_AUTO_TIMING_UPDATE);
        if (pa_stream_connect_record(track.stream, device, &attributes, flags) < 0) {
            pa_stream_unref(track.stream);
            track.stream = nullptr;
            return false;
        }
        return true;
    }

    void dropStream(Track& track) {
        if (!track.stream) {
            return;
        }
        pa_stream_set_state_callback(track.stream, nullptr, nullptr);
        pa_stream_set_read_callback(track.stream, nullptr, nullptr);
        if (PA_STREAM_IS_GOOD(pa_stream_get_state(track.stream))) {
            pa_stream_disconnect(track.stream);
        }
        pa_stream_unref(track.stream);
        track.stream = nullptr;
    }

    static void onState(pa_stream* stream, void* data) {
        auto& track = *static_cast<Track*>(data);
        auto& core = *track.core;
        auto state = pa_stream_get_state(stream);
        if (state == PA_STREAM_READY) {
            if (const char* name = pa_stream_get_device_name(stream)) {
                track.device = name;
            }
            if (track.lost) {
                track.lost = false;
                track.lossTold = false;
                core.tell(std::string(track.isMicrophone ? "Your voice" : "The call") +
                          " is recorded again, from " + track.device + ".");
            }
        } else if ((state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) && !core.stopping) {
            track.lost = true;                   // the timer drops the stream and connects a new one
            if (!track.lossTold && core.timer) { // at the start, `start` says what is missing
                track.lossTold = true;
                core.tell(std::string(track.isMicrophone ? "The microphone" : "The output device") +
                          " went away: Vellmora keeps recording and takes the default one when it is back.");
            }
        }
        core.connection.signal();
    }

    static void onRead(pa_stream* stream, size_t, void* data) {
        auto& track = *static_cast<Track*>(data);
        while (pa_stream_readable_size(stream) > 0) {
            const void* bytes = nullptr;
            size_t length = 0;
            if (pa_stream_peek(stream, &bytes, &length) < 0 || length == 0) {
                return;
            }
            // The server knows how long ago the sample at the read position was recorded (device and
            // buffers); without timing yet, the chunk is taken as just recorded.
            std::uint64_t age = length / 2;
            pa_usec_t latency = 0;
            int negative = 0;
            if (pa_stream_get_latency(stream, &latency, &negative) == 0 && !negative) {
                age = std::max<std::uint64_t>(age, latency * rate / PA_USEC_PER_SEC);
            }
            track.core->take(track, static_cast<const std::int16_t*>(bytes), length / 2, age);
            pa_stream_drop(stream);
        }
    }

    static void onTimer(pa_mainloop_api* api, pa_time_event* event, const struct timeval*, void* data) {
        auto& core = *static_cast<Core*>(data);
        if (core.stopping) {
            return;
        }
        auto elapsed = core.elapsedSamples();
        for (auto& track : core.tracks) {
            if (elapsed > lagWithoutAudio + track.writer->samplesWritten() + lagBeforeFilling) {
                core.fillUpTo(track, elapsed - lagWithoutAudio);
                core.checkWriter(track);
            }
        }
        // The server went away (restarted, crashed): the tracks run on in silence while a new connection is
        // tried every turn; once it is up, the streams are made again below.
        if (core.connection.hasFailed()) {
            if (!core.serverLost) {
                core.serverLost = true;
                core.tell(
                    "The sound server went away: Vellmora keeps recording and goes on when it is back.");
            }
            for (auto& track : core.tracks) {
                core.dropStream(track);
                track.lost = track.lossTold = true;
            }
            core.connection.reconnect();
        } else if (core.serverLost && core.connection.isReady()) {
            core.serverLost = false;
            core.subscribe();
            core.tell("The sound server is back: both tracks are recorded again.");
        }
        for (auto& track : core.tracks) {
            if (track.lost && core.connection.isReady()) {
                core.dropStream(track);
                track.lost = !core.connectStream(track);
            }
        }
        // On the main loop's own clock: the connection may be gone or new by now.
        struct timeval next;
        pa_gettimeofday(&next);
        api->time_restart(event, pa_timeval_add(&next, PA_USEC_PER_SEC));
    }

    static void onEvent(pa_context* context, pa_subscription_event_type_t type, std::uint32_t, void* data) {
        auto& core = *static_cast<Core*>(data);
        if (core.stopping || (type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) != PA_SUBSCRIPTION_EVENT_SERVER) {
            return;
        }
        if (auto* operation = pa_context_get_server_info(context, &Core::onServerInfo, data)) {
            pa_operation_unref(operation);
        }
    }

    static void onServerInfo(pa_context* context, const pa_server_info* info, void* data) {
        auto& core = *static_cast<Core*>(data);
        if (core.stopping || !info) {
            return;
        }
        std::string source = info->default_source_name ? info->default_source_name : "";
        std::string sink = info->default_sink_name ? info->default_sink_name : "";
        auto& microphone = core.tracks[0];
        if (source != core.defaultSource && !source.empty()) {
            core.defaultSource = source;
            if (microphone.stream && pa_stream_get_state(microphone.stream) == PA_STREAM_READY &&
                microphone.device != source) {
                core.move(microphone, source);
            }
        }
        if (sink != core.defaultSink && !sink.empty()) {
            core.defaultSink = sink;
            if (auto* operation =
                    pa_context_get_sink_info_by_name(context, sink.c_str(), &Core::onSinkInfo, data)) {
                pa_operation_unref(operation);
            }
        }
    }

    static void onSinkInfo(pa_context*, const pa_sink_info* info, int end, void* data) {
        auto& core = *static_cast<Core*>(data);
        if (core.stopping || end || !info || !info->monitor_source_name) {
            return;
        }
        auto& call = core.tracks[1];
        if (call.stream && pa_stream_get_state(call.stream) == PA_STREAM_READY &&
            call.device != info->monitor_source_name) {
            core.move(call, info->monitor_source_name);
        }
    }

    void move(Track& track, const std::string& source) {
        log.info("Following the default device: {} track to {}", track.isMicrophone ? "microphone" : "call",
                 source);
        track.device = source;
        if (auto* operation = pa_context_move_source_output_by_name(
                connection.context(), pa_stream_get_index(track.stream), source.c_str(), nullptr, nullptr)) {
            pa_operation_unref(operation);
        }
        tell(std::string(track.isMicrophone ? "Your voice" : "The call") + " is now recorded from " + source +
             ".");
    }

    /// Inside the lock: streams and timer gone, no callback touches the tracks after this.
    void halt() {
        stopping = true;
        for (auto& track : tracks) {
            dropStream(track);
        }
        if (timer) {
            pa_threaded_mainloop_get_api(connection.loop())->time_free(timer);
            timer = nullptr;
        }
        if (connection.context()) {
            pa_context_set_subscribe_callback(connection.context(), nullptr, nullptr);
        }
    }
};

std::optional<std::string> PulseCapture::whyUnavailable() {
    try {
        PulseContext connection;
        connection.connect();
        return std::nullopt;
    } catch (const CaptureError& e) {
        std::string reason = e.what();
        const std::string prefix = "Recording could not start: ";
        return reason.starts_with(prefix) ? reason.substr(prefix.size()) : reason;
    }
}

PulseCapture::PulseCapture() : PulseCapture(Options{}) {}

PulseCapture::PulseCapture(Options options) : options_(std::move(options)) {}

PulseCapture::~PulseCapture() {
    *alive_ = false;
    if (core_) {
        // Destroyed during a recording (quit without stop): the tracks end properly and the note goes, as at
        // a stop; a crash instead leaves the note for the recovery.
        {
            PulseContext::Lock lock(core_->connection);
            core_->halt();
        }
        for (auto& track : core_->tracks) {
            track.writer->finish();
        }
        if (session_ && !core_->failed) {
            std::error_code ignored;
            std::filesystem::remove(CaptureJournal::fileFor(folder_, session_->recordingId), ignored);
        }
    }
}

std::string PulseCapture::name() const {
    return serverKind_;
}

Support::Task<CaptureSession> PulseCapture::start(std::filesystem::path folder) {
    if (session_ || busy_) {
        throw CaptureError("A recording is already running.");
    }
    busy_ = true;
    auto id = Support::Uuid::generate();
    auto startedAt = Support::systemNow();
    auto* loop = &Support::MainLoop::current();
    auto alive = alive_;
    auto toOwner = [this, loop, alive](std::function<void(PulseCapture&)> work) {
        loop->post([this, alive, work = std::move(work)] {
            if (*alive) {
                work(*this);
            }
        });
    };
    std::shared_ptr<Core> core;
    std::exception_ptr error;
    try {
        core = co_await Support::BlockingWork::run([=, options = options_]() -> std::shared_ptr<Core> {
            auto made = std::make_shared<Core>();
            made->loop = loop;
            made->toOwner = toOwner;
            CaptureJournal journal{id, startedAt, {}};
            for (size_t i = 0; i < 2; ++i) {
                auto& track = made->tracks[i];
                track.core = made.get();
                track.isMicrophone = i == 0;
                track.level =
                    TrackLevel(rate, std::uint64_t(Support::toSeconds(options.silenceWindow) * rate));
                auto file = folder / (id + (track.isMicrophone ? ".microphone.opus" : ".call.opus"));
                auto writerOptions = options.writer;
                writerOptions.title = track.isMicrophone ? "Vellmora: your microphone" : "Vellmora: the call";
                try {
                    track.writer = std::make_unique<OpusTrackWriter>(file, writerOptions);
                } catch (const std::system_error& e) {
                    throw CaptureError(std::string("Recording could not start: ") + e.what() + ".");
                }
                journal.tracks.push_back(CapturedTrack{file.filename(), track.isMicrophone, {}});
            }
            try {
                Support::Files::writeAtomically(CaptureJournal::fileFor(folder, id), journal.serialise());
            } catch (const std::system_error& e) {
                throw CaptureError(std::string("Recording could not start: ") + e.what() + ".");
            }
            made->connection.connect();
            PulseContext::Lock lock(made->connection);
            auto defaults = made->connection.defaults();
            made->defaultSource = defaults.source;
            made->defaultSink = defaults.sink;
            made->startedAt = std::chrono::steady_clock::now();
            for (auto& track : made->tracks) {
                track.lost = !made->connectStream(track);
            }
            // Both streams settle (ready, or failed: no such device) before the recording counts as started.
            auto settled = [&] {
                for (auto& track : made->tracks) {
                    if (track.stream && pa_stream_get_state(track.stream) == PA_STREAM_CREATING) {
                        return false;
                    }
                }
                return true;
            };
            while (!settled()) {
                pa_threaded_mainloop_wait(made->connection.loop());
            }
            bool anyReady = false;
            for (auto& track : made->tracks) {
                bool ready = track.stream && pa_stream_get_state(track.stream) == PA_STREAM_READY;
                track.lost = !ready;
                track.lossTold = !ready;
                track.missingAtStart = !ready;
                anyReady = anyReady || ready;
            }
            if (!anyReady) {
                made->halt();
                throw CaptureError(
                    "Recording could not start: the sound server has neither a microphone nor an "
                    "output to record.");
            }
            made->subscribe();
            made->timer = pa_context_rttime_new(
                made->connection.context(), pa_rtclock_now() + PA_USEC_PER_SEC, &Core::onTimer, made.get());
            return made;
        });
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        busy_ = false;
        co_await Support::BlockingWork::run([folder, id] {
            std::error_code ignored;
            for (const char* suffix : {".microphone.opus", ".call.opus"}) {
                std::filesystem::remove(folder / (id + suffix), ignored);
            }
            std::filesystem::remove(CaptureJournal::fileFor(folder, id), ignored);
        });
        std::rethrow_exception(error);
    }
    busy_ = false;
    core_ = core;
    folder_ = folder;
    serverKind_ = core->connection.serverKind();
    for (const auto& track : core->tracks) {
        if (track.missingAtStart) {
            notice.emit(track.isMicrophone
                            ? "There is no microphone: only the call is recorded until one appears."
                            : "There is no output device: only your voice is recorded until one "
                              "appears.");
        }
    }
    session_ = CaptureSession{id, startedAt, core->tracks[0].writer->file()};
    log.info("Recording two tracks with {} into {}", serverKind_, folder.string());
    co_return *session_;
}

Support::Task<std::optional<CapturedRecording>> PulseCapture::stop() {
    if (!session_ || busy_) {
        co_return std::nullopt;
    }
    busy_ = true;
    auto session = *session_;
    auto core = core_;
    auto folder = folder_;
    struct Finished {
        CapturedRecording recording;
        std::vector<TrackReport> report;
        std::optional<std::string> problem;
    };
    auto finished = co_await Support::BlockingWork::run([core, session, folder]() {
        {
            PulseContext::Lock lock(core->connection);
            core->halt();
        }
        Finished result;
        std::uint64_t longest = 0;
        for (auto& track : core->tracks) {
            longest = std::max(longest, track.writer->samplesWritten());
        }
        auto elapsed = core->elapsedSamples();
        auto target = std::max(longest, elapsed > lagWithoutAudio ? elapsed - lagWithoutAudio : 0);
        result.recording =
            CapturedRecording{session.recordingId, session.startedAt, 0, session.audioFile, {}, {}};
        bool failed = core->failed;
        for (auto& track : core->tracks) {
            if (!failed) {
                core->fillUpTo(track, target);
            }
            track.writer->finish();
            result.recording.durationSeconds =
                std::max(result.recording.durationSeconds, double(track.writer->samplesWritten()) / rate);
            result.recording.tracks.push_back(CapturedTrack{track.writer->file(), track.isMicrophone, {}});
            result.report.push_back(TrackReport{track.isMicrophone, track.device, track.level.peakDecibels(),
                                                track.level.averageDecibels(), track.level.seconds()});
        }
        if (failed) {
            // The last pages never ended the streams: finish them in place (the disk has no room for a
            // copy), or at the next start.
            try {
                for (const auto& track : result.recording.tracks) {
                    RecordingRecovery::finishInPlace(track.file);
                }
            } catch (const std::exception& e) {
                result.problem = std::string("The recording is kept but could not be finished now (") +
                                 e.what() + "); Vellmora finishes it at its next start.";
                return result;
            }
        }
        std::error_code ignored;
        std::filesystem::remove(CaptureJournal::fileFor(folder, session.recordingId), ignored);
        return result;
    });
    core_.reset();
    session_.reset();
    busy_ = false;
    lastReport_ = finished.report;
    // The connection's thread ends off the main loop.
    co_await Support::BlockingWork::run([core = std::move(core)]() mutable { core.reset(); });
    if (finished.problem) {
        throw CaptureError(*finished.problem);
    }
    co_return finished.recording;
}

} // namespace AudioEngine
