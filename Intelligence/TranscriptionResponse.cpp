#include "Intelligence/TranscriptionResponse.h"

#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace Intelligence::TranscriptionResponse {

using json = nlohmann::json;

namespace {

std::optional<json> parsed(std::string_view body) {
    auto value = json::parse(body, nullptr, false);
    if (value.is_discarded()) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> number(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_number()) {
        return std::nullopt;
    }
    const double value = it->get<double>();
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    return std::max(0.0, value);
}

std::string text(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end()) {
        return "";
    }
    if (it->is_string()) {
        return it->get<std::string>();
    }
    if (it->is_number_integer()) {
        return std::to_string(it->get<std::int64_t>());
    }
    return "";
}

/// "00:01:02,500" or "00:01:02.500" in seconds.
std::optional<double> clockTime(const std::string& value) {
    int h = 0, m = 0, s = 0, ms = 0;
    char sep = 0;
    if (std::sscanf(value.c_str(), "%d:%d:%d%c%d", &h, &m, &s, &sep, &ms) == 5 && h >= 0 && m >= 0 &&
        s >= 0 && ms >= 0) {
        return h * 3600.0 + m * 60.0 + s + ms / 1000.0;
    }
    return std::nullopt;
}

void putInOrder(std::vector<SpeechSegment>& segments) {
    double previousEnd = 0;
    for (auto& s : segments) {
        if (s.start < 0 || !std::isfinite(s.start)) {
            s.start = previousEnd;
        }
        if (s.end < s.start || !std::isfinite(s.end)) {
            s.end = s.start;
        }
        previousEnd = std::max(s.start, s.end);
    }
}

} // namespace

std::optional<std::vector<SpeechSegment>> parseServerAnswer(std::string_view body, double pieceDuration) {
    auto value = parsed(body);
    if (!value || !value->is_object()) {
        return std::nullopt;
    }
    std::vector<SpeechSegment> segments;
    auto list = value->find("segments");
    if (list != value->end() && list->is_array() && !list->empty()) {
        double previousEnd = 0;
        for (const auto& item : *list) {
            if (!item.is_object()) {
                continue;
            }
            SpeechSegment s;
            s.start = number(item, "start").value_or(previousEnd);
            s.end = number(item, "end").value_or(s.start);
            s.text = text(item, "text");
            s.speaker = Support::Text::trimmed(text(item, "speaker"));
            previousEnd = std::max(s.start, s.end);
            segments.push_back(std::move(s));
        }
        putInOrder(segments);
        return segments;
    }
    auto whole = value->find("text");
    if (whole == value->end() || !whole->is_string()) {
        return std::nullopt;
    }
    segments.push_back({0, std::max(0.0, pieceDuration), whole->get<std::string>(), ""});
    return segments;
}

std::string errorMessage(std::string_view body) {
    std::string message;
    if (auto value = parsed(body); value && value->is_object()) {
        for (const char* key : {"error", "detail", "message"}) {
            auto it = value->find(key);
            if (it == value->end()) {
                continue;
            }
            if (it->is_string()) {
                message = it->get<std::string>();
            } else if (it->is_object()) {
                message = text(*it, "message");
            } else if (it->is_array() && !it->empty() && it->front().is_object()) {
                message = text(it->front(), "msg");
            }
            if (!message.empty()) {
                break;
            }
        }
    } else if (!body.empty() && body.front() != '<' && body.front() != '{') {
        message = std::string(body.substr(0, 300)); // a plain-text answer, not a web page
    }
    message = Support::Text::trimmed(message);
    if (message.size() > 300) {
        message.resize(300);
        while (!message.empty() && (static_cast<unsigned char>(message.back()) & 0xC0) == 0x80) {
            message.pop_back(); // never end inside a UTF-8 sequence
        }
        if (!message.empty() && static_cast<unsigned char>(message.back()) >= 0xC0) {
            message.pop_back();
        }
    }
    return message;
}

std::optional<std::vector<SpeechSegment>> parseWhisperCliOutput(std::string_view body) {
    auto value = parsed(body);
    if (!value || !value->is_object()) {
        return std::nullopt;
    }
    auto list = value->find("transcription");
    if (list == value->end() || !list->is_array()) {
        return std::nullopt;
    }
    std::vector<SpeechSegment> segments;
    double previousEnd = 0;
    for (const auto& item : *list) {
        if (!item.is_object()) {
            continue;
        }
        SpeechSegment s;
        std::optional<double> from, to;
        if (auto offsets = item.find("offsets"); offsets != item.end() && offsets->is_object()) {
            if (auto f = number(*offsets, "from")) {
                from = *f / 1000.0;
            }
            if (auto t = number(*offsets, "to")) {
                to = *t / 1000.0;
            }
        }
        if (auto stamps = item.find("timestamps"); stamps != item.end() && stamps->is_object()) {
            if (!from) {
                from = clockTime(text(*stamps, "from"));
            }
            if (!to) {
                to = clockTime(text(*stamps, "to"));
            }
        }
        s.start = from.value_or(previousEnd);
        s.end = to.value_or(s.start);
        s.text = text(item, "text");
        s.speaker = Support::Text::trimmed(text(item, "speaker"));
        previousEnd = std::max(s.start, s.end);
        segments.push_back(std::move(s));
    }
    putInOrder(segments);
    return segments;
}

} // namespace Intelligence::TranscriptionResponse
