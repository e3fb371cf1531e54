#include "UI/library/TranscriptTabLogic.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace UI {

std::optional<TranscriptTabLogic::Topic> TranscriptTabLogic::topic(const std::vector<Topic>& topics,
                                                                   double time) {
    if (!std::isfinite(time)) {
        return std::nullopt;
    }
    const Topic* best = nullptr;
    for (const auto& t : topics) {
        if (t.startTime <= time && (!best || t.startTime > best->startTime)) {
            best = &t;
        }
    }
    return best ? std::optional<Topic>(*best) : std::nullopt;
}

std::vector<std::string> TranscriptTabLogic::speakers(const std::vector<Segment>& segments) {
    std::set<std::string> names;
    for (const auto& s : segments) {
        if (!s.speaker.empty()) {
            names.insert(s.speaker);
        }
    }
    return {names.begin(), names.end()};
}

std::vector<std::optional<TranscriptTabLogic::Topic>>
TranscriptTabLogic::dividers(const std::vector<Segment>& segments, const std::vector<Topic>& topics) {
    std::vector<std::optional<Topic>> out(segments.size());
    if (topics.empty()) {
        return out;
    }
    // A start that is not a number never is "at or before" a segment: such topics are left out.
    std::vector<Topic> sorted;
    for (const auto& t : topics) {
        if (!std::isnan(t.startTime)) {
            sorted.push_back(t);
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Topic& a, const Topic& b) { return a.startTime < b.startTime; });
    std::optional<std::int64_t> remembered;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const double start = segments[i].startTime;
        auto after = std::upper_bound(sorted.begin(), sorted.end(), start,
                                      [](double time, const Topic& t) { return time < t.startTime; });
        if (std::isnan(start) || after == sorted.begin()) {
            remembered.reset();
            continue;
        }
        const Topic& current = *std::prev(after);
        if (remembered == current.id) {
            continue;
        }
        out[i] = current;
        remembered = current.id;
    }
    return out;
}

} // namespace UI
