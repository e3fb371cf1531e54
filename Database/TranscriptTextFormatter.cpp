#include "Database/TranscriptTextFormatter.h"

#include "Support/Regex.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

namespace Database {

namespace {

const Support::Regex& specialTokens() {
    // Must compile: a typo here is a programming error and the constructor's exception ends the process.
    static const Support::Regex regex(TranscriptTextFormatter::specialTokenPattern);
    return regex;
}

bool isSpace(std::string_view s, std::size_t& pos) {
    const unsigned char c = static_cast<unsigned char>(s[pos]);
    if (c < 0x80) {
        ++pos;
        return c == ' ' || (c >= '\t' && c <= '\r');
    }
    const char32_t cp = Support::Text::decodeNext(s, pos);
    return Support::Text::isWhitespace(cp) || Support::Text::isNewline(cp);
}

/// The words of `text` joined by single spaces, appended to `out`; returns whether any word was appended.
/// Each word is appended whole.
bool appendCollapsed(std::string_view text, std::string& out) {
    bool any = false;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t start = pos;
        std::size_t next = pos;
        while (pos < text.size() && !isSpace(text, next)) {
            pos = next;
        }
        if (pos > start) {
            if (any) {
                out.push_back(' ');
            }
            out.append(text.data() + start, pos - start);
            any = true;
        }
        next = pos;
        while (pos < text.size() && isSpace(text, next)) {
            pos = next;
        }
    }
    return any;
}

/// The speaker's name, or "You" / "Speaker" for an unnamed one; `scratch` holds a trimmed name.
std::string_view label(const TranscriptTextFormatter::Segment& segment, std::string& scratch) {
    const std::string& speaker = segment.speaker;
    const bool plain = !speaker.empty() && static_cast<unsigned char>(speaker.front()) > ' ' &&
                       static_cast<unsigned char>(speaker.back()) > ' ' &&
                       static_cast<unsigned char>(speaker.front()) < 0x80 &&
                       static_cast<unsigned char>(speaker.back()) < 0x80;
    if (plain) {
        return speaker;
    }
    scratch = Support::Text::trimmed(speaker);
    if (!scratch.empty()) {
        return scratch;
    }
    return segment.isFromMicrophone ? "You" : "Speaker";
}

} // namespace

std::string TranscriptTextFormatter::timestamp(double seconds) {
    if (!std::isfinite(seconds)) {
        return "0:00";
    }
    // Clamp before converting so that absurd values cannot overflow the integer.
    const double truncated = std::trunc(std::clamp(seconds, -1e15, 1e15));
    const long long whole = std::max(0LL, static_cast<long long>(truncated));
    char buffer[64];
    if (truncated < 3600) {
        std::snprintf(buffer, sizeof buffer, "%lld:%02lld", whole / 60, whole % 60);
    } else {
        std::snprintf(buffer, sizeof buffer, "%lld:%02lld:%02lld", whole / 3600, (whole % 3600) / 60,
                      whole % 60);
    }
    return buffer;
}

std::vector<std::string> TranscriptTextFormatter::lines(const std::vector<Segment>& segments) {
    // A start that is not a number sorts first (it is stamped 0:00), so the order stays a strict weak one.
    auto key = [&](std::size_t i) {
        double t = segments[i].startTime;
        return std::isnan(t) ? -std::numeric_limits<double>::infinity() : t;
    };
    std::vector<std::size_t> order(segments.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (!std::is_sorted(order.begin(), order.end(), [&](auto a, auto b) { return key(a) < key(b); })) {
        std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) { return key(a) < key(b); });
    }

    // A turn is built in one reused buffer (its label and time, then every following segment of the same
    // speaker) and copied out once when the next turn starts. A segment without words leaves no trace (not
    // even a break between turns).
    std::vector<std::string> out;
    std::string turn;
    std::string currentLabel;
    std::string cleaned;
    std::string scratch;
    for (auto index : order) {
        const auto& segment = segments[index];
        std::string_view raw = segment.text;
        if (raw.find("<|") != std::string_view::npos) {
            cleaned = specialTokens().replaceAll(raw, "");
            raw = cleaned;
        }
        const std::string_view name = label(segment, scratch);
        const bool continues = !turn.empty() && name == currentLabel;
        const std::size_t mark = turn.size();
        if (continues) {
            turn.push_back(' ');
        } else {
            turn += name;
            turn += " (";
            turn += timestamp(segment.startTime);
            turn += "): ";
        }
        if (!appendCollapsed(raw, turn)) {
            turn.resize(mark);
            continue;
        }
        if (!continues) {
            if (mark > 0) {
                out.emplace_back(turn, 0, mark);
                turn.erase(0, mark);
            }
            currentLabel.assign(name);
        }
    }
    if (!turn.empty()) {
        out.push_back(std::move(turn));
    }
    return out;
}

} // namespace Database
