#include "UI/aiapps/MCPConfigMerger.h"

#include "Intelligence/ConnectSettings.h"
#include "Support/Text.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>

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

// The text of a JSON string literal that the tokenizer has already checked.
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

// A JSON document as a flat list of its tokens, each remembering its text exactly as the file wrote it, so
// that writing it back changes nothing we did not touch. A container's opening token knows where it ends,
// so whole values can be skipped without looking inside them.
struct Token {
    enum class Kind : unsigned char { scalar, key, objectStart, arrayStart, objectEnd, arrayEnd };
    size_t start = 0;    // where a scalar's or key's text begins: "a\u0020b", 1.10, true, null
    uint32_t length = 0; // a scalar's or key's text length; an opening token's matching end token
    Kind kind = Kind::scalar;
    bool patched = false; // the edit changes something here (see `Edit`)

    bool opens() const { return kind == Kind::objectStart || kind == Kind::arrayStart; }
};

struct Document {
    std::string_view text; // the file without its byte-order mark
    std::vector<Token> tokens;

    std::string_view raw(size_t i) const { return text.substr(tokens[i].start, tokens[i].length); }
    size_t end(size_t i) const { return tokens[i].length; }
    /// The index just past the value at `i`.
    size_t after(size_t i) const { return tokens[i].opens() ? end(i) + 1 : i + 1; }
    bool isObject(size_t i) const { return tokens[i].kind == Token::Kind::objectStart; }
    bool isString(size_t i) const { return tokens[i].kind == Token::Kind::scalar && isStringToken(raw(i)); }
    /// Calls `f(keyIndex)` for every member of the object at `object`, in order.
    template <typename F> void forEachMember(size_t object, F&& f) const {
        for (size_t k = object + 1; k < end(object); k = after(k + 1)) {
            f(k);
        }
    }
    /// The key index of the last member named `key`, or nothing.
    std::optional<size_t> lastMember(size_t object, std::string_view key) const {
        std::optional<size_t> found;
        forEachMember(object, [&](size_t k) {
            if (keyEquals(raw(k), key)) {
                found = k;
            }
        });
        return found;
    }
};

// A value we write ourselves: a string literal or an object of such values.
struct NewMember;
struct NewValue {
    std::string raw; // a scalar's literal
    std::vector<NewMember> members;
    bool object = false;
};
struct NewMember {
    std::string rawKey;
    NewValue value;
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

// Reads a whole document into tokens in one pass, checking that it is standard JSON (RFC 8259) and no
// deeper than `maximumDepth`. Strings are checked, not decoded: their text is kept as written. A high
// surrogate escape must be followed by a low one, as the apps' own readers require. UTF-8 is checked
// separately, in one pass over the whole text.
class Tokenizer {
public:
    Tokenizer(std::string_view text, std::vector<Token>& tokens)
        : begin_(text.data()), p_(text.data()), end_(text.data() + text.size()), tokens_(tokens) {}

    bool run() {
        std::vector<size_t> open; // the opening tokens of the containers we are in
        for (;;) {
            // A value, or the start of a container.
            skipBlanks();
            if (p_ == end_) {
                return false;
            }
            const char c = *p_;
            if (c == '{' || c == '[') {
                if (open.size() >= maximumDepth) {
                    return false;
                }
                ++p_;
                open.push_back(tokens_.size());
                tokens_.emplace_back().kind = c == '{' ? Token::Kind::objectStart : Token::Kind::arrayStart;
                skipBlanks();
                const char close = c == '{' ? '}' : ']';
                if (p_ == end_ || *p_ != close) {
                    if (c == '{' && !key()) {
                        return false;
                    }
                    continue; // its first value
                }
            } else if (!scalar(c)) {
                return false;
            }
            // After a value: close containers until one goes on with a comma.
            for (;;) {
                skipBlanks();
                if (open.empty()) {
                    return p_ == end_;
                }
                if (p_ == end_) {
                    return false;
                }
                const bool object = tokens_[open.back()].kind == Token::Kind::objectStart;
                if (*p_ == (object ? '}' : ']')) {
                    ++p_;
                    tokens_[open.back()].length = static_cast<uint32_t>(tokens_.size());
                    tokens_.emplace_back().kind = object ? Token::Kind::objectEnd : Token::Kind::arrayEnd;
                    open.pop_back();
                    continue;
                }
                if (*p_ != ',') {
                    return false;
                }
                ++p_;
                if (object) {
                    skipBlanks();
                    if (!key()) {
                        return false;
                    }
                }
                break;
            }
        }
    }

private:
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    void skipBlanks() {
        while (p_ != end_ && isBlankByte(*p_)) {
            ++p_;
        }
    }
    void push(Token::Kind kind, const char* start) {
        Token& t = tokens_.emplace_back();
        t.kind = kind;
        t.start = static_cast<size_t>(start - begin_);
        t.length = static_cast<uint32_t>(p_ - start);
    }
    /// A key and the colon after it.
    bool key() {
        if (p_ == end_ || *p_ != '"' || !string(Token::Kind::key)) {
            return false;
        }
        skipBlanks();
        if (p_ == end_ || *p_ != ':') {
            return false;
        }
        ++p_;
        return true;
    }
    bool scalar(char c) {
        if (c == '"') {
            return string(Token::Kind::scalar);
        }
        if (c == '-' || isDigit(c)) {
            return number();
        }
        for (std::string_view literal :
             {std::string_view("true"), std::string_view("false"), std::string_view("null")}) {
            if (c == literal.front()) {
                if (static_cast<size_t>(end_ - p_) < literal.size() ||
                    std::memcmp(p_, literal.data(), literal.size()) != 0) {
                    return false;
                }
                const char* start = p_;
                p_ += literal.size();
                push(Token::Kind::scalar, start);
                return true;
            }
        }
        return false;
    }
    bool number() {
        const char* start = p_;
        if (*p_ == '-') {
            ++p_;
        }
        if (p_ == end_ || !isDigit(*p_)) {
            return false;
        }
        if (*p_++ != '0') {
            skipDigits();
        }
        if (p_ != end_ && *p_ == '.') {
            ++p_;
            if (p_ == end_ || !isDigit(*p_)) {
                return false;
            }
            skipDigits();
        }
        if (p_ != end_ && (*p_ == 'e' || *p_ == 'E')) {
            ++p_;
            if (p_ != end_ && (*p_ == '+' || *p_ == '-')) {
                ++p_;
            }
            if (p_ == end_ || !isDigit(*p_)) {
                return false;
            }
            skipDigits();
        }
        push(Token::Kind::scalar, start);
        return true;
    }
    void skipDigits() {
        while (p_ != end_ && isDigit(*p_)) {
            ++p_;
        }
    }
    /// A string literal from its opening quote.
    bool string(Token::Kind kind) {
        const char* start = p_++;
        for (;;) {
            skipPlainBytes();
            if (p_ == end_) {
                return false;
            }
            if (*p_ == '"') {
                ++p_;
                push(kind, start);
                return true;
            }
            if (*p_ != '\\' || !escape()) {
                return false; // a control character, or a bad escape
            }
        }
    }
    /// Moves to the next quote, backslash or control character (or the end).
    void skipPlainBytes() {
#ifdef __SSE2__
        const __m128i quote = _mm_set1_epi8('"');
        const __m128i backslash = _mm_set1_epi8('\\');
        const __m128i lastControl = _mm_set1_epi8(0x1F);
        while (end_ - p_ >= 16) {
            const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p_));
            const __m128i special =
                _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(s, quote), _mm_cmpeq_epi8(s, backslash)),
                             _mm_cmpeq_epi8(_mm_max_epu8(s, lastControl), lastControl)); // s <= 0x1F
            if (const int mask = _mm_movemask_epi8(special)) {
                p_ += __builtin_ctz(static_cast<unsigned>(mask));
                return;
            }
            p_ += 16;
        }
#endif
        while (p_ != end_) {
            const auto u = static_cast<unsigned char>(*p_);
            if (u < 0x20 || u == '"' || u == '\\') {
                return;
            }
            ++p_;
        }
    }
    /// An escape sequence from its backslash.
    bool escape() {
        ++p_;
        if (p_ == end_) {
            return false;
        }
        if (std::string_view("\"\\/bfnrt").find(*p_) != std::string_view::npos) {
            ++p_;
            return true;
        }
        if (*p_ != 'u') {
            return false;
        }
        ++p_;
        unsigned codeUnit = 0;
        if (!hex4(codeUnit)) {
            return false;
        }
        if (codeUnit >= 0xD800 && codeUnit <= 0xDBFF) {
            if (end_ - p_ < 2 || p_[0] != '\\' || p_[1] != 'u') {
                return false;
            }
            p_ += 2;
            unsigned low = 0;
            return hex4(low) && low >= 0xDC00 && low <= 0xDFFF;
        }
        return true;
    }
    bool hex4(unsigned& value) {
        if (end_ - p_ < 4) {
            return false;
        }
        for (int i = 0; i < 4; ++i, ++p_) {
            const char c = *p_;
            const unsigned digit = isDigit(c)               ? static_cast<unsigned>(c - '0')
                                   : (c >= 'a' && c <= 'f') ? static_cast<unsigned>(c - 'a' + 10)
                                   : (c >= 'A' && c <= 'F') ? static_cast<unsigned>(c - 'A' + 10)
                                                            : 16u;
            if (digit == 16) {
                return false;
            }
            value = value * 16 + digit;
        }
        return true;
    }

    const char* begin_;
    const char* p_;
    const char* end_;
    std::vector<Token>& tokens_;
};

struct Parsed {
    Document document;
    Layout layout;
};

/// Missing or blank: an empty object. Throws `malformed` or `unexpectedShape("top level")`.
Parsed parse(std::optional<std::string_view> data) {
    Parsed parsed;
    if (!data || MCPConfigMerger::isBlank(*data)) {
        parsed.document.text = "{}";
        parsed.document.tokens.resize(2);
        parsed.document.tokens[0].kind = Token::Kind::objectStart;
        parsed.document.tokens[0].length = 1;
        parsed.document.tokens[1].kind = Token::Kind::objectEnd;
        return parsed;
    }
    std::string_view text = *data;
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    // Tokens hold 32-bit lengths and indices; no settings file comes near 4 GB, and one that did must not be
    // written back cut short. Outside strings any byte above 0x7F is a syntax error, so one UTF-8 check of
    // the whole text is enough.
    if (text.size() >= std::numeric_limits<uint32_t>::max() || !Support::Text::isValidUTF8(text)) {
        throw MCPConfigMergeError::malformed();
    }
    parsed.document.text = text;
    parsed.document.tokens.reserve(text.size() / 24 + 16);
    if (!Tokenizer(text, parsed.document.tokens).run()) {
        throw MCPConfigMergeError::malformed();
    }
    if (!parsed.document.isObject(0)) {
        throw MCPConfigMergeError::unexpectedShape("top level");
    }
    parsed.layout = layoutOf(*data);
    return parsed;
}

// What adding or removing changes in a document; everything else is written as it was.
struct Edit {
    struct Patch {
        bool drop = false;               // a member's key: leave the member out
        std::optional<NewValue> value;   // a value: write this one instead
        std::vector<NewMember> appended; // an object's end: members added last
    };
    std::map<size_t, Patch> patches; // by token index

    Patch& at(Document& document, size_t i) {
        document.tokens[i].patched = true;
        return patches[i];
    }
    const Patch* find(size_t i) const {
        auto it = patches.find(i);
        return it == patches.end() ? nullptr : &it->second;
    }
};

// Writes the document pretty-printed in the file's layout, with the edit applied: to a sink in pieces, or
// into one string.
class Printer {
public:
    Printer(const Document& document, const Edit& edit, const Layout& layout,
            const MCPConfigEdit::Sink* sink = nullptr)
        : document_(document), edit_(edit), layout_(layout), sink_(sink) {
        const size_t size = document.text.size() + document.text.size() / 4 + 256;
        out_.reserve(sink ? std::min(size, pieceSize + pieceSize / 4) : size);
        out_ += layout.bom;
    }
    std::string print() && {
        value(0, 0);
        if (layout_.finalNewline) {
            out_ += layout_.newline;
        }
        if (sink_) {
            (*sink_)(out_);
            out_.clear();
        }
        return std::move(out_);
    }

private:
    /// Writes the value at `i`; returns the index just past it.
    size_t value(size_t i, int depth) {
        const Token& t = document_.tokens[i];
        if (t.patched) {
            if (const auto* patch = edit_.find(i); patch && patch->value) {
                newValue(*patch->value, depth);
                return document_.after(i);
            }
        }
        if (!t.opens()) {
            out_ += document_.raw(i);
            return i + 1;
        }
        const bool object = t.kind == Token::Kind::objectStart;
        const size_t end = document_.end(i);
        out_ += object ? '{' : '[';
        bool any = false;
        for (size_t k = i + 1; k < end;) {
            if (object) {
                if (document_.tokens[k].patched) {
                    if (const auto* patch = edit_.find(k); patch && patch->drop) {
                        k = document_.after(k + 1);
                        continue;
                    }
                }
                nextItem(any, depth + 1);
                out_ += document_.raw(k);
                out_ += ": ";
                k = value(k + 1, depth + 1);
            } else {
                nextItem(any, depth + 1);
                k = value(k, depth + 1);
            }
        }
        if (document_.tokens[end].patched) {
            if (const auto* patch = edit_.find(end)) {
                members(patch->appended, any, depth);
            }
        }
        if (any) {
            lineStart(depth);
        }
        out_ += object ? '}' : ']';
        return end + 1;
    }
    void newValue(const NewValue& v, int depth) {
        if (!v.object) {
            out_ += v.raw;
            return;
        }
        out_ += '{';
        bool any = false;
        members(v.members, any, depth);
        if (any) {
            lineStart(depth);
        }
        out_ += '}';
    }
    void members(const std::vector<NewMember>& list, bool& any, int depth) {
        for (const auto& member : list) {
            nextItem(any, depth + 1);
            out_ += member.rawKey;
            out_ += ": ";
            newValue(member.value, depth + 1);
        }
    }
    void nextItem(bool& any, int depth) {
        if (sink_ && out_.size() >= pieceSize) {
            (*sink_)(out_);
            out_.clear();
        }
        if (any) {
            out_ += ',';
        }
        any = true;
        lineStart(depth);
    }
    void lineStart(int depth) {
        out_ += layout_.newline;
        const size_t width = static_cast<size_t>(depth) * layout_.indent.size();
        while (indentation_.size() < width) {
            indentation_ += layout_.indent;
        }
        out_.append(indentation_, 0, width);
    }

    const Document& document_;
    const Edit& edit_;
    static constexpr size_t pieceSize = 1 << 20;

    const Layout& layout_;
    const MCPConfigEdit::Sink* sink_;
    std::string out_;
    std::string indentation_; // the indent repeated for the deepest line so far
};

NewValue newString(std::string_view text) {
    NewValue v;
    v.raw = MCPConfigMerger::quoted(text);
    return v;
}

NewValue newObject() {
    NewValue v;
    v.object = true;
    return v;
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

struct MCPConfigEdit::State {
    Parsed parsed;
    Edit edit;
    bool changes = false;
};

MCPConfigEdit::MCPConfigEdit(std::unique_ptr<State> state) : state_(std::move(state)) {}
MCPConfigEdit::MCPConfigEdit(MCPConfigEdit&&) noexcept = default;
MCPConfigEdit& MCPConfigEdit::operator=(MCPConfigEdit&&) noexcept = default;
MCPConfigEdit::~MCPConfigEdit() = default;

bool MCPConfigEdit::changes() const {
    return state_->changes;
}

void MCPConfigEdit::write(const Sink& sink) const {
    Printer(state_->parsed.document, state_->edit, state_->parsed.layout, &sink).print();
}

std::string MCPConfigEdit::text() const {
    return Printer(state_->parsed.document, state_->edit, state_->parsed.layout).print();
}

MCPConfigEdit MCPConfigMerger::upsertEdit(std::string_view command, MCPEntryStyle style,
                                          std::string_view rootKey, std::optional<std::string_view> data) {
    auto state = std::make_unique<MCPConfigEdit::State>();
    state->parsed = parse(data);
    Document& document = state->parsed.document;
    Edit& edit = state->edit;
    const Entry wanted = entry(command, style);
    auto wholeEntry = [&] {
        NewValue v = newObject();
        for (const auto& [key, value] : wanted) {
            v.members.push_back(NewMember{quoted(key), newString(value)});
        }
        return v;
    };

    bool changed = false;
    const auto servers = document.lastMember(0, rootKey);
    if (!servers) {
        NewValue serversValue = newObject();
        serversValue.members.push_back(NewMember{quoted(serverName), wholeEntry()});
        edit.at(document, document.end(0))
            .appended.push_back(NewMember{quoted(rootKey), std::move(serversValue)});
        changed = true;
    } else if (!document.isObject(*servers + 1)) {
        throw MCPConfigMergeError::unexpectedShape(std::string(rootKey));
    } else if (const auto ours = document.lastMember(*servers + 1, serverName); !ours) {
        edit.at(document, document.end(*servers + 1))
            .appended.push_back(NewMember{quoted(serverName), wholeEntry()});
        changed = true;
    } else if (!document.isObject(*ours + 1)) {
        edit.at(document, *ours + 1).value = wholeEntry();
        changed = true;
    } else {
        const size_t object = *ours + 1;
        for (const auto& [key, value] : wanted) {
            const auto existing = document.lastMember(object, key);
            if (existing && document.isString(*existing + 1) &&
                decodeString(document.raw(*existing + 1)) == value) {
                continue;
            }
            changed = true;
            if (existing) {
                edit.at(document, *existing + 1).value = newString(value);
            } else {
                edit.at(document, document.end(object))
                    .appended.push_back(NewMember{quoted(key), newString(value)});
            }
        }
        document.forEachMember(object, [&](size_t k) {
            if (keyEquals(document.raw(k), "args")) {
                edit.at(document, k).drop = true;
                changed = true;
            }
        });
    }
    // A blank file becomes a whole new document.
    state->changes = changed || !data || isBlank(*data);
    return MCPConfigEdit(std::move(state));
}

MCPConfigEdit MCPConfigMerger::removeEdit(std::string_view rootKey, std::optional<std::string_view> data) {
    auto state = std::make_unique<MCPConfigEdit::State>();
    if (!data || isBlank(*data)) {
        return MCPConfigEdit(std::move(state));
    }
    state->parsed = parse(data);
    Document& document = state->parsed.document;
    const auto servers = document.lastMember(0, rootKey);
    if (servers && document.isObject(*servers + 1)) {
        document.forEachMember(*servers + 1, [&](size_t k) {
            if (keyEquals(document.raw(k), serverName)) {
                state->edit.at(document, k).drop = true;
            }
        });
    }
    state->changes = !state->edit.patches.empty();
    return MCPConfigEdit(std::move(state));
}

std::string MCPConfigMerger::upserting(std::string_view command, MCPEntryStyle style,
                                       std::string_view rootKey, std::optional<std::string_view> data) {
    const auto edit = upsertEdit(command, style, rootKey, data);
    return edit.changes() ? edit.text() : std::string(*data);
}

std::optional<std::string> MCPConfigMerger::removing(std::string_view rootKey,
                                                     std::optional<std::string_view> data) {
    const auto edit = removeEdit(rootKey, data);
    if (!edit.changes()) {
        return std::nullopt;
    }
    return edit.text();
}

std::optional<std::string> MCPConfigMerger::command(std::string_view data, std::string_view rootKey) {
    if (isBlank(data)) {
        return std::nullopt;
    }
    try {
        const Parsed parsed = parse(data);
        const Document& document = parsed.document;
        const auto servers = document.lastMember(0, rootKey);
        const auto ours = servers && document.isObject(*servers + 1)
                              ? document.lastMember(*servers + 1, serverName)
                              : std::nullopt;
        const auto cmd =
            ours && document.isObject(*ours + 1) ? document.lastMember(*ours + 1, "command") : std::nullopt;
        if (cmd && document.isString(*cmd + 1)) {
            return decodeString(document.raw(*cmd + 1));
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
