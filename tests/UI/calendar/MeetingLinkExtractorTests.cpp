#include "UI/calendar/MeetingLinkExtractor.h"

#include <gtest/gtest.h>

#include <string>

using UI::MeetingLinkExtractor;
using UI::MeetingService;

namespace {

std::string web(const std::optional<UI::MeetingLink>& link) {
    return link ? link->webURL.string() : "none";
}
std::string native(const std::optional<UI::MeetingLink>& link) {
    return link && link->nativeURL ? link->nativeURL->string() : "none";
}

} // namespace

TEST(MeetingLinkExtractor, NormalisesARegionalZoomLinkAndBuildsItsAppLink) {
    auto link =
        MeetingLinkExtractor::classify("http://US02WEB.zoom.us/j/86512345678?pwd=abc&uname=x#success");
    ASSERT_TRUE(link);
    EXPECT_EQ(link->service, MeetingService::zoom);
    EXPECT_EQ(web(link), "https://us02web.zoom.us/j/86512345678?pwd=abc&uname=x");
    EXPECT_EQ(native(link), "zoommtg://us02web.zoom.us/join?action=join&confno=86512345678&pwd=abc");
}

TEST(MeetingLinkExtractor, CopiesOnlyNonEmptyPasswordAndTokenIntoTheZoomAppLink) {
    EXPECT_EQ(native(MeetingLinkExtractor::classify("https://zoom.us/j/123456789?tk=T1&pwd=")),
              "zoommtg://zoom.us/join?action=join&confno=123456789&tk=T1");
    EXPECT_EQ(native(MeetingLinkExtractor::classify("https://zoom.us/s/12345678901?tk=T&pwd=P")),
              "zoommtg://zoom.us/join?action=join&confno=12345678901&pwd=P&tk=T");
}

TEST(MeetingLinkExtractor, KeepsALinkAlreadyNormalAsWrittenAndEncodesThePasswordForTheApp) {
    struct Case {
        const char* url;
        const char* web;
        const char* native;
    } cases[] = {
        {"https://zoom.us/j/1234567890?pwd=a%2Bb%20c&x=1", "https://zoom.us/j/1234567890?pwd=a%2Bb%20c&x=1",
         "zoommtg://zoom.us/join?action=join&confno=1234567890&pwd=a%2Bb%20c"},
        {"https://zoom.us/j/1234567890?pwd=a+b#x", "https://zoom.us/j/1234567890?pwd=a+b",
         "zoommtg://zoom.us/join?action=join&confno=1234567890&pwd=a%2Bb"},
        {"https://meet.google.com/abc-defg-hij?authuser=0#x",
         "https://meet.google.com/abc-defg-hij?authuser=0", "none"},
        {"HTTPS://meet.google.com/abc-defg-hij", "https://meet.google.com/abc-defg-hij", "none"},
    };
    for (const auto& c : cases) {
        auto link = MeetingLinkExtractor::classify(c.url);
        EXPECT_EQ(web(link), c.web) << c.url;
        EXPECT_EQ(native(link), c.native) << c.url;
    }
}

TEST(MeetingLinkExtractor, AcceptsOnlyTheZoomPathsThatNameAMeeting) {
    struct Case {
        const char* url;
        bool accepted;
    } cases[] = {
        {"https://zoom.us/j/12345678", false},     // 8 digits
        {"https://zoom.us/j/123456789012", false}, // 12 digits
        {"https://zoom.us/j/123456789/", true},      {"https://zoom.us/w/1234567890", true},
        {"https://zoom.us/my/jane.doe", true},       {"https://zoom.us/meeting/123456789", false},
        {"https://zoomgov.com/j/1234567890", true},  {"https://agency.zoomgov.com/j/1234567890", true},
        {"https://a.b.zoom.us/j/1234567890", false}, // two subdomain labels
        {"https://notzoom.us/j/1234567890", false},  {"https://zoom.us.evil.com/j/1234567890", false},
        {"ftp://zoom.us/j/1234567890", false},       {"zoommtg://zoom.us/join?confno=1234567890", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MeetingLinkExtractor::classify(std::string(c.url)).has_value(), c.accepted) << c.url;
    }
}

TEST(MeetingLinkExtractor, GivesThePersonalRoomNoAppLink) {
    auto link = MeetingLinkExtractor::classify("https://zoom.us/my/jane.doe");
    ASSERT_TRUE(link);
    EXPECT_FALSE(link->nativeURL);
}

TEST(MeetingLinkExtractor, RecognisesTeamsMeetingsAndBuildsTheirAppLink) {
    auto link = MeetingLinkExtractor::classify(
        "https://teams.microsoft.com/l/meetup-join/19%3ameeting_abc%40thread.v2/0?context=%7b%22Tid%22%7d#x");
    ASSERT_TRUE(link);
    EXPECT_EQ(link->service, MeetingService::teams);
    EXPECT_EQ(native(link), "msteams:/l/meetup-join/19%3ameeting_abc%40thread.v2/0?context=%7b%22Tid%22%7d");
    EXPECT_EQ(web(MeetingLinkExtractor::classify("http://teams.live.com/meet/9876543")),
              "https://teams.live.com/meet/9876543");
    EXPECT_EQ(native(MeetingLinkExtractor::classify("https://teams.live.com/meet/9876543")),
              "msteams:/meet/9876543");
}

TEST(MeetingLinkExtractor, RejectsTeamsLinksThatNameNoMeeting) {
    for (const char* url :
         {"https://teams.microsoft.com/l/meetup-join/", "https://teams.microsoft.com/meet/abc",
          "https://teams.microsoft.com/l/channel/19%3a", "https://www.teams.microsoft.com/meet/1"}) {
        EXPECT_FALSE(MeetingLinkExtractor::classify(std::string(url))) << url;
    }
}

TEST(MeetingLinkExtractor, LowerCasesTheMeetCodeAndDropsTheFragment) {
    auto link = MeetingLinkExtractor::classify("https://MEET.google.com/ABC-defg-HIJ?authuser=1#frag");
    ASSERT_TRUE(link);
    EXPECT_EQ(link->service, MeetingService::meet);
    EXPECT_EQ(web(link), "https://meet.google.com/abc-defg-hij?authuser=1");
    EXPECT_FALSE(link->nativeURL);
    EXPECT_FALSE(MeetingLinkExtractor::classify("https://meet.google.com/abc-defg-hijk"));
    EXPECT_FALSE(MeetingLinkExtractor::classify("https://meet.google.com/lookup/abc"));
}

TEST(MeetingLinkExtractor, UnwrapsASafeLinksRedirectToTheZoomLink) {
    auto link = MeetingLinkExtractor::classify(
        "https://nam12.safelinks.protection.outlook.com/?url=https%3A%2F%2Fzoom.us%2Fj%2F1234567890%3Fpwd%3Dx"
        "&data=05%7C01&reserved=0");
    ASSERT_TRUE(link);
    EXPECT_EQ(web(link), "https://zoom.us/j/1234567890?pwd=x");
}

TEST(MeetingLinkExtractor, UnwrapsAtMostThreeLevelsOfRedirects) {
    std::string zoom = "https://zoom.us/j/1234567890";
    auto wrapSafe = [](const std::string& inner) {
        return "https://eur01.safelinks.protection.outlook.com/?url=" + Support::percentEncoded(inner);
    };
    auto wrapGoogle = [](const std::string& inner) {
        return "https://www.google.com/url?q=" + Support::percentEncoded(inner) + "&sa=D";
    };
    std::string two = wrapSafe(wrapGoogle(zoom));
    EXPECT_EQ(MeetingLinkExtractor::unwrapRedirect(*Support::Url::parse(two)).string(), zoom);
    EXPECT_TRUE(MeetingLinkExtractor::classify(two));
    std::string three = wrapGoogle(two);
    EXPECT_TRUE(MeetingLinkExtractor::classify(three));
    std::string four = wrapSafe(three);
    EXPECT_FALSE(MeetingLinkExtractor::classify(four));
}

TEST(MeetingLinkExtractor, StopsUnwrappingAtARedirectWithoutAUsableTarget) {
    for (const char* url :
         {"https://google.com/url?sa=D", "https://google.com/search?q=https://zoom.us/j/1234567890",
          "https://x.safelinks.protection.outlook.com/?url=", "https://google.com/url?q=not%20a%20url"}) {
        auto parsed = Support::Url::parse(url);
        ASSERT_TRUE(parsed) << url;
        EXPECT_EQ(MeetingLinkExtractor::unwrapRedirect(*parsed).string(), url);
    }
}

TEST(MeetingLinkExtractor, TrimsSentencePunctuationButKeepsBalancedBrackets) {
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        {"https://zoom.us/j/123456789).", "https://zoom.us/j/123456789"},
        {"https://en.wikipedia.org/wiki/a_(b)", "https://en.wikipedia.org/wiki/a_(b)"},
        {"https://x.org/a_(b)).", "https://x.org/a_(b)"},
        {"https://x.org/a]", "https://x.org/a"},
        {"https://x.org/[a]", "https://x.org/[a]"},
        {"https://x.org/a?!'\",;:*>", "https://x.org/a"},
        {"...", ""},
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MeetingLinkExtractor::trimmingTrailingPunctuation(c.in), c.out) << c.in;
    }
}

TEST(MeetingLinkExtractor, FindsLinksInNotesInOrderOfAppearanceAndOnlyOnce) {
    std::string notes =
        "Agenda first.\nJoin: https://zoom.us/j/1234567890?pwd=a.\n"
        "Backup: meet.google.com/abc-defg-hij, or (https://teams.microsoft.com/meet/123?p=x).\n"
        "Again: https://zoom.us/j/1234567890?pwd=a\n";
    auto found = MeetingLinkExtractor::linksWithPositions(notes);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(web(found[0].link), "https://zoom.us/j/1234567890?pwd=a");
    EXPECT_EQ(found[0].position, notes.find("https://zoom"));
    EXPECT_EQ(web(found[1].link), "https://meet.google.com/abc-defg-hij");
    EXPECT_EQ(web(found[2].link), "https://teams.microsoft.com/meet/123?p=x");
}

TEST(MeetingLinkExtractor, FindsASchemelessMeetLinkOnlyWhenItStandsAlone) {
    EXPECT_EQ(MeetingLinkExtractor::links("Join at meet.google.com/abc-defg-hij today").size(), 1u);
    EXPECT_EQ(MeetingLinkExtractor::links("Join at xmeet.google.com/abc-defg-hij today").size(), 0u);
    EXPECT_EQ(MeetingLinkExtractor::links("Join at meet.google.com/abc-defg-hijk today").size(), 0u);
    EXPECT_EQ(MeetingLinkExtractor::links("Join: MEET.GOOGLE.COM/ABC-DEFG-HIJ").size(), 1u);
}

TEST(MeetingLinkExtractor, FindsASchemelessMeetLinkAtTheEdgesOfTheText) {
    struct Case {
        std::string text;
        std::size_t found;
    };
    const std::vector<Case> cases = {
        {"meet.google.com/abc-defg-hij", 1},
        {"(meet.google.com/abc-defg-hij)", 1},
        {"/meet.google.com/abc-defg-hij", 0},
        {"meet.google.com/abc-defg-hij-", 0},
        {"meet.google.com/abc-defg-hi", 0},
        {"meet.google.com/abc-defg-hij meet.google.com/xyz-abcd-efg", 2},
        {"see meet.google.com/abc-defg-hij and again meet.google.com/abc-defg-hij", 1},
        {"meet.google.com.meet.google.com/abc-defg-hij", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MeetingLinkExtractor::links(c.text).size(), c.found) << c.text;
    }
    auto found = MeetingLinkExtractor::linksWithPositions("x meet.google.com/abc-defg-hij");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].position, 2u);
}

TEST(MeetingLinkExtractor, ReadsPercentEncodedPathsOfTheServicesInFull) {
    // A quick look at the path spares the parse of links that cannot be meetings; an encoded path must
    // still be decoded and matched.
    EXPECT_EQ(MeetingLinkExtractor::links("https://zoom.us/%6A/1234567890").size(), 1u);
    EXPECT_EQ(MeetingLinkExtractor::links("https://teams.microsoft.com/%6C/meetup-join/x").size(), 1u);
    EXPECT_EQ(
        MeetingLinkExtractor::links("https://zoom.us/u/abcdef https://teams.microsoft.com/meetingOptions/"
                                    " https://www.google.com/search?q=https://zoom.us/j/1234567890")
            .size(),
        0u);
    EXPECT_EQ(MeetingLinkExtractor::links("(https://zoom.us/j/1234567890).").size(), 1u);
}

TEST(MeetingLinkExtractor, DecodesEntitiesInTheirOrder) {
    // "&amp;lt;" is first "&lt;", then "<": the link ends there. "&amp;amp;" is decoded once only.
    auto links =
        MeetingLinkExtractor::links("&amp;lt;https://zoom.us/j/1234567890?pwd=a&amp;amp;tk=b&amp;gt;");
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(web(links[0]), "https://zoom.us/j/1234567890?pwd=a&amp;tk=b");
}

TEST(MeetingLinkExtractor, DecodesEntitiesOfHtmlNotesBeforeSearching) {
    auto links =
        MeetingLinkExtractor::links("<a href=\"https://zoom.us/j/1234567890?pwd=a&amp;tk=b\">Join</a> "
                                    "&lt;https://meet.google.com/abc-defg-hij&gt;");
    ASSERT_EQ(links.size(), 2u);
    EXPECT_EQ(web(links[0]), "https://zoom.us/j/1234567890?pwd=a&tk=b");
    EXPECT_EQ(native(links[0]), "zoommtg://zoom.us/join?action=join&confno=1234567890&pwd=a&tk=b");
    EXPECT_EQ(web(links[1]), "https://meet.google.com/abc-defg-hij");
}

TEST(MeetingLinkExtractor, PrefersTheEventUrlThenTheLocationThenTheNotes) {
    auto zoom = Support::Url::parse("https://zoom.us/j/1234567890");
    std::optional<std::string> location = "Room 4 / https://meet.google.com/abc-defg-hij";
    std::optional<std::string> notes = "https://teams.microsoft.com/meet/42";
    EXPECT_EQ(MeetingLinkExtractor::extract(zoom, location, notes)->service, MeetingService::zoom);
    EXPECT_EQ(
        MeetingLinkExtractor::extract(Support::Url::parse("https://example.com/x"), location, notes)->service,
        MeetingService::meet);
    EXPECT_EQ(MeetingLinkExtractor::extract(std::nullopt, std::string(""), notes)->service,
              MeetingService::teams);
    EXPECT_FALSE(MeetingLinkExtractor::extract(std::nullopt, std::nullopt, std::string("no link here")));
}
