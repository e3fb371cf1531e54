// Kills a writing process at random moments, many times over: the settings file must always be exactly the
// document before or after one of the writes, valid JSON, and the backup exactly the original file.
#include "UI/aiapps/MCPConfigFileWriter.h"

#include "UI/aiapps/AIAppsTestSupport.h"
#include "UI/aiapps/MCPConfigMerger.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

using namespace AIAppsTest;
using UI::MCPConfigFileWriter;
using UI::MCPConfigMerger;
namespace fs = std::filesystem;

namespace {

const UI::MCPConfigLocation location{"mcp.json", "mcpServers"};
const std::string commandA = "/opt/a/vellmora-mcp";
const std::string commandB = "/opt/b/vellmora-mcp";

[[noreturn]] void writeForever(const fs::path& file) {
    for (unsigned i = 0;; ++i) {
        try {
            MCPConfigFileWriter::update(file, location, UI::MCPEntryStyle::command,
                                        i % 2 ? commandA : commandB, MCPConfigFileWriter::Kind::add);
        } catch (...) {
            ::_exit(3);
        }
    }
}

void pauseMicroseconds(long us) {
    timespec t{0, us * 1000};
    ::nanosleep(&t, nullptr);
}

} // namespace

TEST(MCPConfigFileWriterCrash, AKilledWriterLeavesTheOldOrTheNewDocumentAndAnIntactBackup) {
    Fakes::TempFolder home;
    auto file = home / "mcp.json";
    std::string original =
        "{\n  \"mcpServers\": {\n    \"other\": {\"command\": \"x\", \"n\": 1.10}\n  },\n  "
        "\"padding\": \"" +
        std::string(64 * 1024, 'p') + "\"\n}\n";
    writeFile(file, original);
    const std::string withA =
        MCPConfigMerger::upserting(commandA, UI::MCPEntryStyle::command, "mcpServers", original);
    const std::string withB =
        MCPConfigMerger::upserting(commandB, UI::MCPEntryStyle::command, "mcpServers", original);
    const std::set<std::string> allowed = {original, withA, withB};
    const auto backup = MCPConfigFileWriter::backupPath(file);

    // Kill moments spread over a few whole writes, whatever this machine's disk needs for one (flushes
    // included), so that kills land before, inside and between writes.
    auto scratch = home / "scratch.json";
    writeFile(scratch, original);
    auto started = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i) {
        MCPConfigFileWriter::update(scratch, location, UI::MCPEntryStyle::command,
                                    i % 2 ? commandA : commandB, MCPConfigFileWriter::Kind::add);
    }
    auto oneWrite =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started) / 4;
    for (const auto& name : {"scratch.json", "scratch.json.vellmora-backup", "scratch.json.vellmora-lock"}) {
        fs::remove(home / name);
    }
    std::mt19937 random(20261122);
    std::uniform_int_distribution<long> delay(0, std::clamp<long>(4 * oneWrite.count(), 2000, 50000));
    const int iterations = 200;
    int killedWhileRunning = 0;
    std::set<std::string> seen;
    int killedMidWrite = 0;
    for (int i = 0; i < iterations; ++i) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            writeForever(file);
        }
        pauseMicroseconds(delay(random));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        if (WIFSIGNALED(status)) {
            ++killedWhileRunning;
        } else {
            ADD_FAILURE() << "the writer stopped by itself with status " << status;
        }

        auto now = readFile(file);
        ASSERT_TRUE(allowed.count(now))
            << "iteration " << i << ": the file is neither the old nor a new document";
        ASSERT_TRUE(nlohmann::json::accept(now));
        seen.insert(now);
        for (const auto& e : fs::directory_iterator(home.path)) {
            if (e.path().filename().string().find(".vellmora-tmp-") != std::string::npos) {
                ++killedMidWrite;
                break;
            }
        }
        if (fs::exists(backup)) {
            ASSERT_EQ(readFile(backup), original) << "iteration " << i;
        }
    }
    EXPECT_EQ(killedWhileRunning, iterations);
    EXPECT_GE(seen.size(), 2u) << "the writers were killed too early to have written anything";
    RecordProperty("killedWithATemporaryFileOpen", killedMidWrite);

    // The next writer cleans up whatever temporary files the killed ones left.
    MCPConfigFileWriter::update(file, location, UI::MCPEntryStyle::command, "/opt/c/vellmora-mcp",
                                MCPConfigFileWriter::Kind::add);
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(home.path)) {
        names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names,
              (std::vector<std::string>{"mcp.json", "mcp.json.vellmora-backup", "mcp.json.vellmora-lock"}));
    EXPECT_EQ(readFile(backup), original);
}
