#include "UI/aiapps/MCPConfigMerger.h"

#include "Intelligence/ConnectSettings.h"
#include "Support/Text.h"

// Vectorised string and blank scanning; safe here because the parser only ever sees our padded copy.
#if defined(__SSE2__) && !defined(RAPIDJSON_SSE2)
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/reader.h>

#include <cstring>
#include <deque>

namespace UI {

MCPConfigMergeError MCPConfigMergeError::unexpectedShape(std::string name) {
    auto text =
        "The \"" + name +
        "\" in the file isn't what Vellmora expects, so Vellmora left it alone. Add Vellmora to it by hand.";
    return MCPConfigMergeError(Kind::unexpectedShape, std::move(name), text);
}

MCPConfigMergeError MCPConfigMergeError::malformed() {
    return MCPConfigMergeError(
        Kind::malformed, {},
        "The file isn't plain JSON (it may have comments), so Vellmora left it alone. Add "
        "Vellmora to it by hand.");
}

const std::string MCPConfigMerger::serverName{Intelligence::ConnectSettings::serverName};

namespace {

constexpr int maximumDepth = 512;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// A JSON document that remembers the text of every scalar and key exactly as the file wrote it, so that
// writing it back changes nothing we did not touch. Scalars and keys are views into the file's bytes (or
// into `owned` for the values we add).
struct Member;
struct Node {
    enum class Kind : unsigned char { scalar, object, array };
    Kind kind = Kind::scalar;
    std::string_view raw; // a scalar's text: "a\u0020b", 1.10, true, null
    std::vector<Member> members;
    std::vector<Node> items;

    static Node object();
};
struct Member {
    std::string_view rawKey; // with its quotes and escapes
    Node value;
};

Node Node::object() {
    Node n;
    n.kind = Kind::object;
    return n;
}

// The text of a JSON string literal that the parser has already validated.
std::string decodeString(std::string_view raw) {
    std::string out;
    out.reserve(raw.size());
    auto hex = [&](size_t at) {
        unsigned v = 0;
        for (size_t i = at; i < at + 4 && i < raw.size(); ++i) {
            char c = raw[i];
            v = v * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
        }
        return v;
    };
    for (size_t i = 1; i + 1 < raw.size(); ++i) {
        char c = raw[i];
        if (c != '\\') {
            out.push_back(c);
            continue;
        }
        char e = raw[++i];
        switch (e) {
        case 'b':
            out.push_back('\b');
            break;
        case 'f':
            out.push_back('\f');
            break;
        case 'n':
            out.push_back('\n');
            break;
        case 'r':
            out.push_back('\r');
            break;
        case 't':
            out.push_back('\t');
            break;
        case 'u': {
            char32_t cp = hex(i + 1);
            i += 4;
            if (cp >= 0xD800 && cp <= 0xDBFF && i + 6 < raw.size() && raw[i + 1] == '\\' &&
                raw[i + 2] == 'u') {
                char32_t low = hex(i + 3);
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                    i += 6;
                }
            }
            Support::Text::appendUTF8(out, cp);
            break;
        }
        default: // " \ /
            out.push_back(e);
        }
    }
    return out;
}

bool isStringToken(std::string_view raw) {
    return !raw.empty() && raw.front() == '"';
}

bool keyEquals(std::string_view rawKey, std::string_view key) {
    if (rawKey.find('\\') == std::string_view::npos) {
        return rawKey.size() == key.size() + 2 && rawKey.substr(1, key.size()) == key;
    }
    return decodeString(rawKey) == key;
}

/// The last member named `key`, or null.
Node* lastMember(Node& object, std::string_view key) {
    for (auto it = object.members.rbegin(); it != object.members.rend(); ++it) {
        if (keyEquals(it->rawKey, key)) {
            return &it->value;
        }
    }
    return nullptr;
}

// Builds the document from the parser's events. The parser hands decoded strings, so the exact text is cut
// from the input instead. The parser decodes in place in a copy of the input at `base` (same offsets), and
// while it reads a string or a number its stream is a private copy, so `stream` only stands right after the
// token for the other events:
// - a string's or key's text starts one byte before its decoded text and ends at its closing quote;
// - a number's text starts where the parser hands it over, raw;
// - any other token starts at the first byte after the previous token that is not a blank or a separator,
//   and ends where the parser stands when it reports the token.
class DocumentBuilder {
public:
    DocumentBuilder(std::string_view text, const char* base, rapidjson::InsituStringStream& stream)
        : text_(text), base_(base), stream_(stream) {}

    bool Null() { return scalar(token()); }
    bool Bool(bool) { return scalar(token()); }
    bool Int(int) { return scalar(token()); }
    bool Uint(unsigned) { return scalar(token()); }
    bool Int64(int64_t) { return scalar(token()); }
    bool Uint64(uint64_t) { return scalar(token()); }
    bool Double(double) { return scalar(token()); }
    bool RawNumber(const char* str, rapidjson::SizeType length, bool) {
        return scalar(cut(static_cast<size_t>(str - base_), length));
    }
    bool String(const char* str, rapidjson::SizeType, bool) { return scalar(stringToken(str)); }
    bool Key(const char* str, rapidjson::SizeType, bool) {
        stack_.back()->members.push_back(Member{stringToken(str), Node{}});
        return true;
    }
    bool StartObject() { return open(Node::Kind::object); }
    bool StartArray() { return open(Node::Kind::array); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }

    Node root;

private:
    std::string_view cut(size_t start, size_t length) {
        last_ = start + length;
        return text_.substr(start, length);
    }
    /// The string literal whose decoded text the parser placed at `str`. The parser has checked it, so its
    /// closing quote is the first quote after it not escaped by an odd run of backslashes.
    std::string_view stringToken(const char* str) {
        const size_t start = static_cast<size_t>(str - base_) - 1;
        size_t at = start + 1;
        for (;;) {
            const auto* quote =
                static_cast<const char*>(std::memchr(text_.data() + at, '"', text_.size() - at));
            const size_t position = static_cast<size_t>(quote - text_.data());
            size_t backslashes = 0;
            while (text_[position - 1 - backslashes] == '\\') { // stops at the opening quote
                ++backslashes;
            }
            if (backslashes % 2 == 0) {
                return cut(start, position + 1 - start);
            }
            at = position + 1;
        }
    }
    std::string_view token() {
        size_t end = stream_.Tell();
        size_t start = last_;
        while (start < end) {
            char c = text_[start];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r' && c != ',' && c != ':') {
                break;
            }
            ++start;
        }
        last_ = end;
        return text_.substr(start, end - start);
    }
    Node& place() {
        if (stack_.empty()) {
            return root;
        }
        Node& parent = *stack_.back();
        if (parent.kind == Node::Kind::object) {
            return parent.members.back().value;
        }
        parent.items.emplace_back();
        return parent.items.back();
    }
    bool scalar(std::string_view raw) {
        Node& n = place();
        n.kind = Node::Kind::scalar;
        n.raw = raw;
        return true;
    }
    bool open(Node::Kind kind) {
        if (stack_.size() >= maximumDepth) {
            return false;
        }
        last_ = stream_.Tell();
        Node& n = place();
        n.kind = kind;
        stack_.push_back(&n);
        return true;
    }
    bool close() {
        last_ = stream_.Tell();
        stack_.pop_back();
        return true;
    }

    std::string_view text_;
    const char* base_;
    rapidjson::InsituStringStream& stream_;
    size_t last_ = 0;
    std::vector<Node*> stack_;
};

bool isBlankByte(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

struct Layout {
    std::string bom;
    std::string indent = "  ";
    std::string newline = "\n";
    bool finalNewline = true;
};

// The file's own indentation and line ends, so that a rewritten file looks like the one the user had.
Layout layoutOf(std::string_view text) {
    Layout layout;
    if (text.starts_with(byteOrderMark)) {
        layout.bom = byteOrderMark;
    }
    size_t end = text.size();
    while (end > 0 && isBlankByte(text[end - 1]) && text[end - 1] != '\n') {
        --end;
    }
    layout.finalNewline = end > 0 && text[end - 1] == '\n';
    auto nl = text.find('\n');
    if (nl == std::string_view::npos) {
        return layout;
    }
    if (nl > 0 && text[nl - 1] == '\r') {
        layout.newline = "\r\n";
    }
    for (size_t at = nl; at != std::string_view::npos; at = text.find('\n', at + 1)) {
        size_t i = at + 1;
        if (i < text.size() && text[i] == '\t') {
            layout.indent = "\t";
            return layout;
        }
        size_t spaces = 0;
        while (i + spaces < text.size() && text[i + spaces] == ' ') {
            ++spaces;
        }
        if (spaces > 0 && i + spaces < text.size() && !isBlankByte(text[i + spaces])) {
            layout.indent.assign(std::min<size_t>(spaces, 8), ' ');
            return layout;
        }
    }
    return layout;
}

constexpr int maximumHugeNumbers = 64;

/// Overwrites the number at `start` with "0.000…" (or "-0.000…") of the same length.
void patchHugeNumber(std::string& text, size_t start) {
    size_t end = start;
    while (end < text.size() &&
           std::string_view("+-0123456789.eE").find(text[end]) != std::string_view::npos) {
        ++end;
    }
    size_t at = start;
    if (at < end && text[at] == '-') {
        ++at;
    }
    for (size_t i = at; i < end; ++i) {
        text[i] = i == at + 1 ? '.' : '0';
    }
}

struct Parsed {
    Node root;
    Layout layout;
};

/// Missing or blank: an empty object. Throws `malformed` or `unexpectedShape("top level")`.
Parsed parse(std::optional<std::string_view> data) {
    Parsed parsed;
    if (!data || MCPConfigMerger::isBlank(*data)) {
        parsed.root = Node::object();
        return parsed;
    }
    std::string_view text = *data;
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    // Checked here in one pass rather than by the parser string by string, which is several times slower.
    // Outside strings any byte above 0x7F is a syntax error anyway, so the outcome is the same.
    if (!Support::Text::isValidUTF8(text)) {
        throw MCPConfigMergeError::malformed();
    }
    // Control characters other than tab, line feed and carriage return are never valid JSON, and the
    // parser's vectorised string scan lets 0x1A to 0x1F through, so they are refused here. (Written without
    // an early exit so that it vectorises.)
    bool control = false;
    for (char c : text) {
        const auto u = static_cast<unsigned char>(c);
        control |= u < 0x20 && u != '\t' && u != '\n' && u != '\r';
    }
    if (control) {
        throw MCPConfigMergeError::malformed();
    }
    // The parser refuses numbers beyond a double's range (1E+400, a 400-digit integer) even when it hands
    // numbers over as text. They are valid JSON, so such a number is parsed as a zero of the same length in
    // a patched copy; the document still takes its text from the original.
    std::string patched;
    std::string_view parsedText = text;
    // The parser decodes strings in place (much faster than into its own stack), so it works on a copy.
    // The copy ends in blocks of NULs: the vectorised scans read whole aligned 16-byte blocks.
    std::string buffer;
    for (int patches = 0;; ++patches) {
        buffer.reserve(parsedText.size() + 32);
        buffer.assign(parsedText);
        buffer.append(32, '\0');
        rapidjson::InsituStringStream stream(buffer.data());
        DocumentBuilder builder(text, buffer.data(), stream);
        rapidjson::Reader reader;
        constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag |
                                   rapidjson::kParseStopWhenDoneFlag;
        if (!reader.Parse<flags>(stream, builder)) {
            if (reader.GetParseErrorCode() != rapidjson::kParseErrorNumberTooBig ||
                patches >= maximumHugeNumbers) {
                throw MCPConfigMergeError::malformed();
            }
            if (patched.empty()) {
                patched.assign(text);
                parsedText = patched;
            }
            patchHugeNumber(patched, reader.GetErrorOffset());
            continue;
        }
        // The parser stops at a NUL byte as if the text ended there; whatever follows the document must be
        // blanks only.
        for (size_t i = stream.Tell(); i < text.size(); ++i) {
            if (!isBlankByte(text[i])) {
                throw MCPConfigMergeError::malformed();
            }
        }
        if (builder.root.kind != Node::Kind::object) {
            throw MCPConfigMergeError::unexpectedShape("top level");
        }
        parsed.root = std::move(builder.root);
        break;
    }
    parsed.layout = layoutOf(*data);
    return parsed;
}

class Printer {
public:
    explicit Printer(const Layout& layout, size_t sizeHint) : layout_(layout) {
        out_.reserve(sizeHint + sizeHint / 4 + 256);
        out_ += layout.bom;
    }
    void print(const Node& node, int depth) {
        switch (node.kind) {
        case Node::Kind::scalar:
            out_ += node.raw;
            return;
        case Node::Kind::object:
            if (node.members.empty()) {
                out_ += "{}";
                return;
            }
            out_ += '{';
            for (size_t i = 0; i < node.members.size(); ++i) {
                out_ += i == 0 ? "" : ",";
                lineStart(depth + 1);
                out_ += node.members[i].rawKey;
                out_ += ": ";
                print(node.members[i].value, depth + 1);
            }
            lineStart(depth);
            out_ += '}';
            return;
        case Node::Kind::array:
            if (node.items.empty()) {
                out_ += "[]";
                return;
            }
            out_ += '[';
            for (size_t i = 0; i < node.items.size(); ++i) {
                out_ += i == 0 ? "" : ",";
                lineStart(depth + 1);
                print(node.items[i], depth + 1);
            }
            lineStart(depth);
            out_ += ']';
            return;
        }
    }
    std::string finish() {
        if (layout_.finalNewline) {
            out_ += layout_.newline;
        }
        return std::move(out_);
    }

private:
    void lineStart(int depth) {
        out_ += layout_.newline;
        const size_t width = static_cast<size_t>(depth) * layout_.indent.size();
        while (indentation_.size() < width) {
            indentation_ += layout_.indent;
        }
        out_.append(indentation_, 0, width);
    }
    const Layout& layout_;
    std::string out_;
    std::string indentation_; // the indent repeated for the deepest line so far
};

std::string serialise(const Parsed& parsed, size_t sizeHint) {
    Printer printer(parsed.layout, sizeHint);
    printer.print(parsed.root, 0);
    return printer.finish();
}

} // namespace

bool MCPConfigMerger::isBlank(std::string_view data) {
    for (char c : data) {
        if (!isBlankByte(c)) {
            return false;
        }
    }
    return true;
}

std::string MCPConfigMerger::quoted(std::string_view text) {
    static constexpr char hexDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size() + 2);
    out.push_back('"');
    for (char c : text) {
        auto u = static_cast<unsigned char>(c);
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        default:
            if (u < 0x20) {
                out += "\\u00";
                out.push_back(hexDigits[u >> 4]);
                out.push_back(hexDigits[u & 0xF]);
            } else {
                out.push_back(c);
            }
        }
    }
    out.push_back('"');
    return out;
}

MCPConfigMerger::Entry MCPConfigMerger::entry(std::string_view command, MCPEntryStyle style) {
    if (style == MCPEntryStyle::stdio) {
        return {{"type", "stdio"}, {"command", std::string(command)}};
    }
    return {{"command", std::string(command)}};
}

std::string MCPConfigMerger::upserting(std::string_view command, MCPEntryStyle style,
                                       std::string_view rootKey, std::optional<std::string_view> data) {
    Parsed parsed = parse(data);
    std::deque<std::string> owned; // texts of the keys and values we add; the nodes point into it
    auto own = [&owned](std::string text) -> std::string_view { return owned.emplace_back(std::move(text)); };

    Node* servers = lastMember(parsed.root, rootKey);
    if (!servers) {
        parsed.root.members.push_back(Member{own(quoted(rootKey)), Node::object()});
        servers = &parsed.root.members.back().value;
    } else if (servers->kind != Node::Kind::object) {
        throw MCPConfigMergeError::unexpectedShape(std::string(rootKey));
    }

    Node* ours = lastMember(*servers, serverName);
    if (!ours) {
        servers->members.push_back(Member{own(quoted(serverName)), Node::object()});
        ours = &servers->members.back().value;
    } else if (ours->kind != Node::Kind::object) {
        *ours = Node::object();
    }

    const Entry wanted = entry(command, style);
    bool changed = false;
    for (const auto& [key, value] : wanted) {
        Node* existing = lastMember(*ours, key);
        if (existing && existing->kind == Node::Kind::scalar && isStringToken(existing->raw) &&
            decodeString(existing->raw) == value) {
            continue;
        }
        changed = true;
        Node scalar;
        scalar.raw = own(quoted(value));
        if (existing) {
            *existing = std::move(scalar);
        } else {
            ours->members.push_back(Member{own(quoted(key)), std::move(scalar)});
        }
    }
    auto& members = ours->members;
    auto before = members.size();
    std::erase_if(members, [](const Member& m) { return keyEquals(m.rawKey, "args"); });
    changed = changed || members.size() != before;

    if (!changed && data && !isBlank(*data)) {
        return std::string(*data);
    }
    return serialise(parsed, data ? data->size() : 0);
}

std::optional<std::string> MCPConfigMerger::removing(std::string_view rootKey,
                                                     std::optional<std::string_view> data) {
    if (!data || isBlank(*data)) {
        return std::nullopt;
    }
    Parsed parsed = parse(data);
    Node* servers = lastMember(parsed.root, rootKey);
    if (!servers || servers->kind != Node::Kind::object) {
        return std::nullopt;
    }
    auto removed =
        std::erase_if(servers->members, [](const Member& m) { return keyEquals(m.rawKey, serverName); });
    if (removed == 0) {
        return std::nullopt;
    }
    return serialise(parsed, data->size());
}

std::optional<std::string> MCPConfigMerger::command(std::string_view data, std::string_view rootKey) {
    if (isBlank(data)) {
        return std::nullopt;
    }
    try {
        Parsed parsed = parse(data);
        Node* servers = lastMember(parsed.root, rootKey);
        Node* ours =
            servers && servers->kind == Node::Kind::object ? lastMember(*servers, serverName) : nullptr;
        Node* cmd = ours && ours->kind == Node::Kind::object ? lastMember(*ours, "command") : nullptr;
        if (cmd && cmd->kind == Node::Kind::scalar && isStringToken(cmd->raw)) {
            return decodeString(cmd->raw);
        }
    } catch (const MCPConfigMergeError&) {
    }
    return std::nullopt;
}

std::string MCPConfigMerger::snippet(std::string_view command) {
    std::string path =
        Support::Text::isValidUTF8(command) ? quoted(command) : "\"" + std::string(command) + "\"";
    return "{\n"
           "  \"mcpServers\": {\n"
           "    " +
           quoted(serverName) +
           ": {\n"
           "      \"command\": " +
           path +
           "\n"
           "    }\n"
           "  }\n"
           "}";
}

} // namespace UI
