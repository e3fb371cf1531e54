#include "AudioEngine/OpusTrackWriter.h"

#include <opus/opusenc.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace AudioEngine {

OpusTrackWriter::OpusTrackWriter(std::filesystem::path file, Options options)
    : file_(std::move(file)), options_(std::move(options)) {
    std::error_code error;
    std::filesystem::create_directories(file_.parent_path(), error);
    if (error) {
        throw std::system_error(error, "cannot create the folder " + file_.parent_path().string());
    }
    descriptor_.reset(::open(file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!descriptor_) {
        throw std::system_error(errno, std::generic_category(), "cannot create " + file_.string());
    }
    OggOpusComments* comments = ope_comments_create();
    if (!options_.title.empty()) {
        ope_comments_add(comments, "TITLE", options_.title.c_str());
    }
    OpusEncCallbacks callbacks{&OpusTrackWriter::writePage, &OpusTrackWriter::closeFile};
    int status = 0;
    encoder_ =
        ope_encoder_create_callbacks(&callbacks, this, comments, opus_int32(sampleRate), 1, 0, &status);
    ope_comments_destroy(comments);
    if (!encoder_) {
        descriptor_.reset();
        std::filesystem::remove(file_, error);
        throw std::system_error(EINVAL, std::generic_category(),
                                "cannot encode " + file_.string() + " (" + ope_strerror(status) + ")");
    }
    ope_encoder_ctl(encoder_, OPUS_SET_BITRATE(options_.bitrate));
    ope_encoder_ctl(encoder_, OPUS_SET_SIGNAL(OPUS_SIGNAL_VOICE));
    // Speech up to 8 kHz (all a speech recogniser at 16 kHz uses) at a middling complexity: two tracks cost
    // about 1.5% of one core.
    ope_encoder_ctl(encoder_, OPUS_SET_MAX_BANDWIDTH(OPUS_BANDWIDTH_WIDEBAND));
    ope_encoder_ctl(encoder_, OPUS_SET_COMPLEXITY(3));
    ope_encoder_ctl(encoder_, OPE_SET_MUXING_DELAY(int(options_.pageEverySamples)));
    ope_encoder_ctl(encoder_, OPE_SET_DECISION_DELAY(int(sampleRate / 10)));
    // The headers go out at once: a file killed in its first second still names its format.
    if (ope_encoder_flush_header(encoder_) != OPE_OK && !failure_) {
        fail("the headers could not be written");
    }
}

OpusTrackWriter::~OpusTrackWriter() {
    finish();
}

void OpusTrackWriter::fail(std::string reason) {
    if (!failure_) {
        failure_ = std::move(reason);
    }
}

int OpusTrackWriter::writePage(void* self, const unsigned char* data, std::int32_t length) {
    auto& writer = *static_cast<OpusTrackWriter*>(self);
    if (writer.failure_) {
        return 1;
    }
    while (length > 0) {
        ssize_t n = ::write(writer.descriptor_.get(), data, size_t(length));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            writer.fail(n < 0 ? std::strerror(errno) : "the disk took no more bytes");
            return 1;
        }
        data += n;
        length -= std::int32_t(n);
        writer.bytes_ += std::uint64_t(n);
    }
    return 0;
}

int OpusTrackWriter::closeFile(void* self) {
    auto& writer = *static_cast<OpusTrackWriter*>(self);
    if (!writer.descriptor_) {
        return 0;
    }
    int status = 0;
    if (!writer.failure_ && ::fsync(writer.descriptor_.get()) != 0) {
        writer.fail(std::strerror(errno));
        status = 1;
    }
    writer.descriptor_.reset();
    return status;
}

bool OpusTrackWriter::write(std::span<const std::int16_t> samples) {
    if (finished_ || failure_ || samples.empty()) {
        return !failure_;
    }
    if (ope_encoder_write(encoder_, samples.data(), int(samples.size())) != OPE_OK) {
        fail(failure_.value_or("the encoder failed"));
        return false;
    }
    samples_ += samples.size();
    if (samples_ - samplesAtSync_ >= options_.syncEverySamples) {
        samplesAtSync_ = samples_;
        if (::fdatasync(descriptor_.get()) != 0) {
            fail(std::strerror(errno));
        }
    }
    return !failure_;
}

bool OpusTrackWriter::writeSilence(std::uint64_t count) {
    static const std::vector<std::int16_t> zeros(sampleRate / 10, 0);
    while (count > 0 && !failure_) {
        auto n = std::min<std::uint64_t>(count, zeros.size());
        write(std::span(zeros.data(), size_t(n)));
        count -= n;
    }
    return !failure_;
}

bool OpusTrackWriter::finish() {
    if (finished_) {
        return !failure_;
    }
    if (encoder_ && !failure_ && samples_ == 0) {
        writeSilence(sampleRate / 50); // libopusenc cannot end a stream that holds no audio at all
    }
    finished_ = true;
    if (encoder_) {
        if (!failure_) {
            ope_encoder_drain(encoder_);
        }
        ope_encoder_destroy(encoder_); // closes the file through `closeFile`
        encoder_ = nullptr;
    }
    closeFile(this);
    return !failure_;
}

} // namespace AudioEngine
