#include "Mcp/McpServer.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Platform/PosixProcessRunner.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

using json = nlohmann::json;
using Database::DatabaseManager;
namespace fs = std::filesystem;

namespace {

/// A small library: two recordings, one with a transcript, topics and action items.
void fill(DatabaseManager& db) {
    DatabaseManager::Recording weekly;
    weekly.title = "Weekly planning";
    weekly.startDate = Support::Date(std::chrono::seconds(1'763'800'000));
    weekly.duration = 1805;
    weekly.summary = "We chose the Q1 roadmap.";
    auto id = db.insertRecording(weekly);
    DatabaseManager::TranscriptSegment a{0, id, 5, 9, "Let us look at the roadmap", "Alice", false};
    DatabaseManager::TranscriptSegment b{0, id, 12, 15, "The café budget is fine", "Bob", false};
    db.saveTranscript(id, {a, b});
    db.saveTopics(id, {{0, id, "Roadmap", 0, 60, std::string("Q1 plans")}});
    db.saveActionItems(id, {"Send the notes", "Book the room"});

    DatabaseManager::Recording standup;
    standup.title = "Standup";
    standup.startDate = Support::Date(std::chrono::seconds(1'763'900'000));
    standup.duration = 300;
    db.insertRecording(standup);
}

class McpServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        db = std::make_shared<Database::SqliteDatabase>(":memory:");
        fill(*db);
        server = std::make_unique<Mcp::McpServer>([this] { return db; }, "1.2.3");
    }
    json ask(const json& message) {
        auto answer = server->handleLine(message.dump());
        return answer ? json::parse(*answer) : json();
    }
    json call(const std::string& tool, json arguments = json::object()) {
        return ask({{"jsonrpc", "2.0"},
                    {"id", 7},
                    {"method", "tools/call"},
                    {"params", {{"name", tool}, {"arguments", arguments}}}});
    }
    Database::RecordingId weeklyId() { return db->allRecordings().back().id; }

    std::shared_ptr<Database::SqliteDatabase> db;
    std::unique_ptr<Mcp::McpServer> server;
};

} // namespace

TEST_F(McpServerTest, InitializeNamesTheServerAndAgreesOnAProtocolVersion) {
    auto answer = ask({{"jsonrpc", "2.0"},
                       {"id", 1},
                       {"method", "initialize"},
                       {"params", {{"protocolVersion", "2025-03-26"}, {"capabilities", json::object()}}}});
    EXPECT_EQ(answer["id"], 1);
    EXPECT_EQ(answer["result"]["serverInfo"]["name"], "vellmora");
    EXPECT_EQ(answer["result"]["serverInfo"]["version"], "1.2.3");
    EXPECT_EQ(answer["result"]["protocolVersion"], "2025-03-26");
    EXPECT_TRUE(answer["result"]["capabilities"].contains("tools"));

    auto unknownVersion = ask({{"jsonrpc", "2.0"},
                               {"id", "a"},
                               {"method", "initialize"},
                               {"params", {{"protocolVersion", "1999-01-01"}}}});
    EXPECT_EQ(unknownVersion["result"]["protocolVersion"], Mcp::McpServer::protocolVersions().front());
    EXPECT_EQ(server->handleLine(R"({"jsonrpc":"2.0","method":"notifications/initialized"})"), std::nullopt);
    EXPECT_EQ(ask({{"jsonrpc", "2.0"}, {"id", 2}, {"method", "ping"}})["result"], json::object());
}

TEST_F(McpServerTest, ListsToolsWithSchemas) {
    auto tools = ask({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "tools/list"}})["result"]["tools"];
    std::vector<std::string> names;
    for (const auto& t : tools) {
        names.push_back(t["name"]);
        EXPECT_EQ(t["inputSchema"]["type"], "object");
        EXPECT_FALSE(t["description"].get<std::string>().empty());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"list_recordings", "search_recordings", "get_transcript",
                                               "get_summary", "get_action_items"}));
}

TEST_F(McpServerTest, ToolsReadTheLibrary) {
    auto list = call("list_recordings")["result"];
    EXPECT_EQ(list["isError"], false);
    EXPECT_EQ(list["structuredContent"]["total"], 2);
    EXPECT_EQ(list["structuredContent"]["recordings"][0]["title"], "Standup");
    auto text = list["content"][0]["text"].get<std::string>();
    EXPECT_NE(text.find("Weekly planning"), std::string::npos) << text;
    EXPECT_NE(call("list_recordings", {{"limit", 1}})["result"]["content"][0]["text"].get<std::string>().find(
                  "1 more"),
              std::string::npos);

    auto transcript = call("get_transcript", {{"recording_id", weeklyId()}})["result"];
    EXPECT_EQ(transcript["structuredContent"]["lines"],
              json({"Alice (0:05): Let us look at the roadmap", "Bob (0:12): The café budget is fine"}));

    auto found = call("search_recordings", {{"query", "cafe"}})["result"];
    EXPECT_EQ(found["structuredContent"]["recordings"][0]["title"], "Weekly planning");
    EXPECT_EQ(found["structuredContent"]["passages"][0]["speaker"], "Bob");
    EXPECT_NE(call("search_recordings", {{"query", "zebra"}})["result"]["content"][0]["text"]
                  .get<std::string>()
                  .find("Nothing in the library matches"),
              std::string::npos);

    auto summary = call("get_summary", {{"recording_id", weeklyId()}})["result"]["content"][0]["text"]
                       .get<std::string>();
    EXPECT_EQ(summary, "We chose the Q1 roadmap.\n\nTopics:\n- 0:00 Roadmap: Q1 plans\n");
    auto items = call("get_action_items", {{"recording_id", weeklyId()}})["result"]["content"][0]["text"];
    EXPECT_EQ(items, "- [ ] Send the notes\n- [ ] Book the room\n");
}

TEST_F(McpServerTest, AMissingRecordingOrLibraryIsAToolErrorTheAppCanShow) {
    auto missing = call("get_summary", {{"recording_id", 999}})["result"];
    EXPECT_EQ(missing["isError"], true);
    EXPECT_EQ(missing["content"][0]["text"], "There is no recording with id 999.");

    Mcp::McpServer noLibrary([]() -> std::shared_ptr<DatabaseManager> {
        throw Database::DatabaseError(Database::DatabaseError::Kind::io, "The library file is missing.");
    });
    auto answer = json::parse(*noLibrary.handleLine(
        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"list_recordings"}})"));
    EXPECT_EQ(answer["result"]["isError"], true);
    EXPECT_EQ(answer["result"]["content"][0]["text"],
              "Vellmora's library can't be opened: The library file is missing.");
}

TEST_F(McpServerTest, MalformedMessagesGetJsonRpcErrors) {
    struct Case {
        std::string line;
        int code;
        json id;
    };
    const Case cases[] = {
        {"{not json", -32700, nullptr},
        {"\"\xff\xfe\"", -32700, nullptr},
        {"42", -32600, nullptr},
        {R"({"jsonrpc":"1.0","id":3,"method":"ping"})", -32600, 3},
        {R"({"jsonrpc":"2.0","id":3})", -32600, 3},
        {R"({"jsonrpc":"2.0","id":{"x":1},"method":"ping"})", -32600, nullptr},
        {R"({"jsonrpc":"2.0","id":4,"method":"resources/read"})", -32601, 4},
        {R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{"name":"nope"}})", -32602, 5},
        {R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{}})", -32602, 5},
        {R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{"name":"get_transcript","arguments":{}}})",
         -32602, 5},
        {R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{"name":"list_recordings","arguments":{"limit":-1}}})",
         -32602, 5},
        {R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{"name":"list_recordings","arguments":[1]}})",
         -32602, 5},
        {R"({"jsonrpc":"2.0","id":6,"method":"ping","params":3})", -32602, 6},
        {"[]", -32600, nullptr},
    };
    for (const auto& c : cases) {
        auto line = server->handleLine(c.line);
        ASSERT_TRUE(line) << c.line;
        auto answer = json::parse(*line);
        EXPECT_EQ(answer["error"]["code"], c.code) << c.line;
        EXPECT_EQ(answer["id"], c.id) << c.line;
        EXPECT_EQ(answer["jsonrpc"], "2.0");
    }
    auto batch = json::parse(*server->handleLine(
        R"([{"jsonrpc":"2.0","id":1,"method":"ping"},{"jsonrpc":"2.0","method":"notifications/x"},7])"));
    ASSERT_EQ(batch.size(), 2u);
    EXPECT_EQ(batch[0]["result"], json::object());
    EXPECT_EQ(batch[1]["error"]["code"], -32600);
    EXPECT_EQ(server->handleLine("   "), std::nullopt);
    EXPECT_EQ(server->handleLine(R"({"jsonrpc":"2.0","id":9,"result":{}})"), std::nullopt);
}

TEST(VellmoraMcpHelper, SpeaksJsonRpcOverPipesOnALibraryOpenedReadOnly) {
    char pattern[] = "/tmp/vellmora-mcp-XXXXXX";
    fs::path dir = ::mkdtemp(pattern);
    auto file = dir / "library.sqlite";
    {
        Database::SqliteDatabase db(file);
        fill(db);
    }
    auto sizeBefore = fs::file_size(file);

    Platform::ProcessRequest request;
    request.executable = VELLMORA_MCP_EXECUTABLE;
    request.arguments = {"--database", file.string()};
    request.timeout = std::chrono::seconds(20);
    request.standardInput =
        R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18"}})"
        "\n"
        R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
        "\n"
        "{\"broken\n"
        "\x01\x02\xff garbage\n"
        R"({"jsonrpc":"2.0","id":2,"method":"tools/call","params":{"name":"list_recordings"}})"
        "\n"
        R"({"jsonrpc":"2.0","id":3,"method":"tools/call","params":{"name":"get_transcript","arguments":{"recording_id":1}}})"
        "\n" +
        std::string(100000, '[') + "\n" + R"({"jsonrpc":"2.0","id":4,"method":"ping"})";
    auto result = Platform::PosixProcessRunner().runBlocking(request);
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;

    std::vector<json> answers;
    std::istringstream lines(result.standardOutput);
    for (std::string line; std::getline(lines, line);) {
        answers.push_back(json::parse(line));
    }
    ASSERT_EQ(answers.size(), 7u) << result.standardOutput;
    EXPECT_EQ(answers[0]["result"]["serverInfo"]["name"], "vellmora");
    EXPECT_EQ(answers[1]["error"]["code"], -32700);
    EXPECT_EQ(answers[2]["error"]["code"], -32700);
    EXPECT_EQ(answers[3]["result"]["structuredContent"]["total"], 2);
    EXPECT_EQ(answers[4]["result"]["structuredContent"]["lines"][0],
              "Alice (0:05): Let us look at the roadmap");
    EXPECT_EQ(answers[5]["error"]["code"], -32700);
    EXPECT_EQ(answers[6]["id"], 4) << "a last line without a line end is answered too";
    EXPECT_EQ(fs::file_size(file), sizeBefore);
    fs::remove_all(dir);
}
