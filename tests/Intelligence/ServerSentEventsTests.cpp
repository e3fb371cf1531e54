#include "Intelligence/ServerSentEvents.h"

#include <gtest/gtest.h>

#include <stdexcept>

using Intelligence::ServerSentEvent;
using Intelligence::ServerSentEventParser;

namespace {

std::vector<ServerSentEvent> parseInPieces(const std::string& body, size_t cut) {
    ServerSentEventParser parser;
    auto events = parser.feed(body.substr(0, cut));
    auto rest = parser.feed(body.substr(cut));
    events.insert(events.end(), rest.begin(), rest.end());
    auto tail = parser.finish();
    events.insert(events.end(), tail.begin(), tail.end());
    return events;
}

} // namespace

TEST(ServerSentEventParser, GivesTheSameEventsWhereverTheBodyIsSplit) {
    const std::string body = ": keep-alive\r\n"
                             "event: delta\r\n"
                             "data: {\"a\":1}\r\n"
                             "\r\n"
                             "data:first line\n"
                             "data: second line\n"
                             "id: 7\n"
                             "\n"
                             "data: cr only\r\r"
                             "retry: 100\n"
                             "data\n\n"
                             "data: [DONE]\n\n";
    const std::vector<ServerSentEvent> expected = {
        {"delta", "{\"a\":1}", ""}, {"", "first line\nsecond line", "7"}, {"", "cr only", "7"}, {"", "", "7"},
        {"", "[DONE]", "7"},
    };
    for (size_t cut = 0; cut <= body.size(); ++cut) {
        ASSERT_EQ(parseInPieces(body, cut), expected) << "split at " << cut;
    }
}

TEST(ServerSentEventParser, DispatchesALastEventThatTheServerDidNotCloseWithABlankLine) {
    ServerSentEventParser parser;
    EXPECT_TRUE(parser.feed("data: one\n\ndata: two").size() == 1);
    EXPECT_EQ(parser.finish(), (std::vector<ServerSentEvent>{{"", "two", ""}}));
    EXPECT_TRUE(parser.finish().empty());
}

TEST(ServerSentEventParser, DropsEventsWithoutDataAndComments) {
    ServerSentEventParser parser;
    EXPECT_TRUE(parser.feed(": ping\n\nevent: nothing\n\n").empty());
}

TEST(ServerSentEventParser, RefusesALineThatNeverEnds) {
    ServerSentEventParser parser;
    const std::string piece(1024 * 1024, 'x');
    EXPECT_THROW(
        {
            for (int i = 0; i < 10; ++i) {
                parser.feed(piece);
            }
        },
        std::length_error);
}
