// What reading a recording's screen video gave: the outcome of one slide extraction job.
#pragma once

#include <string>

namespace Intelligence {

struct Slide {
    struct Outcome {
        enum class Kind {
            /// The video was read; `slideCount` slides and `screenCount` screens were stored (maybe none).
            read,
            /// Not read again: the recording already has pictures and the job was not forced.
            alreadyRead,
            /// The recording has no video file.
            noVideo,
            /// A tool the job needs is not installed; `message` names it.
            toolMissing,
            /// Reading failed; `message` says why. What was stored before is left as it was.
            failed,
            /// Cancelled before it stored anything.
            cancelled,
        };
        Kind kind = Kind::read;
        int slideCount = 0;
        int screenCount = 0;
        /// The reason in words for `noVideo`, `toolMissing` and `failed`.
        std::string message;

        /// Whether this run stored slides or screens.
        bool storedPictures() const { return kind == Kind::read && (slideCount > 0 || screenCount > 0); }
        bool isFailure() const {
            return kind == Kind::toolMissing || kind == Kind::failed || kind == Kind::noVideo;
        }
        bool operator==(const Outcome&) const = default;
    };
};

} // namespace Intelligence
