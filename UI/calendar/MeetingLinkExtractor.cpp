#include "UI/calendar/MeetingLinkExtractor.h"

#include "Support/Regex.h"
#include "Support/Text.h"
#include "UI/calendar/LinkDetector.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory_resource>
#include <string>
#include <unordered_set>

namespace UI {

namespace {

std::string escapedDots(std::string_view host) {
    return Support::Text::replacingAll(host, ".", "\\.");
}

/// The patterns, compiled on first use and kept for the life of the process.
struct Patterns {
    Support::Regex zoomHost{"^(?:[a-z0-9-]+\\.)?" + escapedDots(MeetingLinkExtractor::zoomDomain) + "$"};
    Support::Regex zoomGovHost{"^(?:[a-z0-9-]+\\.)?" + escapedDots(MeetingLinkExtractor::zoomGovDomain) +
                               "$"};
    Support::Regex zoomPath{"^/(j|s|w)/(\\d{9,11})/?$"};
    Support::Regex zoomPersonalPath{"^/my/[A-Za-z0-9._-]+/?$"};
    Support::Regex meetPath{"^/[a-z]{3}-[a-z]{4}-[a-z]{3}/?$"};
    Support::Regex schemelessMeet{"(?<![a-z0-9./:])" + escapedDots(MeetingLinkExtractor::meetHost) +
                                      "/[a-z]{3}-[a-z]{4}-[a-z]{3}(?![a-z0-9-])",
                                  Support::Regex::caseInsensitive};
};

const Patterns& patterns() {
    static const Patterns compiled;
    return compiled;
}

/// Where the authority that starts at `from` ends: the first '/', '?' or '#' (npos when none). A plain loop,
/// as `find_first_of` calls `memchr` once per character.
std::size_t authorityEnd(std::string_view text, std::size_t from) {
    for (std::size_t i = from; i < text.size(); ++i) {
        if (text[i] == '/' || text[i] == '?' || text[i] == '#') {
            return i;
        }
    }
    return std::string_view::npos;
}

/// The link with scheme "https", host lower-cased and, when asked, no fragment. Done on the text where that
/// is safe (the scheme is the text before the first ':', the fragment starts at the first '#'), which
/// spares re-parsing the URL for each change; a link already written that way is kept as it is.
Support::Url normalisedWeb(const Support::Url& url, const std::string& host, bool dropFragment) {
    const auto& text = url.string();
    auto colon = text.find(':');
    auto authorityStart = text.find("://");
    auto authority = std::string_view(text).substr(
        0, authorityEnd(text, authorityStart == std::string::npos ? 0 : authorityStart + 3));
    bool upper = std::any_of(authority.begin() + static_cast<std::ptrdiff_t>(colon), authority.end(),
                             [](char c) { return c >= 'A' && c <= 'Z'; });
    auto hash = dropFragment ? text.find('#') : std::string::npos;
    if (!upper && hash == std::string::npos && std::string_view(text).substr(0, colon) == "https") {
        return url;
    }
    std::string web = "https" + text.substr(colon, hash == std::string::npos ? hash : hash - colon);
    auto parsed = Support::Url::parse(web);
    if (!parsed) {
        return url.withScheme("https").withHost(host);
    }
    return upper ? parsed->withHost(host) : *parsed;
}

bool isDigitOnly(std::string_view s) {
    return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<MeetingLink> classifyZoom(const Support::Url& url, const std::string& host) {
    const auto& p = patterns();
    if (!p.zoomHost.matches(host) && !p.zoomGovHost.matches(host)) {
        return std::nullopt;
    }
    auto path = url.path();
    std::optional<std::string> meetingNumber;
    if (auto m = p.zoomPath.firstMatch(path)) {
        meetingNumber = std::string(m->str(2));
    } else if (!p.zoomPersonalPath.matches(path)) {
        return std::nullopt;
    }
    auto web = normalisedWeb(url, host, true);
    std::optional<Support::Url> native;
    if (meetingNumber && isDigitOnly(*meetingNumber)) {
        // The host matched the Zoom patterns (letters, digits, '-', '.'), and every name and value is
        // percent-encoded, so the text is a URL as it stands.
        std::string nativeText = "zoommtg://" + host + "/join?action=join&confno=" + *meetingNumber;
        for (const char* name : {"pwd", "tk"}) {
            if (auto value = url.queryValue(name); value && !value->empty()) {
                nativeText += "&" + std::string(name) + "=" + Support::percentEncoded(*value);
            }
        }
        native = Support::Url::parse(nativeText);
    }
    return MeetingLink{MeetingService::zoom, web, native};
}

std::optional<MeetingLink> classifyTeams(const Support::Url& url, const std::string& host) {
    if (host != MeetingLinkExtractor::teamsWorkHost && host != MeetingLinkExtractor::teamsHomeHost) {
        return std::nullopt;
    }
    auto path = url.path();
    static constexpr std::string_view meetupJoin = "/l/meetup-join/";
    static constexpr std::string_view meet = "/meet/";
    bool accepted = false;
    if (Support::Text::startsWith(path, meetupJoin)) {
        accepted = path.size() > meetupJoin.size();
    } else if (Support::Text::startsWith(path, meet)) {
        auto rest = std::string_view(path).substr(meet.size());
        accepted = std::any_of(rest.begin(), rest.end(), [](char c) { return c >= '0' && c <= '9'; });
    }
    if (!accepted) {
        return std::nullopt;
    }
    auto web = normalisedWeb(url, host, false);
    std::string nativeText = "msteams:" + url.encodedPath();
    if (auto query = url.encodedQuery(); query && !query->empty()) {
        nativeText += "?" + *query;
    }
    return MeetingLink{MeetingService::teams, web, Support::Url::parse(nativeText)};
}

std::optional<MeetingLink> classifyMeet(const Support::Url& url, const std::string& host) {
    if (host != MeetingLinkExtractor::meetHost) {
        return std::nullopt;
    }
    auto path = Support::Text::asciiLowercased(url.path());
    if (!patterns().meetPath.matches(path)) {
        return std::nullopt;
    }
    auto web = normalisedWeb(url, host, true);
    if (web.encodedPath() != path) {
        web = web.withPath(path);
    }
    return MeetingLink{MeetingService::meet, web, std::nullopt};
}

/// Decodes the entities that calendar services write into notes, in this order (so "&amp;lt;" becomes "<").
/// Text without '&' is given back as it is, in place, without a copy.
std::string_view decodedEntities(std::string_view text, std::string& storage) {
    if (text.find('&') == std::string_view::npos) {
        return text;
    }
    std::string& out = storage;
    out.assign(text);
    static constexpr std::pair<std::string_view, std::string_view> entities[] = {
        {"&amp;", "&"}, {"&#38;", "&"}, {"&quot;", "\""}, {"&lt;", "<"}, {"&gt;", ">"}};
    for (const auto& [from, to] : entities) {
        // In place, left to right: each entity is longer than its character.
        std::size_t write = 0;
        std::size_t read = 0;
        for (auto found = out.find(from); found != std::string::npos; found = out.find(from, read)) {
            std::copy(out.begin() + static_cast<std::ptrdiff_t>(read),
                      out.begin() + static_cast<std::ptrdiff_t>(found),
                      out.begin() + static_cast<std::ptrdiff_t>(write));
            write += found - read;
            std::copy(to.begin(), to.end(), out.begin() + static_cast<std::ptrdiff_t>(write));
            write += to.size();
            read = found + from.size();
        }
        if (read > 0) {
            out.erase(write, read - write);
        }
    }
    return out;
}

/// Runs the scheme-less Meet pattern where it can match: at each mention of the Meet host, in any case, on
/// a window that holds the character before (for the pattern's look-behind), the host, the meeting code
/// and the character after (for its look-ahead). Calls `visit` with each match and its position in `text`
/// until it returns false. Spares the pattern a search through the whole of every note.
void forEachSchemelessMeet(std::string_view text,
                           const std::function<bool(std::string_view, std::size_t)>& visit) {
    static constexpr std::string_view host = MeetingLinkExtractor::meetHost;
    static constexpr auto firstDot = host.find('.');
    static constexpr std::size_t codeLength = std::string_view("/abc-defg-hij").size();
    for (auto dot = text.find('.', firstDot); dot != std::string_view::npos; dot = text.find('.', dot + 1)) {
        auto start = dot - firstDot;
        if (text.size() - start < host.size() ||
            !Support::Text::equalsIgnoringASCIICase(text.substr(start, host.size()), host)) {
            continue;
        }
        auto windowStart = start > 0 ? start - 1 : 0;
        auto window = text.substr(windowStart, start - windowStart + host.size() + codeLength + 1);
        auto match = patterns().schemelessMeet.firstMatch(window);
        if (match && windowStart + match->start() == start &&
            !visit(match->str(), windowStart + match->start())) {
            return;
        }
    }
}

bool endsWithIgnoringCase(std::string_view s, std::string_view suffix) {
    return s.size() >= suffix.size() &&
           Support::Text::equalsIgnoringASCIICase(s.substr(s.size() - suffix.size()), suffix);
}

/// A quick look at the host and path of a detected link, before the full parse: only the services' hosts
/// and the redirect hosts can give a meeting link, and only on their meeting paths. Links written unusually
/// (percent-encoded, IP literals) are left to the full parse.
bool mayBeMeetingLink(std::string_view text, bool impliedScheme) {
    std::size_t start = 0;
    if (!impliedScheme) {
        auto separator = text.find("://");
        if (separator == std::string_view::npos) {
            return true;
        }
        start = separator + 3;
    }
    auto end = authorityEnd(text, start);
    auto authority = text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
    if (auto at = authority.rfind('@'); at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    if (std::any_of(authority.begin(), authority.end(),
                    [](char c) { return c == '%' || c == '[' || c == '\\'; })) {
        return true;
    }
    auto host = authority.substr(0, authority.find(':'));
    auto path = end == std::string_view::npos ? std::string_view() : text.substr(end);
    path = path.substr(0, static_cast<std::size_t>(std::find_if(path.begin(), path.end(),
                                                                [](char c) { return c == '?' || c == '#'; }) -
                                                   path.begin()));
    // The services' path patterns are case-sensitive and read the decoded path: a path without '%' is its
    // own decoded form. Trailing punctuation, not yet trimmed, only ever follows these prefixes.
    auto pathStartsWithOneOf = [&](std::initializer_list<std::string_view> prefixes) {
        return path.find('%') != std::string_view::npos ||
               std::any_of(prefixes.begin(), prefixes.end(),
                           [&](std::string_view prefix) { return Support::Text::startsWith(path, prefix); });
    };
    auto isOrEndsWithLabel = [&](std::string_view domain) {
        return Support::Text::equalsIgnoringASCIICase(host, domain) ||
               (host.size() > domain.size() && host[host.size() - domain.size() - 1] == '.' &&
                endsWithIgnoringCase(host, domain));
    };
    if (isOrEndsWithLabel(MeetingLinkExtractor::zoomDomain) ||
        isOrEndsWithLabel(MeetingLinkExtractor::zoomGovDomain)) {
        return pathStartsWithOneOf({"/j/", "/s/", "/w/", "/my/"});
    }
    if (Support::Text::equalsIgnoringASCIICase(host, MeetingLinkExtractor::teamsWorkHost) ||
        Support::Text::equalsIgnoringASCIICase(host, MeetingLinkExtractor::teamsHomeHost)) {
        return pathStartsWithOneOf({"/l/meetup-join/", "/meet/"});
    }
    static const std::string googleWWW = "www." + std::string(MeetingLinkExtractor::googleSearchHost);
    if (Support::Text::equalsIgnoringASCIICase(host, MeetingLinkExtractor::googleSearchHost) ||
        Support::Text::equalsIgnoringASCIICase(host, googleWWW)) {
        return pathStartsWithOneOf({"/url"});
    }
    return Support::Text::equalsIgnoringASCIICase(host, MeetingLinkExtractor::meetHost) ||
           endsWithIgnoringCase(host, MeetingLinkExtractor::safeLinksDomain);
}

/// The length of `text` without its trailing punctuation (see `trimmingTrailingPunctuation`).
std::size_t trimmedLength(std::string_view text) {
    // The counts are taken when a closing mark first ends the text, and kept up to date as characters go, so
    // that a long run of closing marks stays linear and a link without one is not counted at all.
    std::optional<std::ptrdiff_t> opening;
    std::ptrdiff_t closing = 0;
    std::optional<bool> hasOpeningBracket;
    std::size_t length = text.size();
    while (length > 0) {
        char last = text[length - 1];
        switch (last) {
        case '.':
        case ',':
        case ';':
        case ':':
        case '!':
        case '?':
        case '\'':
        case '"':
        case '>':
        case '*':
            --length;
            continue;
        case ')':
            if (!opening) {
                opening = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length), '(');
                closing = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length), ')');
            }
            if (*opening < closing) {
                --closing;
                --length;
                continue;
            }
            break;
        case ']':
            if (!hasOpeningBracket) {
                hasOpeningBracket = text.substr(0, length).find('[') != std::string_view::npos;
            }
            if (!*hasOpeningBracket) {
                --length;
                continue;
            }
            break;
        default:
            break;
        }
        break;
    }
    return length;
}

/// The URL inside Outlook's and Google's redirects (at most `maxRedirectRounds` deep), and in `host` its
/// host, lower-cased.
Support::Url unwrapped(const Support::Url& url, std::string& host) {
    Support::Url current = url;
    host = current.host();
    for (int round = 0; round < MeetingLinkExtractor::maxRedirectRounds && !host.empty(); ++round) {
        const char* wanted = nullptr;
        if (Support::Text::endsWith(host, MeetingLinkExtractor::safeLinksDomain)) {
            wanted = "url";
        } else if ((host == MeetingLinkExtractor::googleSearchHost ||
                    host == "www." + std::string(MeetingLinkExtractor::googleSearchHost)) &&
                   current.path() == "/url") {
            wanted = "q";
        } else {
            break;
        }
        auto value = current.queryValue(wanted);
        if (!value || value->empty()) {
            break;
        }
        auto inner = Support::Url::parse(*value);
        if (!inner) {
            break;
        }
        current = std::move(*inner);
        host = current.host();
    }
    return current;
}

std::optional<MeetingLink> classifyDetected(const DetectedLink& detected) {
    if (!mayBeMeetingLink(detected.text, detected.impliedScheme)) {
        return std::nullopt;
    }
    auto trimmed = detected.text.substr(0, trimmedLength(detected.text));
    if (trimmed.empty()) {
        return std::nullopt;
    }
    return detected.impliedScheme ? MeetingLinkExtractor::classify("http://" + std::string(trimmed))
                                  : MeetingLinkExtractor::classify(trimmed);
}

} // namespace

std::optional<MeetingLink> MeetingLinkExtractor::classify(const Support::Url& original) {
    std::string host;
    auto url = unwrapped(original, host);
    auto scheme = url.scheme();
    if (scheme != "https" && scheme != "http") {
        return std::nullopt;
    }
    if (host.empty()) {
        return std::nullopt;
    }
    if (auto link = classifyZoom(url, host)) {
        return link;
    }
    if (auto link = classifyTeams(url, host)) {
        return link;
    }
    return classifyMeet(url, host);
}

std::optional<MeetingLink> MeetingLinkExtractor::classify(std::string_view urlText) {
    auto url = Support::Url::parse(urlText);
    return url ? classify(*url) : std::nullopt;
}

std::vector<MeetingLinkExtractor::FoundLink> MeetingLinkExtractor::linksWithPositions(std::string_view text) {
    std::string storage;
    auto decoded = decodedEntities(text, storage);
    std::vector<FoundLink> found;
    // The sets of one call live in a buffer of their own: most notes need no allocation for them.
    std::array<std::byte, 16384> buffer;
    std::pmr::monotonic_buffer_resource arena(buffer.data(), buffer.size());
    std::pmr::unordered_set<std::string> known(&arena);
    auto keep = [&](std::optional<MeetingLink> link, std::size_t position) {
        if (link && known.insert(link->webURL.string()).second) {
            found.push_back(FoundLink{std::move(*link), position});
        }
    };
    // Invitations repeat their link (in the text and in the HTML, or "join" and "open in browser"); a text
    // seen before classifies the same, and its link is already known.
    std::pmr::unordered_set<std::string_view> seen[2] = {std::pmr::unordered_set<std::string_view>(&arena),
                                                         std::pmr::unordered_set<std::string_view>(&arena)};
    LinkDetector::forEachLink(decoded, [&](const DetectedLink& detected) {
        if (seen[detected.impliedScheme ? 1 : 0].insert(detected.text).second) {
            keep(classifyDetected(detected), detected.start);
        }
        return true;
    });
    forEachSchemelessMeet(decoded, [&](std::string_view match, std::size_t position) {
        // Usually the invitation's own link again: the text is then already a known web URL as it stands.
        auto candidate = "https://" + Support::Text::asciiLowercased(match);
        if (!known.count(candidate)) {
            keep(classify(candidate), position);
        }
        return true;
    });
    std::stable_sort(found.begin(), found.end(),
                     [](const FoundLink& a, const FoundLink& b) { return a.position < b.position; });
    return found;
}

std::vector<MeetingLink> MeetingLinkExtractor::links(std::string_view text) {
    std::vector<MeetingLink> out;
    for (auto& found : linksWithPositions(text)) {
        out.push_back(std::move(found.link));
    }
    return out;
}

std::optional<MeetingLink> MeetingLinkExtractor::firstLink(std::string_view text) {
    std::string storage;
    auto decoded = decodedEntities(text, storage);
    std::optional<FoundLink> first;
    LinkDetector::forEachLink(decoded, [&](const DetectedLink& detected) {
        if (auto link = classifyDetected(detected)) {
            first = FoundLink{std::move(*link), detected.start};
            return false;
        }
        return true;
    });
    // A scheme-less Meet link before the detector's first link wins.
    std::optional<MeetingLink> meet;
    forEachSchemelessMeet(decoded, [&](std::string_view match, std::size_t position) {
        if (!first || position < first->position) {
            meet = classify("https://" + Support::Text::asciiLowercased(match));
        }
        return false;
    });
    if (meet) {
        return meet;
    }
    return first ? std::optional<MeetingLink>(std::move(first->link)) : std::nullopt;
}

std::optional<MeetingLink> MeetingLinkExtractor::extract(const std::optional<Support::Url>& url,
                                                         const std::optional<std::string>& location,
                                                         const std::optional<std::string>& notes) {
    if (url) {
        if (auto link = classify(*url)) {
            return link;
        }
    }
    if (location && !location->empty()) {
        if (auto link = firstLink(*location)) {
            return link;
        }
    }
    if (notes) {
        return firstLink(*notes);
    }
    return std::nullopt;
}

Support::Url MeetingLinkExtractor::unwrapRedirect(const Support::Url& url) {
    std::string host;
    return unwrapped(url, host);
}

std::string MeetingLinkExtractor::trimmingTrailingPunctuation(std::string_view text) {
    return std::string(text.substr(0, trimmedLength(text)));
}

} // namespace UI
