#include "Intelligence/ScreenCaptures.h"

#include <algorithm>
#include <cctype>

namespace Intelligence {

int ScreenCaptures::wordCount(const std::string& text) {
    int words = 0;
    bool inWord = false;
    for (unsigned char c : text) {
        // Any byte of a non-ASCII letter counts as part of a word, so accented and non-Latin text count too.
        bool wordByte = std::isalnum(c) || c >= 0x80;
        if (wordByte && !inWord) {
            ++words;
        }
        inWord = wordByte;
    }
    return words;
}

void ScreenCaptures::rerank(Database::RecordingId recordingId, Database::DatabaseManager& database,
                            const ScreenCaptureConfiguration& configuration) {
    auto captures = database.screenCaptures(recordingId);
    std::vector<std::pair<int, std::size_t>> order; // (words, index)
    for (std::size_t i = 0; i < captures.size(); ++i) {
        order.emplace_back(wordCount(captures[i].screenText), i);
    }
    // More words first; equal counts keep the order they were on screen.
    std::stable_sort(order.begin(), order.end(), [&](const auto& a, const auto& b) {
        if (a.first != b.first) {
            return a.first > b.first;
        }
        return captures[a.second].time < captures[b.second].time;
    });
    int featured = 0;
    for (std::size_t rank = 0; rank < order.size(); ++rank) {
        auto& capture = captures[order[rank].second];
        auto updated = capture;
        updated.rank = static_cast<int>(rank);
        updated.isFeatured =
            order[rank].first >= configuration.minimumWords && featured < configuration.featuredCount;
        featured += updated.isFeatured ? 1 : 0;
        if (!(updated == capture)) {
            database.updateScreenCapture(updated);
        }
    }
}

} // namespace Intelligence
