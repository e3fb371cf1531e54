// Recognises join links of the supported services: classifies one URL, finds links in event text (location,
// notes), unwraps mail-security and search redirects, and normalises each link to its https web link and,
// for Zoom and Teams, the link that opens the desktop app.
//
// Everything here is pure and thread-safe; the patterns are compiled once per process. Text that holds no
// link, broken URLs and invalid UTF-8 give "no link", never an error.
#pragma once

#include "Support/Url.h"
#include "UI/calendar/MeetingLink.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct MeetingLinkExtractor {
    static constexpr std::string_view zoomDomain = "zoom.us";
    static constexpr std::string_view zoomGovDomain = "zoomgov.com";
    static constexpr std::string_view teamsWorkHost = "teams.microsoft.com";
    static constexpr std::string_view teamsHomeHost = "teams.live.com";
    static constexpr std::string_view meetHost = "meet.google.com";
    static constexpr std::string_view safeLinksDomain = "safelinks.protection.outlook.com";
    static constexpr std::string_view googleSearchHost = "google.com";
    static constexpr std::string_view shortLinkHost = "aka.ms";

    /// How many redirect wrappers `unwrapRedirect` removes at most.
    static constexpr int maxRedirectRounds = 3;

    /// The meeting link of one URL (after unwrapping redirects), or nothing.
    static std::optional<MeetingLink> classify(const Support::Url& url);
    /// Same for URL text; text that does not parse gives nothing.
    static std::optional<MeetingLink> classify(std::string_view urlText);

    /// A link found in text, with the byte position of its match in the entity-decoded text.
    struct FoundLink {
        MeetingLink link;
        std::size_t position = 0;
        bool operator==(const FoundLink&) const = default;
    };
    /// Every distinct meeting link in `text`, in order of position (by web link; the first one wins).
    static std::vector<MeetingLink> links(std::string_view text);
    static std::vector<FoundLink> linksWithPositions(std::string_view text);
    /// The first meeting link in `text`, or nothing (stops scanning at the first one).
    static std::optional<MeetingLink> firstLink(std::string_view text);

    /// One event's link: the URL if it classifies, else the first link in the location, else the first link
    /// in the notes.
    static std::optional<MeetingLink> extract(const std::optional<Support::Url>& url,
                                              const std::optional<std::string>& location,
                                              const std::optional<std::string>& notes);

    /// Removes up to three Outlook safe-link or Google search redirect wrappers.
    static Support::Url unwrapRedirect(const Support::Url& url);
    /// Removes closing punctuation that ends a sentence rather than the link ("…/j/123)." → "…/j/123").
    static std::string trimmingTrailingPunctuation(std::string_view text);
};

} // namespace UI
