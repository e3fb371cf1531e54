// Reads a recording's screen video and stores what was shared on screen: slides (pictures of mostly-text
// screens, kept in the "Slides" image store with their text) and captured screens (denser screens, in the
// "Screens" store, ranked afterwards), plus the text of every kept frame for frame search.
//
// The interface is what the slides service runs (tests fake it). `live` reads the video with ffmpeg (the
// frames where the picture changes) and the text with tesseract, both looked up on $PATH when the job runs;
// when either is missing the outcome is `toolMissing` and says which. Without `force` a recording that
// already has pictures is not read again. Cancelling the job's task stops the tools at once; the task ends
// only when nothing of it is running any more, and a cancelled job stores nothing. A failed job leaves what
// was stored before.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/Slide.h"
#include "Intelligence/SlideImageStore.h"
#include "Support/Task.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace Intelligence {

/// How frames are picked from the video.
struct SlidesConfiguration {
    /// Seconds between the frames compared for a change.
    double sampleInterval = 1.0;
    /// How different two sampled frames must be (0...1, ffmpeg's scene score) to count as a new screen.
    double changeThreshold = 0.12;
    /// Frames with fewer words than this are not kept (a blank or loading screen).
    int minimumWords = 3;
    /// Frames with more words than this are kept as captured screens rather than slides.
    int maximumSlideWords = 150;
    /// At most this many frames are read from one video.
    int maximumFrames = 400;

    static SlidesConfiguration standard() { return {}; }
};

class SlideExtractionJob {
public:
    virtual ~SlideExtractionJob() = default;

    /// Reads `videoURL` (nothing: the recording has no video) for `recordingId`.
    virtual Support::Task<Slide::Outcome> run(Database::RecordingId recordingId,
                                              std::optional<std::filesystem::path> videoURL, bool force) = 0;

    /// The ffmpeg and tesseract job, storing into `database` and the image stores at `slidesRoot` and its
    /// sibling "Screens". The database must outlive every run.
    static std::shared_ptr<SlideExtractionJob>
    live(Database::DatabaseManager& database, SlidesConfiguration configuration,
         std::filesystem::path slidesRoot = SlideImageStore::defaultRootDirectory());

    /// The sentence for missing tools, or nothing when both are on $PATH.
    static std::optional<std::string> missingToolsMessage();
};

} // namespace Intelligence
