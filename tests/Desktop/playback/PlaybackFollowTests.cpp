#include "../DesktopTestSupport.h"
#include "AudioEngine/OpusTrackWriter.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Desktop/library/RecordingPage.h"
#include "Desktop/library/TranscriptTab.h"
#include "Desktop/playback/PlayerBar.h"
#include "Desktop/playback/RecordingPlayer.h"
#include "Desktop/playback/TrackTimeline.h"
#include "Desktop/playback/TwoTrackPlayer.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"

#include <QEventLoop>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTabWidget>
#include <QTimer>

#include <gtest/gtest.h>

#include <fstream>

namespace {

using Segment = Database::DatabaseManager::TranscriptSegment;
const Support::Date start = Support::dateFromUnix(1'795'003'200);

// Stands in for the audio: the test says where playback is, as the leading track's position would.
class FakePlayback final : public Desktop::PlaybackSource {
public:
    std::optional<std::string> reason;
    bool playing = false;
    std::vector<double> seeks;

    std::optional<std::string> unavailableReason() const override { return reason; }
    void play() override {
        playing = true;
        playingChanged.emit(true);
    }
    void pause() override {
        playing = false;
        playingChanged.emit(false);
    }
    void seek(double seconds) override {
        seeks.push_back(seconds);
        positionChanged.emit(seconds);
    }
    bool isPlaying() const override { return playing; }
    double duration() const override { return 1500; }
    void advanceTo(double seconds) { positionChanged.emit(seconds); }
};

struct PlaybackFollowTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::InMemoryUserDefaults defaults;
    Database::SqliteDatabase db{":memory:"};
    FakePlayback* fake = nullptr;
    std::optional<std::string> reason;
    std::unique_ptr<Desktop::RecordingPage> page;

    void open() {
        Database::DatabaseManager::Recording r;
        r.title = "Weekly sync";
        r.startDate = start;
        r.duration = 1500;
        auto id = db.insertRecording(r);
        std::vector<Segment> segments;
        for (int i = 0; i < 150; ++i) {
            Segment s;
            s.startTime = i * 10.0;
            s.endTime = s.startTime + 9;
            s.speaker = i % 2 ? "Ann" : "Bo";
            s.text = "line " + std::to_string(i);
            segments.push_back(s);
        }
        db.saveTranscript(id, segments);
        page = std::make_unique<Desktop::RecordingPage>(
            *db.recording(id),
            Desktop::RecordingPage::Context{
                db, defaults, scheduler, {"en_US", "UTC"}, {}, nullptr, {}, [this](const auto&) {
                    auto player = std::make_unique<FakePlayback>();
                    player->reason = reason;
                    fake = player.get();
                    return player;
                }});
        page->resize(800, 600);
        page->show();
        page->tabs()->setCurrentIndex(1);
        settle();
    }
    void settle() { DesktopTest::settle(loop); }
    QListWidget* list() const { return page->transcriptTab()->list(); }
    std::string selectedText() const {
        auto items = list()->selectedItems();
        return items.empty() ? "" : items.front()->text().toStdString();
    }
};

} // namespace

TEST_F(PlaybackFollowTest, TheTranscriptFollowsThePlayersTimeUntilTheUserScrolls) {
    open();
    auto* bar = list()->verticalScrollBar();
    fake->advanceTo(900);
    EXPECT_NE(selectedText().find("line 90"), std::string::npos);
    int followed = bar->value();
    EXPECT_GT(followed, 0) << "following playback scrolls to the row being played";

    bar->triggerAction(QAbstractSlider::SliderToMinimum);
    fake->advanceTo(1200);
    EXPECT_NE(selectedText().find("line 120"), std::string::npos) << "the active row still moves";
    EXPECT_EQ(bar->value(), 0) << "but the list stays where the user put it";

    scheduler.advance(UI::TranscriptFollowPolicy::scrollPause);
    page->reader().follow.resume();
    fake->advanceTo(1300);
    EXPECT_GT(bar->value(), followed);
}

TEST_F(PlaybackFollowTest, PlayFromHereMovesThePlayerAndPlays) {
    open();
    page->reader().playFromHere(page->reader().segments.get().at(12));
    ASSERT_EQ(fake->seeks, std::vector<double>{120});
    EXPECT_TRUE(fake->playing);
    EXPECT_NE(selectedText().find("line 12"), std::string::npos);
    auto* play = page->playerBar()->playButton();
    EXPECT_EQ(play->text().toStdString(), "Pause");
    play->click();
    EXPECT_FALSE(fake->playing);
}

TEST_F(PlaybackFollowTest, WithoutAPlayerThePlayButtonIsOffAndSaysWhy) {
    reason = Desktop::RecordingPlayer::noBackendText;
    open();
    auto* play = page->playerBar()->playButton();
    EXPECT_FALSE(play->isEnabled());
    EXPECT_EQ(play->toolTip().toStdString(), Desktop::RecordingPlayer::noBackendText);
    EXPECT_FALSE(play->accessibleName().isEmpty());
}

TEST(TrackTimeline, TracksLineUpAtTheirOffsetsAndDriftIsCorrectedBeyondTheTolerance) {
    using namespace Desktop::TrackTimeline;
    EXPECT_EQ(trackPosition(10, 0.5), 9.5);
    EXPECT_EQ(trackPosition(0.4, 0.5), std::nullopt) << "silent before its start";
    EXPECT_EQ(recordingTime(9.5, 0.5), 10);
    EXPECT_EQ(resync(10, 0.5, 9.5 + driftTolerance), std::nullopt);
    EXPECT_EQ(resync(10, 0.5, 9.0), 9.5);
    EXPECT_EQ(resync(0.2, 0.5, 0), std::nullopt) << "a track that has not started is left alone";
}

TEST(RecordingPlayer, PlaysTheTracksThatAreThereAndSaysSoWhenNoneIs) {
    auto folder = std::filesystem::temp_directory_path() / ("vellmora-player-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "mic.opus") << "x";
    Database::DatabaseManager::Recording r;
    r.fileURL = folder / "mic.opus";
    r.tracks = {{folder / "mic.opus", true, 0}, {folder / "call.opus", false, 0.3}};
    auto tracks = Desktop::RecordingPlayer::tracks(r);
    ASSERT_EQ(tracks.size(), 1u);
    EXPECT_EQ(tracks[0].file, folder / "mic.opus");

    std::filesystem::remove_all(folder);
    auto player = Desktop::RecordingPlayer::make(r);
    EXPECT_EQ(player->unavailableReason(), std::string(Desktop::RecordingPlayer::missingFilesText));
}

// Only a build with Qt Multimedia has the real player.
#ifdef VELLMORA_HAS_MULTIMEDIA
TEST(TwoTrackPlayer, ReadsTheRecordedOpusTracksAndKnowsTheRecordingsLength) {
    DesktopTest::application();
    auto folder = std::filesystem::temp_directory_path() / ("vellmora-tracks-" + std::to_string(::getpid()));
    std::vector<Desktop::RecordingPlayer::Track> tracks;
    for (auto [name, offset, seconds] : {std::tuple{"mic.opus", 0.0, 3}, std::tuple{"call.opus", 1.0, 3}}) {
        AudioEngine::OpusTrackWriter writer(folder / name, {});
        ASSERT_TRUE(writer.writeSilence(std::uint64_t(seconds) * 48000));
        ASSERT_TRUE(writer.finish());
        tracks.push_back({folder / name, offset});
    }
    Desktop::TwoTrackPlayer player(tracks);
    if (player.unavailableReason()) {
        std::filesystem::remove_all(folder);
        GTEST_SKIP() << *player.unavailableReason();
    }
    // Qt's backend reads the files on its own threads: wait until it reports both lengths (the timer only
    // ends a test that would otherwise hang).
    QEventLoop wait;
    auto known = player.durationChanged.connect([&](double seconds) {
        if (seconds > 3.9) {
            wait.quit();
        }
    });
    QTimer::singleShot(20000, &wait, &QEventLoop::quit);
    if (player.duration() < 3.9) {
        wait.exec();
    }
    EXPECT_NEAR(player.duration(), 4.0, 0.1) << "the call track ends a second after the microphone's";
    std::filesystem::remove_all(folder);
}
#endif
