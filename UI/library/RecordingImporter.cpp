#include "UI/library/RecordingImporter.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace UI {

namespace {

using json = nlohmann::json;
using Segment = Database::DatabaseManager::TranscriptSegment;

json parseJson(std::string_view text) {
    try {
        return json::parse(text.begin(), text.end());
    } catch (const json::exception& e) {
        // A syntax error, or a number too large for a double (out_of_range). nlohmann's message carries the
        // byte position, which is what a user needs to fix the file.
        std::string what = e.what();
        auto colon = what.find("] ");
        throw ImportError("The file is not valid JSON: " +
                          (colon == std::string::npos ? what : what.substr(colon + 2)));
    }
}

double number(const json& value, const std::string& field) {
    if (!value.is_number()) {
        throw ImportError(fmt::format("\"{}\" must be a number.", field));
    }
    double v = value.get<double>();
    if (!std::isfinite(v) || v < 0) {
        throw ImportError(fmt::format("\"{}\" must be a number of seconds, 0 or more.", field));
    }
    return v;
}

std::string text(const json& value, const std::string& field) {
    if (!value.is_string()) {
        throw ImportError(fmt::format("\"{}\" must be text.", field));
    }
    return value.get<std::string>();
}

std::optional<std::string> optionalText(const json& object, const char* field) {
    auto it = object.find(field);
    if (it == object.end() || it->is_null()) {
        return std::nullopt;
    }
    return text(*it, field);
}

Segment segmentFrom(const json& item, std::size_t index) {
    const std::string where = fmt::format("segments[{}]", index);
    if (!item.is_object()) {
        throw ImportError(fmt::format("{} must be an object with \"start\" and \"text\".", where));
    }
    Segment s;
    auto start = item.find("start");
    if (start == item.end()) {
        throw ImportError(fmt::format("{} has no \"start\".", where));
    }
    s.startTime = number(*start, where + ".start");
    auto body = item.find("text");
    if (body == item.end()) {
        throw ImportError(fmt::format("{} has no \"text\".", where));
    }
    s.text = text(*body, where + ".text");
    if (auto end = item.find("end"); end != item.end() && !end->is_null()) {
        s.endTime = number(*end, where + ".end");
    } else {
        s.endTime = s.startTime;
    }
    if (auto speaker = item.find("speaker"); speaker != item.end() && !speaker->is_null()) {
        s.speaker = text(*speaker, where + ".speaker");
    }
    if (auto mic = item.find("isFromMicrophone"); mic != item.end() && !mic->is_null()) {
        if (!mic->is_boolean()) {
            throw ImportError(fmt::format("\"{}.isFromMicrophone\" must be true or false.", where));
        }
        s.isFromMicrophone = mic->get<bool>();
    }
    return s;
}

std::vector<Segment> segmentsFrom(const json& array) {
    if (!array.is_array()) {
        throw ImportError("\"segments\" must be a list of segments.");
    }
    std::vector<Segment> out;
    out.reserve(array.size());
    for (std::size_t i = 0; i < array.size(); ++i) {
        out.push_back(segmentFrom(array[i], i));
    }
    return out;
}

} // namespace

std::vector<Segment> RecordingImporter::parseSegments(std::string_view input) {
    auto doc = parseJson(input);
    if (!doc.is_array()) {
        throw ImportError("Expected a JSON list of segments, each with \"start\" and \"text\".");
    }
    return segmentsFrom(doc);
}

ImportedRecording RecordingImporter::parse(std::string_view input) {
    auto doc = parseJson(input);
    if (!doc.is_object()) {
        throw ImportError("Expected a JSON object with \"title\", \"startDate\" and \"segments\".");
    }
    ImportedRecording out;
    auto& r = out.recording;
    auto title = doc.find("title");
    if (title == doc.end()) {
        throw ImportError("The recording has no \"title\".");
    }
    r.title = text(*title, "title");
    auto start = doc.find("startDate");
    if (start == doc.end()) {
        throw ImportError("The recording has no \"startDate\".");
    }
    auto date = Support::parseISO8601(text(*start, "startDate"));
    if (!date) {
        throw ImportError("\"startDate\" must be an ISO 8601 date such as 2026-11-20T15:00:00Z.");
    }
    r.startDate = *date;
    r.notes = optionalText(doc, "notes");
    r.summary = optionalText(doc, "summary");
    if (auto fav = doc.find("isFavorite"); fav != doc.end() && !fav->is_null()) {
        if (!fav->is_boolean()) {
            throw ImportError("\"isFavorite\" must be true or false.");
        }
        r.isFavorite = fav->get<bool>();
    }
    if (auto segs = doc.find("segments"); segs != doc.end() && !segs->is_null()) {
        out.segments = segmentsFrom(*segs);
    }
    if (auto duration = doc.find("duration"); duration != doc.end() && !duration->is_null()) {
        r.duration = number(*duration, "duration");
    } else {
        for (const auto& s : out.segments) {
            r.duration = std::max({r.duration, s.startTime, s.endTime});
        }
    }
    r.hasTranscript = !out.segments.empty();
    return out;
}

Database::RecordingId RecordingImporter::store(Database::DatabaseManager& database,
                                               const ImportedRecording& imported) {
    auto id = database.insertRecording(imported.recording);
    if (!imported.segments.empty()) {
        try {
            database.saveTranscript(id, imported.segments);
        } catch (...) {
            // No recording without the transcript it was imported with.
            database.deleteRecording(id);
            throw;
        }
    }
    return id;
}

} // namespace UI
