// Finds links in free text the way a desktop link detector does: URLs with a scheme ("https://…",
// "zoommtg://…"), "www." links, and scheme-less "host.tld/path" links. A link stops at white space, angle
// brackets and quotes; trailing punctuation is left in the match (`MeetingLinkExtractor` trims it).
//
// Guarantees: every range lies inside the text, ranges are ascending and do not overlap, and the scan is
// linear in the length of the text whatever it holds (invalid UTF-8 included).
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

namespace UI {

struct DetectedLink {
    /// Byte offset and length of the match in the scanned text.
    std::size_t start = 0;
    std::size_t length = 0;
    /// The matched text (a view into the scanned text).
    std::string_view text;
    /// True when the text has no scheme ("www.example.com", "meet.example.com/abc"): "https://" is implied.
    bool impliedScheme = false;

    bool operator==(const DetectedLink&) const = default;
};

struct LinkDetector {
    /// Calls `visit` for each link in order; `visit` returns false to stop.
    static void forEachLink(std::string_view text, const std::function<bool(const DetectedLink&)>& visit);
    static std::vector<DetectedLink> links(std::string_view text);
};

} // namespace UI
