#include "Support/Url.h"
#include "Support/Uuid.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <thread>

using Support::QueryItem;
using Support::Url;

TEST(Url, ParsesOnlyTextWithAScheme) {
    const char* accepted[] = {"https://zoom.us/j/1", "zoommtg://zoom.us/join?confno=1", "mailto:a@b.example",
                              "HTTPS://Example.COM", "msteams:/l/meetup-join/19%3a"};
    for (const char* text : accepted) {
        auto url = Url::parse(text);
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(url->string(), text);
    }
    const char* rejected[] = {
        "",          "zoom.us/j/1", "/relative/path", "//host/path", "https://exa mple.com",
        "not a url", "://missing",  "https://[::1",   "\xFF\xFE"};
    for (const char* text : rejected) {
        EXPECT_FALSE(Url::parse(text)) << text;
    }
}

TEST(Url, ReadsTheParts) {
    auto url =
        Url::parse("HTTPS://alice@Meet.Example.COM:8443/j/12%2034/?pwd=a+b%2Bc&flag&empty=#Top%20part");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "https");
    EXPECT_EQ(url->host(), "meet.example.com");
    EXPECT_EQ(url->port(), 8443);
    EXPECT_EQ(url->user(), "alice");
    EXPECT_EQ(url->path(), "/j/12 34/");
    EXPECT_EQ(url->encodedPath(), "/j/12%2034/");
    EXPECT_EQ(url->pathSegments(), (std::vector<std::string>{"j", "12 34"}));
    EXPECT_EQ(url->encodedQuery(), "pwd=a+b%2Bc&flag&empty=");
    EXPECT_EQ(url->queryItems(),
              (std::vector<QueryItem>{{"pwd", "a+b+c"}, {"flag", std::nullopt}, {"empty", ""}}));
    EXPECT_EQ(url->queryValue("pwd"), "a+b+c");
    EXPECT_EQ(url->queryValue("flag"), "");
    EXPECT_EQ(url->queryValue("PWD"), std::nullopt);
    EXPECT_EQ(url->fragment(), "Top part");
}

TEST(Url, DistinguishesMissingFromEmptyParts) {
    auto bare = Url::parse("https://example.com");
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->port(), std::nullopt);
    EXPECT_EQ(bare->encodedQuery(), std::nullopt);
    EXPECT_EQ(bare->fragment(), std::nullopt);
    EXPECT_TRUE(bare->queryItems().empty());
    EXPECT_EQ(bare->path(), "");
    auto empty = Url::parse("https://example.com/?#");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->encodedQuery(), "");
    EXPECT_EQ(empty->fragment(), "");
    EXPECT_TRUE(empty->queryItems().empty());
    EXPECT_TRUE(Url::parse("A:_A:__~~_:(__?#~")->queryItems().empty());
    EXPECT_EQ(Url::parse("x:y?a&&b=%3D=")->queryItems(),
              (std::vector<QueryItem>{{"a", std::nullopt}, {"b", "=="}}));
    auto mail = Url::parse("mailto:someone@example.com");
    ASSERT_TRUE(mail);
    EXPECT_EQ(mail->host(), "");
    EXPECT_EQ(mail->path(), "someone@example.com");
}

TEST(Url, GivesIPv6HostsWithoutBrackets) {
    auto url = Url::parse("http://[2001:DB8::1]:8080/x");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->host(), "2001:db8::1");
    EXPECT_EQ(url->port(), 8080);
    EXPECT_EQ(Url::parse("http://127.0.0.1/")->host(), "127.0.0.1");
}

TEST(Url, BuildsNewUrlsWithEncoding) {
    auto url = *Url::parse("https://zoom.us/j/1?pwd=x#frag");
    EXPECT_EQ(url.withScheme("zoommtg").string(), "zoommtg://zoom.us/j/1?pwd=x#frag");
    EXPECT_EQ(url.withHost("us02web.zoom.us").string(), "https://us02web.zoom.us/j/1?pwd=x#frag");
    EXPECT_EQ(url.withPath("/a b/c?d").string(), "https://zoom.us/a%20b/c%3Fd?pwd=x#frag");
    EXPECT_EQ(url.withPath("/a b/c?d").path(), "/a b/c?d");
    EXPECT_EQ(url.withoutQuery().string(), "https://zoom.us/j/1#frag");
    EXPECT_EQ(url.withoutFragment().string(), "https://zoom.us/j/1?pwd=x");
    auto withItems = url.withQueryItems({{"confno", "1"}, {"pwd", "a+b&c=d e"}, {"flag", std::nullopt}});
    EXPECT_EQ(withItems.string(), "https://zoom.us/j/1?confno=1&pwd=a%2Bb%26c%3Dd%20e&flag#frag");
    EXPECT_EQ(withItems.queryValue("pwd"), "a+b&c=d e");
    EXPECT_EQ(url.withQueryItems({}).encodedQuery(), std::nullopt);
    EXPECT_EQ(url.string(), "https://zoom.us/j/1?pwd=x#frag"); // the original is unchanged
    EXPECT_THROW(url.withScheme("1 bad"), std::invalid_argument);
}

TEST(Url, ReadsThePartsOfBuiltAndCopiedUrlsFromTheirOwnText) {
    // Parts are kept as positions in the text: an edit that moves them, and copies, must read the new text.
    auto url = *Url::parse("https://zoom.us/j/1?pwd=x#frag");
    auto longer = url.withHost("us02web.zoom.us").withScheme("zoommtg");
    EXPECT_EQ(longer.scheme(), "zoommtg");
    EXPECT_EQ(longer.host(), "us02web.zoom.us");
    EXPECT_EQ(longer.path(), "/j/1");
    EXPECT_EQ(longer.queryValue("pwd"), "x");
    EXPECT_EQ(longer.fragment(), "frag");
    auto shorter = url.withoutQuery().withPath("/x");
    EXPECT_EQ(shorter.path(), "/x");
    EXPECT_EQ(shorter.encodedQuery(), std::nullopt);
    EXPECT_EQ(shorter.fragment(), "frag");
    std::vector<Url> copies(3, *Url::parse("http://a.b:81/c?d=e#f"));
    copies.push_back(copies.front());
    for (const auto& copy : copies) {
        EXPECT_EQ(copy.host(), "a.b");
        EXPECT_EQ(copy.port(), 81);
        EXPECT_EQ(copy.queryValue("d"), "e");
    }
    EXPECT_EQ(Url::parse("https://Zoom%2Eus/j/1")->host(), "zoom.us");
    EXPECT_EQ(Url::parse("https://@zoom.us")->user(), "");
    EXPECT_EQ(Url::parse("https://zoom.us:/x")->port(), std::nullopt);
}

TEST(Url, PercentCodingKeepsPlusAndInvalidEscapes) {
    struct Case {
        const char* encoded;
        const char* decoded;
    } decodeCases[] = {
        {"a%20b", "a b"}, {"a+b", "a+b"}, {"%2b%2B", "++"},       {"100%", "100%"},
        {"%zz", "%zz"},   {"%4", "%4"},   {"%C3%A9", "\xC3\xA9"}, {"", ""},
    };
    for (const auto& c : decodeCases) {
        EXPECT_EQ(Support::percentDecoded(c.encoded), c.decoded) << c.encoded;
    }
    EXPECT_EQ(Support::percentEncoded("a b+c/\xC3\xA9~-._"), "a%20b%2Bc%2F%C3%A9~-._");
    const std::string binary("\xFF\x00x", 3);
    EXPECT_EQ(Support::percentEncoded(binary), "%FF%00x");
    EXPECT_EQ(Support::percentDecoded(Support::percentEncoded(binary)), binary);
}

TEST(Uuid, GeneratesDistinctUpperCaseVersionFourUuids) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        std::string id = Support::Uuid::generate();
        ASSERT_TRUE(Support::Uuid::isValid(id)) << id;
        EXPECT_EQ(id[14], '4') << id;
        EXPECT_EQ(id.find_first_of("abcdef"), std::string::npos) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
    std::string fromThread;
    std::thread([&] { fromThread = Support::Uuid::generate(); }).join();
    EXPECT_TRUE(Support::Uuid::isValid(fromThread));
}

TEST(Uuid, AcceptsOnlyTheHyphenatedHexForm) {
    EXPECT_TRUE(Support::Uuid::isValid("E621E1F8-C36C-495A-93FC-0C247A3E6E5F"));
    EXPECT_TRUE(Support::Uuid::isValid("e621e1f8-c36c-495a-93fc-0c247a3e6e5f"));
    const char* invalid[] = {"",
                             "E621E1F8C36C495A93FC0C247A3E6E5F",
                             "E621E1F8-C36C-495A-93FC-0C247A3E6E5",
                             "G621E1F8-C36C-495A-93FC-0C247A3E6E5F",
                             "{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}",
                             "E621E1F8-C36C-495A-93FC_0C247A3E6E5F"};
    for (const char* text : invalid) {
        EXPECT_FALSE(Support::Uuid::isValid(text)) << text;
    }
}
