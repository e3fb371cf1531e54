#include "Mcp/McpServer.h"

#include "Database/TranscriptTextFormatter.h"
#include "Intelligence/ConnectSettings.h"
#include "Support/Time.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <istream>
#include <limits>
#include <mutex>
#include <ostream>

namespace Mcp {

using json = nlohmann::json;
using Database::DatabaseManager;

namespace {

constexpr int parseError = -32700;
constexpr int invalidRequest = -32600;
constexpr int methodNotFound = -32601;
constexpr int invalidParams = -32602;
constexpr int internalError = -32603;

constexpr int defaultListLimit = 20;
constexpr int maximumListLimit = 200;
constexpr int defaultSegmentLimit = 400;
constexpr int maximumSegmentLimit = 2000;

/// A request the client got wrong: answered as a JSON-RPC error.
struct RpcError {
    int code;
    std::string message;
};

/// A tool that could not do what was asked: answered as a tool result with "isError".
struct ToolFailure {
    std::string message;
};

std::string dump(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

json errorAnswer(const json& id, int code, const std::string& message) {
    return {{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}};
}

json schema(json properties, std::vector<std::string> required = {}) {
    json s = {{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
    if (!required.empty()) {
        s["required"] = required;
    }
    return s;
}

const json idProperty = {{"type", "integer"},
                         {"description", "The recording's id, as listed by list_recordings."}};

json toolList() {
    json limit = {{"type", "integer"}, {"minimum", 1}, {"maximum", maximumListLimit}};
    return json::array({
        {{"name", "list_recordings"},
         {"title", "List recordings"},
         {"description", "Lists the recordings in the Vellmora library, newest first: id, title, start time, "
                         "length, and whether a transcript and a summary exist."},
         {"inputSchema", schema({{"limit", limit}, {"offset", {{"type", "integer"}, {"minimum", 0}}}})}},
        {{"name", "search_recordings"},
         {"title", "Search recordings"},
         {"description",
          "Finds recordings whose title or transcript contains every word of the query (each word "
          "as a prefix, ignoring case and accents), and the transcript passages that match."},
         {"inputSchema",
          schema({{"query", {{"type", "string"}, {"description", "Words to look for."}}}, {"limit", limit}},
                 {"query"})}},
        {{"name", "get_transcript"},
         {"title", "Read a transcript"},
         {"description", "Returns a recording's transcript as speaker-labelled lines with times, "
                         "\"Alice (0:05): Hi there\". Long transcripts come in pages of segments."},
         {"inputSchema",
          schema({{"recording_id", idProperty},
                  {"offset", {{"type", "integer"}, {"minimum", 0}}},
                  {"limit", {{"type", "integer"}, {"minimum", 1}, {"maximum", maximumSegmentLimit}}}},
                 {"recording_id"})}},
        {{"name", "get_summary"},
         {"title", "Read a summary"},
         {"description", "Returns a recording's AI summary and its topics."},
         {"inputSchema", schema({{"recording_id", idProperty}}, {"recording_id"})}},
        {{"name", "get_action_items"},
         {"title", "Read action items"},
         {"description",
          "Returns a recording's action items in order, with who they are for and whether they "
          "are done."},
         {"inputSchema", schema({{"recording_id", idProperty}}, {"recording_id"})}},
    });
}

std::string duration(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0) {
        seconds = 0;
    }
    auto total = static_cast<long long>(std::llround(seconds));
    auto h = total / 3600, m = total % 3600 / 60, s = total % 60;
    return h > 0
               ? std::to_string(h) + " h " + std::to_string(m) + " min"
               : (m > 0 ? std::to_string(m) + " min " + std::to_string(s) + " s" : std::to_string(s) + " s");
}

json recordingJson(const DatabaseManager::Recording& r) {
    json j = {{"id", r.id},
              {"title", r.title},
              {"startDate", Support::formatISO8601(r.startDate)},
              {"durationSeconds", std::isfinite(r.duration) ? r.duration : 0.0},
              {"hasTranscript", r.hasTranscript},
              {"hasSummary", r.summary.has_value() && !r.summary->empty()},
              {"participants", r.participants}};
    if (r.meetingPlatform) {
        j["meetingPlatform"] = *r.meetingPlatform;
    }
    return j;
}

std::string recordingLine(const DatabaseManager::Recording& r) {
    std::string line = "#" + std::to_string(r.id) + " " + (r.title.empty() ? "Untitled recording" : r.title) +
                       " (" + Support::formatISO8601(r.startDate) + ", " + duration(r.duration);
    if (!r.hasTranscript) {
        line += ", no transcript";
    }
    return line + ")";
}

/// An optional integer argument within [minimum, maximum]; throws RpcError for anything else.
int intArgument(const json& args, const char* name, int fallback, int minimum, int maximum) {
    if (!args.contains(name)) {
        return fallback;
    }
    const auto& v = args[name];
    if (!v.is_number_integer() || v.get<long long>() < minimum || v.get<long long>() > maximum) {
        throw RpcError{invalidParams, std::string("\"") + name + "\" must be a whole number from " +
                                          std::to_string(minimum) + " to " + std::to_string(maximum) + "."};
    }
    return static_cast<int>(v.get<long long>());
}

Database::RecordingId recordingId(const json& args) {
    if (!args.contains("recording_id") || !args["recording_id"].is_number_integer()) {
        throw RpcError{invalidParams, "\"recording_id\" must be a recording's id (a whole number)."};
    }
    return args["recording_id"].get<Database::RecordingId>();
}

json textResult(const std::string& text, std::optional<json> structured = std::nullopt) {
    json r = {{"content", json::array({{{"type", "text"}, {"text", text}}})}, {"isError", false}};
    if (structured) {
        r["structuredContent"] = std::move(*structured);
    }
    return r;
}

} // namespace

struct McpServer::Impl {
    DatabaseOpener open;
    std::string version;
    std::shared_ptr<DatabaseManager> database;
    bool initialized = false;

    DatabaseManager& db() {
        if (!database) {
            try {
                database = open();
            } catch (const std::exception& e) {
                throw ToolFailure{std::string("Vellmora's library can't be opened: ") + e.what()};
            }
            if (!database) {
                throw ToolFailure{"Vellmora's library can't be opened."};
            }
        }
        return *database;
    }

    DatabaseManager::Recording existing(Database::RecordingId id) {
        auto r = db().recording(id);
        if (!r) {
            throw ToolFailure{"There is no recording with id " + std::to_string(id) + "."};
        }
        return *r;
    }

    json initialize(const json& params) {
        const auto& versions = protocolVersions();
        std::string version = versions.front();
        if (params.contains("protocolVersion") && params["protocolVersion"].is_string()) {
            auto asked = params["protocolVersion"].get<std::string>();
            if (std::find(versions.begin(), versions.end(), asked) != versions.end()) {
                version = asked;
            }
        }
        initialized = true;
        return {{"protocolVersion", version},
                {"capabilities", {{"tools", {{"listChanged", false}}}}},
                {"serverInfo",
                 {{"name", std::string(Intelligence::ConnectSettings::serverName)},
                  {"title", "Vellmora"},
                  {"version", this->version}}},
                {"instructions", "Vellmora's recordings of meetings: list or search them, then read a "
                                 "recording's transcript, summary or action items by its id."}};
    }

    json listRecordings(const json& args) {
        int limit = intArgument(args, "limit", defaultListLimit, 1, maximumListLimit);
        int offset = intArgument(args, "offset", 0, 0, std::numeric_limits<int>::max());
        auto all = db().allRecordings();
        json items = json::array();
        std::string text;
        for (size_t i = static_cast<size_t>(offset); i < all.size() && items.size() < size_t(limit); ++i) {
            items.push_back(recordingJson(all[i]));
            text += recordingLine(all[i]) + "\n";
        }
        if (all.empty()) {
            text = "The library has no recordings yet.";
        } else if (items.empty()) {
            text = "No recordings from offset " + std::to_string(offset) + " (there are " +
                   std::to_string(all.size()) + ").";
        } else if (size_t(offset) + items.size() < all.size()) {
            text += "(" + std::to_string(all.size() - size_t(offset) - items.size()) +
                    " more; ask again with a larger offset.)";
        }
        return textResult(text, json{{"recordings", items}, {"total", all.size()}});
    }

    json searchRecordings(const json& args) {
        if (!args.contains("query") || !args["query"].is_string()) {
            throw RpcError{invalidParams, "\"query\" must be text."};
        }
        auto query = args["query"].get<std::string>();
        int limit = intArgument(args, "limit", defaultListLimit, 1, maximumListLimit);
        auto& store = db();
        json found = json::array();
        std::string text;
        for (auto id : store.searchRecordings(query, limit)) {
            if (auto r = store.recording(id)) {
                found.push_back(recordingJson(*r));
                text += recordingLine(*r) + "\n";
            }
        }
        json passages = json::array();
        auto matches = store.searchTranscripts(query, limit);
        if (!matches.empty()) {
            text += "\nMatching passages:\n";
        }
        for (const auto& m : matches) {
            passages.push_back({{"recordingId", m.recordingId},
                                {"startTime", m.startTime},
                                {"speaker", m.speaker},
                                {"text", m.text}});
            text += "#" + std::to_string(m.recordingId) + " at " +
                    Database::TranscriptTextFormatter::timestamp(m.startTime) +
                    (m.speaker.empty() ? "" : " " + m.speaker) + ": " + m.text + "\n";
        }
        if (found.empty() && passages.empty()) {
            text = "Nothing in the library matches \"" + query + "\".";
        }
        return textResult(text, json{{"recordings", found}, {"passages", passages}});
    }

    json transcript(const json& args) {
        auto id = recordingId(args);
        int offset = intArgument(args, "offset", 0, 0, std::numeric_limits<int>::max());
        int limit = intArgument(args, "limit", defaultSegmentLimit, 1, maximumSegmentLimit);
        auto r = existing(id);
        auto& store = db();
        int total = store.segmentCount(id);
        auto lines = Database::TranscriptTextFormatter::lines(store.segments(id, offset, limit));
        std::string text;
        if (total == 0) {
            text = "\"" + r.title + "\" has no transcript yet.";
        } else {
            for (const auto& l : lines) {
                text += l + "\n";
            }
            if (offset + limit < total) {
                text += "(Segments " + std::to_string(offset + 1) + " to " + std::to_string(offset + limit) +
                        " of " + std::to_string(total) + "; ask again with offset " +
                        std::to_string(offset + limit) + " for more.)";
            }
        }
        return textResult(text, json{{"recordingId", id}, {"lines", lines}, {"totalSegments", total}});
    }

    json summary(const json& args) {
        auto r = existing(recordingId(args));
        auto topics = db().topics(r.id);
        std::string text =
            r.summary && !r.summary->empty() ? *r.summary : "\"" + r.title + "\" has no summary yet.";
        json topicList = json::array();
        if (!topics.empty()) {
            text += "\n\nTopics:\n";
        }
        for (const auto& t : topics) {
            topicList.push_back(
                {{"title", t.title}, {"startTime", t.startTime}, {"summary", t.summary.value_or("")}});
            text += "- " + Database::TranscriptTextFormatter::timestamp(t.startTime) + " " + t.title +
                    (t.summary ? ": " + *t.summary : "") + "\n";
        }
        return textResult(
            text, json{{"recordingId", r.id}, {"summary", r.summary.value_or("")}, {"topics", topicList}});
    }

    json actionItems(const json& args) {
        auto r = existing(recordingId(args));
        auto items = db().actionItems(r.id);
        json list = json::array();
        std::string text;
        for (const auto& item : items) {
            list.push_back({{"text", item.text},
                            {"completed", item.isCompleted},
                            {"assignee", item.assignee.value_or("")}});
            text += std::string(item.isCompleted ? "- [x] " : "- [ ] ") + item.text +
                    (item.assignee ? " (" + *item.assignee + ")" : "") + "\n";
        }
        if (items.empty()) {
            text = "\"" + r.title + "\" has no action items.";
        }
        return textResult(text, json{{"recordingId", r.id}, {"actionItems", list}});
    }

    json callTool(const json& params) {
        if (!params.is_object() || !params.contains("name") || !params["name"].is_string()) {
            throw RpcError{invalidParams, "tools/call needs the tool's \"name\"."};
        }
        json args = params.value("arguments", json::object());
        if (args.is_null()) {
            args = json::object();
        }
        if (!args.is_object()) {
            throw RpcError{invalidParams, "\"arguments\" must be an object."};
        }
        auto name = params["name"].get<std::string>();
        try {
            if (name == "list_recordings") {
                return listRecordings(args);
            }
            if (name == "search_recordings") {
                return searchRecordings(args);
            }
            if (name == "get_transcript") {
                return transcript(args);
            }
            if (name == "get_summary") {
                return summary(args);
            }
            if (name == "get_action_items") {
                return actionItems(args);
            }
        } catch (const ToolFailure& failure) {
            return {{"content", json::array({{{"type", "text"}, {"text", failure.message}}})},
                    {"isError", true}};
        } catch (const Support::UserFacingError& e) {
            return {{"content", json::array({{{"type", "text"}, {"text", e.description()}}})},
                    {"isError", true}};
        }
        throw RpcError{invalidParams, "Unknown tool: " + name};
    }

    /// The answer to one message, or null for a notification.
    json answer(const json& message) {
        if (!message.is_object()) {
            return errorAnswer(nullptr, invalidRequest, "Invalid Request");
        }
        json id = nullptr;
        bool isNotification = !message.contains("id");
        if (!isNotification) {
            id = message["id"];
            if (!id.is_string() && !id.is_number() && !id.is_null()) {
                return errorAnswer(nullptr, invalidRequest,
                                   "Invalid Request: \"id\" must be a string or a number");
            }
        }
        if (message.value("jsonrpc", json()) != "2.0" || !message.contains("method") ||
            !message["method"].is_string()) {
            // A response from the client (it has no method) is not for us to answer.
            if (message.contains("result") || message.contains("error")) {
                return nullptr;
            }
            return errorAnswer(id, invalidRequest, "Invalid Request");
        }
        auto method = message["method"].get<std::string>();
        json params = message.value("params", json::object());
        if (!params.is_object() && !params.is_array() && !params.is_null()) {
            return isNotification ? json(nullptr)
                                  : errorAnswer(id, invalidParams, "\"params\" must be an object");
        }
        if (isNotification) {
            return nullptr; // notifications/initialized, notifications/cancelled, ...: nothing to answer
        }
        try {
            json result;
            if (method == "initialize") {
                result = initialize(params.is_object() ? params : json::object());
            } else if (method == "ping") {
                result = json::object();
            } else if (method == "tools/list") {
                result = {{"tools", toolList()}};
            } else if (method == "tools/call") {
                result = callTool(params);
            } else if (method == "resources/list") {
                result = {{"resources", json::array()}};
            } else if (method == "prompts/list") {
                result = {{"prompts", json::array()}};
            } else {
                return errorAnswer(id, methodNotFound, "Method not found: " + method);
            }
            return {{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}};
        } catch (const RpcError& e) {
            return errorAnswer(id, e.code, e.message);
        } catch (const std::exception& e) {
            return errorAnswer(id, internalError, std::string("Internal error: ") + e.what());
        }
    }
};

McpServer::McpServer(DatabaseOpener openDatabase, std::string version) : impl_(std::make_shared<Impl>()) {
    impl_->open = std::move(openDatabase);
    impl_->version = std::move(version);
}

const std::vector<std::string>& McpServer::protocolVersions() {
    static const std::vector<std::string> versions = {"2025-06-18", "2025-03-26", "2024-11-05"};
    return versions;
}

std::optional<std::string> McpServer::handleLine(std::string_view line) {
    if (line.find_first_not_of(" \t\r\n") == std::string_view::npos) {
        return std::nullopt;
    }
    json message;
    try {
        message = json::parse(line);
    } catch (const json::exception&) {
        return dump(errorAnswer(nullptr, parseError, "Parse error"));
    }
    if (message.is_array()) {
        if (message.empty()) {
            return dump(errorAnswer(nullptr, invalidRequest, "Invalid Request: empty batch"));
        }
        json answers = json::array();
        for (const auto& m : message) {
            if (auto a = impl_->answer(m); !a.is_null()) {
                answers.push_back(std::move(a));
            }
        }
        return answers.empty() ? std::nullopt : std::optional<std::string>(dump(answers));
    }
    auto a = impl_->answer(message);
    return a.is_null() ? std::nullopt : std::optional<std::string>(dump(a));
}

void McpServer::serve(std::istream& in, std::ostream& out) {
    std::string line;
    while (std::getline(in, line)) {
        if (auto answer = handleLine(line)) {
            out << *answer << '\n';
            out.flush();
        }
    }
}

} // namespace Mcp
