// Downloading a speech model from a loopback model host: progress, resuming after a cut connection, and a
// wrong checksum refused with nothing left behind.
#include "Fakes/LoopbackServer.h"

#include "Fakes/ScriptFolder.h"
#include "Intelligence/SpeechModels.h"
#include "Platform/Linux/CurlHttpClient.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace Intelligence;

namespace {

/// Serves one model file; honours Range; can cut the first transfer after `cutAfter` bytes.
struct ModelHost {
    std::string content;
    std::atomic<long> cutAfter{-1};
    std::vector<std::string> ranges;
    std::mutex mutex;
    Fakes::LoopbackServer loopback; // last: it stops before the state its handler uses goes

    explicit ModelHost(std::string body) : content(std::move(body)) {
        // cpp-httplib answers a Range request itself (206, from the asked offset) for a content provider.
        loopback.server.Get(
            "/models/ggml-test.bin", [this](const httplib::Request& req, httplib::Response& res) {
                {
                    std::lock_guard lock(mutex);
                    ranges.push_back(req.get_header_value("Range"));
                }
                const long cut = cutAfter.exchange(-1);
                res.set_content_provider(content.size(), "application/octet-stream",
                                         [this, cut](size_t offset, size_t length, httplib::DataSink& sink) {
                                             size_t end = std::min(offset + std::min<size_t>(length, 65536),
                                                                   content.size());
                                             if (cut >= 0 && offset >= static_cast<size_t>(cut)) {
                                                 return false; // the connection drops
                                             }
                                             if (cut >= 0) {
                                                 end = std::min(end, static_cast<size_t>(cut));
                                             }
                                             sink.write(content.data() + offset, end - offset);
                                             return true;
                                         });
            });
        loopback.start();
    }
    std::string url() const { return loopback.url("/models"); }
};

std::string modelBytes() {
    std::string bytes;
    for (int i = 0; i < 600000; ++i) {
        bytes.push_back(static_cast<char>((static_cast<long long>(i) * 7919) % 251));
    }
    return bytes;
}

struct Rig {
    Support::MainLoop loop;
    ModelHost host{modelBytes()}; // outlives the client, which closes its kept-alive connections first
    Platform::CurlHttpClient http;
    Fakes::ScriptFolder folder;
    std::vector<double> progress;

    std::optional<std::string> download(const std::string& sha1) {
        SpeechModels models(folder.path / "models", host.url());
        auto error = std::make_shared<std::optional<std::string>>();
        auto task = Support::startTask([this, models, sha1, error]() mutable -> Support::Task<void> {
            try {
                auto work = models.download(http, SpeechModels::Model{"test", sha1, 0},
                                            [this](double p) { progress.push_back(p); });
                co_await work;
            } catch (const Support::UserFacingError& e) {
                *error = e.description();
            }
        });
        EXPECT_TRUE(Fakes::runUntil(loop, [&] { return task.isDone(); }));
        return *error;
    }
};

std::string sha1Of(const std::string& text, const std::filesystem::path& scratch) {
    std::ofstream(scratch, std::ios::binary) << text;
    return SpeechModels::sha1OfFile(scratch);
}

} // namespace

TEST(SpeechModels, DownloadsAModelReportingProgressAndInstallsItWhole) {
    Rig rig;
    const auto sum = sha1Of(rig.host.content, rig.folder.path / "scratch");
    EXPECT_EQ(rig.download(sum), std::nullopt);
    SpeechModels models(rig.folder.path / "models");
    EXPECT_EQ(rig.folder.read("models/ggml-test.bin"), rig.host.content);
    EXPECT_FALSE(std::filesystem::exists(rig.folder.path / "models/ggml-test.bin.part"));
    ASSERT_GE(rig.progress.size(), 2u);
    EXPECT_TRUE(std::is_sorted(rig.progress.begin(), rig.progress.end()));
    EXPECT_DOUBLE_EQ(rig.progress.back(), 1.0);
    EXPECT_EQ(models.installed(), std::vector<std::string>{"test"});
    EXPECT_TRUE(models.remove("test"));
    EXPECT_TRUE(models.installed().empty());
}

TEST(SpeechModels, ResumesAfterACutConnectionWhereThePartEnded) {
    Rig rig;
    const auto sum = sha1Of(rig.host.content, rig.folder.path / "scratch");
    rig.host.cutAfter = 200000;
    auto first = rig.download(sum);
    ASSERT_TRUE(first);
    EXPECT_NE(first->find("Run the download again to resume it."), std::string::npos) << *first;
    EXPECT_EQ(std::filesystem::file_size(rig.folder.path / "models/ggml-test.bin.part"), 200000u);
    EXPECT_FALSE(std::filesystem::exists(rig.folder.path / "models/ggml-test.bin"));

    EXPECT_EQ(rig.download(sum), std::nullopt);
    EXPECT_EQ(rig.folder.read("models/ggml-test.bin"), rig.host.content);
    EXPECT_EQ(rig.host.ranges.back(), "bytes=200000-");
}

TEST(SpeechModels, RefusesAFileWithTheWrongChecksumAndLeavesNothing) {
    Rig rig;
    auto error = rig.download("0000000000000000000000000000000000000000");
    ASSERT_TRUE(error);
    EXPECT_EQ(
        *error,
        "The downloaded speech model test is not the expected file (its checksum differs); it was deleted.");
    EXPECT_TRUE(std::filesystem::is_empty(rig.folder.path / "models"));
}

TEST(SpeechModels, KnowsTheHostsModelsAndRefusesAnUnknownName) {
    ASSERT_TRUE(SpeechModels::find("base.en"));
    EXPECT_EQ(SpeechModels::find("base.en")->sha1, "137c40403d78fd54d454da0f9bd998f78703390c");
    EXPECT_FALSE(SpeechModels::find("huge"));
}
