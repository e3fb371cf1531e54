#include "Platform/Linux/CalendarSubscriptionDownloader.h"

#include "Fakes/FakeHttpClient.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using Fakes::FakeHttpClient;
using Platform::CalendarSubscriptionDownloader;

namespace {

const std::string holidays = "BEGIN:VCALENDAR\r\nX-WR-CALNAME:Holidays\r\nEND:VCALENDAR\r\n";

fs::path temporaryFolder() {
    char pattern[] = "/tmp/vellmora-subscriptions-XXXXXX";
    return ::mkdtemp(pattern);
}

struct Downloads : ::testing::Test {
    Support::MainLoop loop;
    fs::path cache = temporaryFolder();
    FakeHttpClient http;
    Support::Date now = *Support::parseISO8601("2026-11-27T08:00:00Z");
    CalendarSubscriptionDownloader downloader{http, cache, [this] { return now; }};
    const std::string url = "webcal://calendar.example.com/holidays.ics";

    ~Downloads() override {
        Support::BlockingWork::drain();
        std::error_code ec;
        fs::remove_all(cache, ec);
    }
    bool download() {
        auto task = downloader.download(url);
        for (int i = 0; i < 500 && !task.isDone(); ++i) {
            loop.runOne(10);
        }
        return task.get();
    }
};

} // namespace

TEST_F(Downloads, KeepsACopyAsksConditionallyAndTellsStalenessByTheGivenClock) {
    auto first = FakeHttpClient::Answer::ok(holidays);
    first.headers = {{"ETag", "\"v1\""}, {"Last-Modified", "Thu, 26 Nov 2026 10:00:00 GMT"}};
    http.enqueue(first);
    EXPECT_TRUE(downloader.isStale(url, Support::seconds(900)));
    EXPECT_TRUE(download());
    EXPECT_EQ(http.requests[0].url, "https://calendar.example.com/holidays.ics");
    EXPECT_EQ(Support::Files::readIfExists(downloader.copyFile(url)), holidays);
    EXPECT_EQ(downloader.copyFile(url).parent_path(), cache / "subscriptions");
    EXPECT_EQ(downloader.note(url).fetchedAt, Support::unixSeconds(now));
    EXPECT_FALSE(downloader.isStale(url, Support::seconds(900)));
    now += Support::seconds(900);
    EXPECT_TRUE(downloader.isStale(url, Support::seconds(900)));

    http.enqueue(FakeHttpClient::Answer::ok("", 304));
    EXPECT_FALSE(download());
    EXPECT_EQ(Platform::headerValue(http.requests[1].headers, "If-None-Match"), "\"v1\"");
    EXPECT_EQ(Platform::headerValue(http.requests[1].headers, "If-Modified-Since"),
              "Thu, 26 Nov 2026 10:00:00 GMT");
    EXPECT_EQ(downloader.note(url).fetchedAt, Support::unixSeconds(now));
}

TEST_F(Downloads, KeepsTheLastGoodCopyWhateverGoesWrongAndNotesTheProblem) {
    http.enqueue(FakeHttpClient::Answer::ok(holidays));
    ASSERT_TRUE(download());
    struct Case {
        FakeHttpClient::Answer answer;
        std::string problem;
    } cases[] = {
        {FakeHttpClient::Answer::ok("<html>Sign in</html>"), "the download is not a calendar"},
        {FakeHttpClient::Answer::ok("Server error", 500), "download failed: HTTP status 500"},
        {FakeHttpClient::Answer::failure(Platform::HttpTransportError::Kind::cannotConnect, "No connection."),
         "download failed: No connection."},
    };
    for (auto& c : cases) {
        http.enqueue(c.answer);
        EXPECT_FALSE(download()) << c.problem; // the copy is unchanged
        EXPECT_EQ(Support::Files::readIfExists(downloader.copyFile(url)), holidays);
        EXPECT_EQ(downloader.note(url).problem.rfind(c.problem, 0), 0u) << downloader.note(url).problem;
    }
}

TEST_F(Downloads, SaysAProblemChangedWhenThereIsNoCopyYet) {
    http.enqueue(FakeHttpClient::Answer::ok("", 404));
    EXPECT_TRUE(download()); // the calendar's problem is news for the user
    http.enqueue(FakeHttpClient::Answer::ok("", 404));
    EXPECT_FALSE(download());
    EXPECT_FALSE(fs::exists(downloader.copyFile(url)));
}

TEST_F(Downloads, ACancelledDownloadStopsItsTransferAndWritesNothing) {
    http.holdRequests = true;
    auto task = downloader.download(url);
    loop.runUntilIdle();
    ASSERT_EQ(http.heldCount(), 1u);
    task.cancel();
    loop.runUntilIdle();
    EXPECT_TRUE(task.isDone());
    EXPECT_EQ(http.cancelledTransfers(), 1);
    Support::BlockingWork::drain();
    EXPECT_FALSE(fs::exists(downloader.copyFile(url).replace_extension(".json")));
}

TEST(CalendarSubscriptionDownloaderNames, MapsWebcalToHttpsAndNamesTheHost) {
    EXPECT_TRUE(CalendarSubscriptionDownloader::isSubscription("WEBCALS://x/y"));
    EXPECT_FALSE(CalendarSubscriptionDownloader::isSubscription("/home/me/cal.ics"));
    EXPECT_EQ(CalendarSubscriptionDownloader::downloadURL("webcals://x.org/a.ics"), "https://x.org/a.ics");
    EXPECT_EQ(CalendarSubscriptionDownloader::downloadURL("http://x.org/a.ics"), "http://x.org/a.ics");
    EXPECT_EQ(CalendarSubscriptionDownloader::hostOf("https://me:pw@Cal.Example.com:8443/a?b"),
              "cal.example.com:8443");
}
