#include "UI/transcription/TranscriptAssembly.h"

#include "UI/library/TextCleaning.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

namespace UI::TranscriptAssembly {

namespace {

/// Lower-cased words without punctuation (bytes above ASCII are kept as letters).
std::vector<std::string> words(const std::string& text) {
    std::vector<std::string> out;
    std::string word;
    for (char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (u >= 0x80 || std::isalnum(u) || c == '\'') {
            word.push_back(static_cast<char>(u < 0x80 ? std::tolower(u) : u));
        } else if (!word.empty()) {
            out.push_back(std::move(word));
            word.clear();
        }
    }
    if (!word.empty()) {
        out.push_back(std::move(word));
    }
    return out;
}

} // namespace

bool isEcho(const Intelligence::SpeechSegment& microphone,
            const std::vector<Intelligence::SpeechSegment>& others) {
    const auto mine = words(microphone.text);
    if (mine.empty()) {
        return false;
    }
    std::set<std::string> theirs;
    for (const auto& other : others) {
        if (other.end + echoSlack < microphone.start || other.start - echoSlack > microphone.end) {
            continue;
        }
        for (auto& w : words(other.text)) {
            theirs.insert(std::move(w));
        }
    }
    if (theirs.empty()) {
        return false;
    }
    const auto repeated =
        std::count_if(mine.begin(), mine.end(), [&](const std::string& w) { return theirs.count(w) > 0; });
    return static_cast<double>(repeated) >= echoWordShare * static_cast<double>(mine.size());
}

std::vector<Database::DatabaseManager::TranscriptSegment> assemble(const std::vector<TrackSegments>& tracks) {
    struct Cleaned {
        Intelligence::SpeechSegment segment;
        bool isMicrophone;
    };
    std::vector<Cleaned> cleaned;
    std::vector<Intelligence::SpeechSegment> others;
    for (const auto& track : tracks) {
        for (const auto& s : track.segments) {
            auto text = TextCleaning::cleanWhisperTokens(s.text);
            if (text.empty()) {
                continue;
            }
            Intelligence::SpeechSegment copy = s;
            copy.text = std::move(text);
            if (!track.isMicrophone) {
                others.push_back(copy);
            }
            cleaned.push_back({std::move(copy), track.isMicrophone});
        }
    }
    std::erase_if(cleaned, [&](const Cleaned& c) { return c.isMicrophone && isEcho(c.segment, others); });
    std::stable_sort(cleaned.begin(), cleaned.end(), [](const Cleaned& a, const Cleaned& b) {
        if (a.segment.start != b.segment.start) {
            return a.segment.start < b.segment.start;
        }
        return !a.isMicrophone && b.isMicrophone;
    });
    std::vector<Database::DatabaseManager::TranscriptSegment> out;
    out.reserve(cleaned.size());
    for (auto& c : cleaned) {
        Database::DatabaseManager::TranscriptSegment t;
        t.startTime = c.segment.start;
        t.endTime = c.segment.end;
        t.text = std::move(c.segment.text);
        t.speaker = std::move(c.segment.speaker);
        t.isFromMicrophone = c.isMicrophone;
        out.push_back(std::move(t));
    }
    return out;
}

} // namespace UI::TranscriptAssembly
