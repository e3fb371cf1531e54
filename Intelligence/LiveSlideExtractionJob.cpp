// The ffmpeg and tesseract slide extraction job (see SlideExtractionJob.h).
#include "Intelligence/CancellableWork.h"
#include "Intelligence/ScreenCaptures.h"
#include "Intelligence/SlideExtractionJob.h"
#include "Intelligence/SlideToolOutput.h"
#include "Intelligence/ToolProcess.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "Support/Uuid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace Intelligence {

namespace {

const Support::Logger& log() {
    static const Support::Logger logger("slides");
    return logger;
}

using Outcome = Slide::Outcome;

struct Frame {
    std::filesystem::path file;
    double time = 0;
    std::string text;
};

class LiveSlideExtractionJob final : public SlideExtractionJob,
                                     public std::enable_shared_from_this<LiveSlideExtractionJob> {
public:
    LiveSlideExtractionJob(Database::DatabaseManager& database, SlidesConfiguration configuration,
                           std::filesystem::path slidesRoot)
        : database_(database), configuration_(configuration), slides_(slidesRoot),
          screens_(SlideImageStore::screensDirectory(slidesRoot)) {}

    Support::Task<Outcome> run(Database::RecordingId recordingId,
                               std::optional<std::filesystem::path> videoURL, bool force) override {
        auto* database = &database_;
        if (!force) {
            auto counting = Support::BlockingWork::run([database, recordingId] {
                return std::make_pair(database->slides(recordingId).size(),
                                      database->screenCaptures(recordingId).size());
            });
            auto existing = co_await counting;
            if (existing.first > 0 || existing.second > 0) {
                Outcome outcome{Outcome::Kind::alreadyRead,
                                static_cast<int>(existing.first),
                                static_cast<int>(existing.second),
                                {}};
                co_return outcome;
            }
        }
        if (!videoURL || !std::filesystem::is_regular_file(*videoURL)) {
            Outcome outcome{Outcome::Kind::noVideo, 0, 0, "This recording has no screen video."};
            co_return outcome;
        }
        if (auto missing = missingToolsMessage()) {
            Outcome outcome{Outcome::Kind::toolMissing, 0, 0, *missing};
            co_return outcome;
        }
        auto video = *videoURL;
        std::function<Outcome(const std::atomic<bool>&)> work = [self = shared_from_this(), recordingId,
                                                                 video](const std::atomic<bool>& cancelled) {
            return self->read(recordingId, video, cancelled);
        };
        auto awaiter = runToEnd<Outcome>(std::move(work));
        auto outcome = co_await awaiter;
        co_return outcome;
    }

private:
    /// The whole reading, on the pool: frames into a work folder, text from each, then the pictures and
    /// rows swapped in. Checks `cancelled` between steps; once storing starts it runs to its end.
    Outcome read(Database::RecordingId recordingId, const std::filesystem::path& video,
                 const std::atomic<bool>& cancelled) {
        auto work = slides_.rootDirectory().parent_path() /
                    (".slides-work-" + std::to_string(recordingId) + "-" + Support::Uuid::generate());
        struct Cleanup {
            std::vector<std::filesystem::path> paths;
            ~Cleanup() {
                for (const auto& p : paths) {
                    std::error_code ec;
                    std::filesystem::remove_all(p, ec);
                }
            }
        } cleanup{{work}};
        try {
            std::filesystem::create_directories(work / "frames");
            auto frames = extractFrames(video, work / "frames", cancelled);
            if (cancelled) {
                return cancelledOutcome();
            }
            for (auto& frame : frames) {
                if (cancelled) {
                    return cancelledOutcome();
                }
                auto result = ToolProcess::run({"tesseract", frame.file.string(), "stdout"}, cancelled);
                if (result.wasCancelled) {
                    return cancelledOutcome();
                }
                if (result.exitStatus != 0) {
                    return failed("tesseract couldn't read a frame: " +
                                  SlideToolOutput::lastLine(result.errorOutput));
                }
                frame.text = SlideToolOutput::cleanedText(result.output);
            }
            return store(recordingId, frames, work, cleanup.paths, cancelled);
        } catch (const std::exception& error) {
            return failed(error.what());
        }
    }

    /// The frames where the picture changed; throws with the reason in words when ffmpeg fails.
    std::vector<Frame> extractFrames(const std::filesystem::path& video, const std::filesystem::path& folder,
                                     const std::atomic<bool>& cancelled) {
        auto filter = fmt::format("fps=1/{},select='eq(n\\,0)+gt(scene\\,{})',showinfo",
                                  configuration_.sampleInterval, configuration_.changeThreshold);
        auto result = ToolProcess::run({"ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "info", "-i",
                                        video.string(), "-an", "-vf", filter, "-fps_mode", "vfr", "-frames:v",
                                        std::to_string(configuration_.maximumFrames), "-q:v", "3",
                                        (folder / "frame-%05d.jpg").string()},
                                       cancelled);
        if (result.wasCancelled) {
            return std::vector<Frame>{};
        }
        if (result.exitStatus != 0) {
            throw std::runtime_error("ffmpeg couldn't read the video: " +
                                     SlideToolOutput::lastLine(result.errorOutput));
        }
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        auto times = SlideToolOutput::frameTimes(result.errorOutput);
        std::vector<Frame> frames;
        for (std::size_t i = 0; i < files.size(); ++i) {
            // Without a reported time a frame is placed one sample after the previous one.
            double time = i < times.size()
                              ? times[i]
                              : (frames.empty() ? 0 : frames.back().time + configuration_.sampleInterval);
            frames.push_back({files[i], time, {}});
        }
        return frames;
    }

    Outcome store(Database::RecordingId recordingId, const std::vector<Frame>& frames,
                  const std::filesystem::path& work, std::vector<std::filesystem::path>& cleanupPaths,
                  const std::atomic<bool>& cancelled) {
        std::vector<Database::DatabaseManager::Slide> slideRows;
        std::vector<Database::DatabaseManager::ScreenCapture> screenRows;
        std::vector<Database::DatabaseManager::FrameIndexEntry> index;
        auto stagedSlides = slides_.rootDirectory() / (".incoming-" + work.filename().string());
        auto stagedScreens = screens_.rootDirectory() / (".incoming-" + work.filename().string());
        cleanupPaths.push_back(stagedSlides);
        cleanupPaths.push_back(stagedScreens);
        std::filesystem::create_directories(stagedSlides);
        std::filesystem::create_directories(stagedScreens);

        std::string previousText;
        for (const auto& frame : frames) {
            if (frame.text.empty()) {
                continue;
            }
            index.push_back({recordingId, frame.time, frame.text});
            int words = ScreenCaptures::wordCount(frame.text);
            // The same text again is the same screen (a cursor moved, a video tile changed).
            if (words < configuration_.minimumWords || frame.text == previousText) {
                continue;
            }
            previousText = frame.text;
            auto extension = frame.file.extension().string();
            if (words <= configuration_.maximumSlideWords) {
                auto name = fmt::format("slide-{:03}{}", slideRows.size() + 1, extension);
                std::filesystem::copy_file(frame.file, stagedSlides / name);
                slideRows.push_back({0, recordingId, frame.time, name, frame.text});
            } else {
                auto name = fmt::format("screen-{:03}{}", screenRows.size() + 1, extension);
                std::filesystem::copy_file(frame.file, stagedScreens / name);
                screenRows.push_back(
                    {0, recordingId, frame.time, name, frame.text, std::nullopt, false, std::nullopt});
            }
        }
        if (cancelled) {
            return cancelledOutcome();
        }
        // From here on the run stores everything or fails as a whole: rows first, then the pictures they
        // name.
        database_.saveSlides(recordingId, slideRows);
        database_.saveScreenCaptures(recordingId, screenRows);
        database_.deleteFrameIndex(recordingId);
        if (!index.empty()) {
            database_.addFrameIndexEntries(index);
        }
        swapIn(slides_, recordingId, stagedSlides, !slideRows.empty());
        swapIn(screens_, recordingId, stagedScreens, !screenRows.empty());
        if (!screenRows.empty()) {
            ScreenCaptures::rerank(recordingId, database_, ScreenCaptureConfiguration::standard());
        }
        log().info("Slides: recording {} read: {} slides, {} screens from {} frames", recordingId,
                   slideRows.size(), screenRows.size(), frames.size());
        return {
            Outcome::Kind::read, static_cast<int>(slideRows.size()), static_cast<int>(screenRows.size()), {}};
    }

    static void swapIn(SlideImageStore& store, Database::RecordingId recordingId,
                       const std::filesystem::path& staged, bool hasPictures) {
        if (hasPictures) {
            store.replaceImages(recordingId, staged);
        } else {
            store.deleteImages(recordingId);
        }
    }

    static Outcome cancelledOutcome() { return {Outcome::Kind::cancelled, 0, 0, {}}; }
    static Outcome failed(std::string message) { return {Outcome::Kind::failed, 0, 0, std::move(message)}; }

    Database::DatabaseManager& database_;
    SlidesConfiguration configuration_;
    SlideImageStore slides_;
    SlideImageStore screens_;
};

} // namespace

std::optional<std::string> SlideExtractionJob::missingToolsMessage() {
    bool ffmpeg = ToolProcess::find("ffmpeg").has_value();
    bool tesseract = ToolProcess::find("tesseract").has_value();
    if (ffmpeg && tesseract) {
        return std::nullopt;
    }
    if (!ffmpeg && !tesseract) {
        return "Slides can't be read: ffmpeg and tesseract aren't installed.";
    }
    return std::string("Slides can't be read: ") + (ffmpeg ? "tesseract" : "ffmpeg") + " isn't installed.";
}

std::shared_ptr<SlideExtractionJob> SlideExtractionJob::live(Database::DatabaseManager& database,
                                                             SlidesConfiguration configuration,
                                                             std::filesystem::path slidesRoot) {
    return std::make_shared<LiveSlideExtractionJob>(database, configuration, std::move(slidesRoot));
}

} // namespace Intelligence
