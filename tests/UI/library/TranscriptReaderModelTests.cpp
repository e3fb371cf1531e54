#include "UI/library/TranscriptReaderModel.h"

#include "LibraryTestSupport.h"

#include <gtest/gtest.h>

using namespace LibraryTest;
using UI::TranscriptReaderModel;

namespace {

struct Reader : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Support::InMemoryUserDefaults defaults;
    Database::SqliteDatabase db{":memory:"};
    std::vector<std::string> clipboard;
    Database::RecordingId id = db.insertRecording(recording("Planning", 1000));
    std::unique_ptr<TranscriptReaderModel> model;

    void make() {
        model = std::make_unique<TranscriptReaderModel>(
            db, id, defaults, scheduler, [this](const std::string& s) { clipboard.push_back(s); });
        auto task = model->load();
        settle(loop);
    }
    std::vector<std::string> rowTexts() const {
        std::vector<std::string> out;
        for (const auto& row : model->rows()) {
            out.push_back((row.divider ? "[" + row.divider->title + "] " : std::string()) + row.segment.text);
        }
        return out;
    }
};

} // namespace

TEST_F(Reader, LoadsSegmentsPageByPageAndSaysHowManyAreShown) {
    std::vector<Segment> many;
    for (int i = 0; i < 450; ++i) {
        many.push_back(segment(i, "line " + std::to_string(i), i % 2 ? "Ana" : "Ben"));
    }
    db.saveTranscript(id, many);
    make();
    EXPECT_EQ(model->segments.get().size(), 200u);
    EXPECT_EQ(model->currentSegmentOffset(), 200);
    EXPECT_EQ(model->countText(), "Showing 200 of 450 segments");
    EXPECT_TRUE(model->hasMoreSegments());
    EXPECT_EQ(model->loadMoreButtonTitle(), "Load More Segments");

    std::vector<std::string> buttonTitles;
    auto sub =
        model->isLoadingMore.observe([&](bool) { buttonTitles.push_back(model->loadMoreButtonTitle()); });
    auto page = model->loadMoreSegments();
    auto ignored = model->loadMoreSegments(); // a second tap while loading does nothing
    settle(loop);
    EXPECT_EQ(buttonTitles, (std::vector<std::string>{"Loading more segments...", "Load More Segments"}));
    EXPECT_EQ(model->currentSegmentOffset(), 400);
    EXPECT_EQ(model->segments.get().size(), 400u);
    EXPECT_EQ(model->segments.get()[399].text, "line 399");
    auto last = model->loadMoreSegments();
    settle(loop);
    EXPECT_FALSE(model->hasMoreSegments());
    EXPECT_EQ(model->countText(), "Showing 450 of 450 segments");
}

TEST_F(Reader, FiltersBySpeakerChipAndSearchTextWithAnEmptyText) {
    db.saveTranscript(id, {segment(1, "Welcome to the café", "Ana"), segment(2, "Thanks", "Ben"),
                           segment(3, "Cafe budget next", "Ben"), segment(4, "unnamed", "")});
    make();
    EXPECT_EQ(model->speakerChips(), (std::vector<std::string>{"Everyone", "Ana", "Ben"}));
    EXPECT_EQ(model->emptyText(), std::nullopt);
    model->setSearchText("CAFE");
    EXPECT_EQ(rowTexts(), (std::vector<std::string>{"Welcome to the café", "Cafe budget next"}));
    model->selectSpeaker("Ben");
    EXPECT_EQ(rowTexts(), (std::vector<std::string>{"Cafe budget next"}));
    model->setSearchText("welcome");
    EXPECT_TRUE(model->rows().empty());
    EXPECT_EQ(model->emptyText(), std::optional<std::string>("No segments match."));
    model->selectSpeaker(std::nullopt);
    model->setSearchText("  ");
    EXPECT_EQ(model->rows().size(), 4u);
    EXPECT_EQ(std::string(TranscriptReaderModel::searchPrompt), "Search transcript");
}

TEST_F(Reader, PlacesTopicDividersAboveTheShownRows) {
    db.saveTranscript(id, {segment(1, "a", "Ana"), segment(5, "b", "Ben"), segment(12, "c", "Ana"),
                           segment(14, "d", "Ben")});
    db.saveTopics(id, {{0, 0, "Intro", 0, 10, std::nullopt}, {0, 0, "Budget", 10, 20, std::nullopt}});
    make();
    EXPECT_EQ(rowTexts(), (std::vector<std::string>{"[Intro] a", "b", "[Budget] c", "d"}));
    model->selectSpeaker("Ben");
    EXPECT_EQ(rowTexts(), (std::vector<std::string>{"[Intro] b", "[Budget] d"}));
}

TEST_F(Reader, CopyAllCopiesEveryLineAndRevertsItsTitleAfterOneAndAHalfSeconds) {
    db.saveTranscript(id,
                      {segment(5, "Hi", "Alice"), segment(7, "there", "Alice"), segment(300, "Bye", "Bob")});
    make();
    EXPECT_EQ(model->copyButtonTitle.get(), "Copy All");
    auto copy = model->copyAll();
    settle(loop);
    EXPECT_EQ(clipboard, (std::vector<std::string>{"Alice (0:05): Hi there\nBob (5:00): Bye"}));
    EXPECT_EQ(model->copyButtonTitle.get(), "Copied All!");
    scheduler.advance(std::chrono::milliseconds(1499));
    EXPECT_EQ(model->copyButtonTitle.get(), "Copied All!");
    auto again = model->copyAll(); // a second copy restarts the revert
    settle(loop);
    scheduler.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(model->copyButtonTitle.get(), "Copied All!");
    scheduler.advance(std::chrono::milliseconds(1499));
    EXPECT_EQ(model->copyButtonTitle.get(), "Copy All");
}

TEST_F(Reader, FollowPlaybackIsOnByDefaultPersistedAndNeedsTheControllerEngaged) {
    make();
    EXPECT_TRUE(model->followPlayback());
    EXPECT_TRUE(model->shouldScrollToActiveRow());
    model->setFollowPlayback(false);
    EXPECT_EQ(defaults.boolean("transcript.followPlayback"), false);
    EXPECT_FALSE(model->shouldScrollToActiveRow());
    model->setFollowPlayback(true);
    model->follow.noteScroll();
    EXPECT_FALSE(model->shouldScrollToActiveRow());
    model->setFollowPlayback(true);
    EXPECT_TRUE(model->shouldScrollToActiveRow()) << "turning the switch on resumes following";

    std::vector<double> played;
    auto sub = model->playRequested.connect([&](double t) { played.push_back(t); });
    model->playFromHere(segment(42.5, "x"));
    EXPECT_EQ(played, (std::vector<double>{42.5}));
}
