// The settings-file merger on arbitrary bytes: it must refuse or succeed, never crash; it must refuse exactly
// what a general-purpose JSON parser refuses; whatever it writes must read back with our entry in it, and
// removing must leave no entry behind.
#include "UI/aiapps/MCPConfigMerger.h"

#include <rapidjson/reader.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

enum class Verdict { object, notAnObject, malformed, unknown };

// Counts nesting so that documents deeper than the merger accepts are refused here too, and notes the kind
// of the top-level value.
struct DepthCheck : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, DepthCheck> {
    int depth = 0;
    bool started = false;
    bool topIsObject = false;
    bool Default() {
        started = true;
        return true;
    }
    bool StartObject() {
        topIsObject = topIsObject || !started;
        return open();
    }
    bool StartArray() { return open(); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }
    bool open() {
        started = true;
        return ++depth <= 512;
    }
    bool close() {
        --depth;
        return true;
    }
};

bool isBlankByte(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// What rapidjson (validating UTF-8, in its scalar code that refuses every control character) says about
/// the bytes. It refuses numbers beyond a double's range, which are valid JSON: each is replaced by a zero
/// of the same length and the text read again.
Verdict reference(std::string_view data) {
    if (UI::MCPConfigMerger::isBlank(data)) {
        return Verdict::object;
    }
    if (data.starts_with("\xEF\xBB\xBF")) {
        data.remove_prefix(3);
    }
    // Its UTF-8 check reads up to three bytes past a truncated sequence, NUL or not.
    std::string text(data);
    text.append(4, '\0');
    for (int patches = 0; patches < 64; ++patches) {
        std::string copy = text; // read in place: its other mode trips the undefined-behaviour checker
        rapidjson::InsituStringStream stream(copy.data());
        DepthCheck check;
        rapidjson::Reader reader;
        constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseValidateEncodingFlag |
                                   rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseStopWhenDoneFlag;
        if (reader.Parse<flags>(stream, check)) {
            for (size_t i = stream.Tell(); i < data.size(); ++i) {
                if (!isBlankByte(data[i])) {
                    return Verdict::malformed; // also text after a NUL byte, where the parser stopped
                }
            }
            return check.topIsObject ? Verdict::object : Verdict::notAnObject;
        }
        if (reader.GetParseErrorCode() != rapidjson::kParseErrorNumberTooBig) {
            return Verdict::malformed;
        }
        // The number's own extent: digits, a fraction, an exponent (not whatever digits and letters follow).
        size_t at = reader.GetErrorOffset();
        if (at < text.size() && text[at] == '-') {
            ++at;
        }
        auto digits = [&](size_t i) {
            while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
                ++i;
            }
            return i;
        };
        size_t end = digits(at);
        if (end < text.size() && text[end] == '.') {
            end = digits(end + 1);
        }
        if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
            end = end + 1 < text.size() && (text[end + 1] == '+' || text[end + 1] == '-') ? end + 2 : end + 1;
            end = digits(end);
        }
        if (end < data.size() && std::string_view(" \t\n\r,]}").find(text[end]) == std::string_view::npos) {
            return Verdict::malformed; // nothing else may follow a number
        }
        for (size_t i = at; i < end; ++i) {
            text[i] = i == at + 1 ? '.' : '0';
        }
    }
    return Verdict::unknown;
}

Verdict merger(std::string_view text) {
    try {
        UI::MCPConfigMerger::upserting("/x", UI::MCPEntryStyle::command, "mcpServers", text);
        return Verdict::object;
    } catch (const UI::MCPConfigMergeError& e) {
        if (e.kind() == UI::MCPConfigMergeError::Kind::malformed) {
            return Verdict::malformed;
        }
        return e.name() == "top level" ? Verdict::notAnObject : Verdict::object;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string command = "/opt/vellmora/bin/vellmora-mcp";
    UI::MCPConfigMerger::command(text, "mcpServers");
    if (const Verdict expected = reference(text); expected != Verdict::unknown && merger(text) != expected) {
        std::abort(); // refused what a JSON parser reads, or read what it refuses
    }
    try {
        auto added = UI::MCPConfigMerger::upserting(command, UI::MCPEntryStyle::stdio, "mcpServers", text);
        // Past 64 numbers beyond a double's range the reference gives up (unknown) rather than guess.
        if (const Verdict written = reference(added);
            written != Verdict::object && written != Verdict::unknown) {
            std::abort(); // wrote what no reader accepts
        }
        if (UI::MCPConfigMerger::command(added, "mcpServers") != command) {
            std::abort();
        }
        if (UI::MCPConfigMerger::upserting(command, UI::MCPEntryStyle::stdio, "mcpServers", added) != added) {
            std::abort(); // adding twice changes nothing the second time
        }
        auto removed = UI::MCPConfigMerger::removing("mcpServers", added);
        if (!removed || UI::MCPConfigMerger::command(*removed, "mcpServers")) {
            std::abort();
        }
    } catch (const UI::MCPConfigMergeError&) {
    }
    try {
        UI::MCPConfigMerger::removing("servers", text);
    } catch (const UI::MCPConfigMergeError&) {
    }
    return 0;
}
