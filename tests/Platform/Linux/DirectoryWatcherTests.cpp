#include "Platform/Linux/DirectoryWatcher.h"

#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using Platform::DirectoryWatcher;

namespace {

struct Watching : ::testing::Test {
    Support::MainLoop loop;
    fs::path folder;
    std::vector<DirectoryWatcher::Change> changes;
    int batches = 0;
    bool overflowed = false;
    DirectoryWatcher::Handler handler = [this](const std::vector<DirectoryWatcher::Change>& batch,
                                               bool lost) {
        ++batches;
        changes.insert(changes.end(), batch.begin(), batch.end());
        overflowed = overflowed || lost;
    };

    Watching() {
        char pattern[] = "/tmp/vellmora-watch-XXXXXX";
        folder = ::mkdtemp(pattern);
    }
    ~Watching() override {
        std::error_code ec;
        fs::remove_all(folder, ec);
    }
    void settle() {
        while (loop.runOne(20)) {
        }
    }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& c : changes) {
            out.push_back(c.folder.filename().string() + "/" + c.name + (c.appeared ? "+" : ""));
        }
        return out;
    }
};

} // namespace

TEST_F(Watching, ReportsFilesAndFoldersThatAppearChangeAndGoInOneBatchPerRead) {
    DirectoryWatcher watcher(handler);
    ASSERT_TRUE(watcher.add(folder));
    EXPECT_FALSE(watcher.add(folder / "missing"));
    std::ofstream(folder / "a.ics") << "x";
    fs::create_directory(folder / "sub");
    fs::remove(folder / "a.ics");
    settle();
    EXPECT_EQ(batches, 1);
    auto top = folder.filename().string();
    auto seen = names();
    EXPECT_NE(std::find(seen.begin(), seen.end(), top + "/a.ics+"), seen.end());
    EXPECT_NE(std::find(seen.begin(), seen.end(), top + "/sub+"), seen.end());
    EXPECT_NE(std::find(seen.begin(), seen.end(), top + "/a.ics"), seen.end()); // deleted
    EXPECT_FALSE(overflowed);
}

TEST_F(Watching, ForgetsTheWatchOfAFolderThatWasDeletedAndWatchesItAgainWhenItComesBack) {
    fs::create_directory(folder / "cal");
    DirectoryWatcher watcher(handler);
    ASSERT_TRUE(watcher.add(folder / "cal"));
    fs::remove(folder / "cal");
    settle();
    EXPECT_TRUE(watcher.watches().empty()); // IN_IGNORED: the kernel dropped it
    fs::create_directory(folder / "cal");
    ASSERT_TRUE(watcher.add(folder / "cal"));
    changes.clear();
    std::ofstream(folder / "cal" / "b.ics") << "x";
    settle();
    EXPECT_FALSE(changes.empty());
    EXPECT_EQ(watcher.watches(), std::vector<fs::path>{folder / "cal"});
}

TEST_F(Watching, SaysWhenTheKernelLostEventsBecauseItsQueueOverflowed) {
    DirectoryWatcher watcher(handler);
    ASSERT_TRUE(watcher.add(folder));
    // Three events per round (create, close, delete), read by nobody: past the kernel's queue of 16384.
    for (int i = 0; i < 6000; ++i) {
        std::ofstream(folder / "f") << "x";
        ::unlink((folder / "f").c_str());
    }
    settle();
    EXPECT_TRUE(overflowed);
}

TEST_F(Watching, LetsTheLoopGoOfItsDescriptorBeforeClosingIt) {
    {
        DirectoryWatcher first(handler);
        ASSERT_TRUE(first.add(folder));
    }
    // The number of the closed descriptor comes back with the next one, watched by the same loop.
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    bool readable = false;
    auto watch = loop.watchReadable(pipeEnds[0], [&] {
        char byte;
        readable = ::read(pipeEnds[0], &byte, 1) == 1;
    });
    ASSERT_EQ(::write(pipeEnds[1], "x", 1), 1);
    settle();
    EXPECT_TRUE(readable);
    watch.reset();
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);

    DirectoryWatcher second(handler);
    ASSERT_TRUE(second.add(folder));
    std::ofstream(folder / "c.ics") << "x";
    settle();
    EXPECT_FALSE(changes.empty());
}

TEST(DirectoryWatcherWithoutLoop, WatchesNothing) {
    DirectoryWatcher watcher([](const auto&, bool) {});
    EXPECT_FALSE(watcher.isActive());
    EXPECT_FALSE(watcher.add("/tmp"));
}
