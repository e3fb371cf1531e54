#include "UI/aiapps/MCPConfigMerger.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using UI::MCPConfigMergeError;
using UI::MCPConfigMerger;
using UI::MCPEntryStyle;
using json = nlohmann::json;

namespace {

MCPConfigMergeError refusal(const std::function<void()>& f) {
    try {
        f();
    } catch (const MCPConfigMergeError& e) {
        return e;
    }
    ADD_FAILURE() << "expected a refusal";
    return MCPConfigMergeError::malformed();
}

std::string add(std::optional<std::string_view> data, MCPEntryStyle style = MCPEntryStyle::command,
                std::string_view rootKey = "mcpServers") {
    return MCPConfigMerger::upserting("/opt/vellmora/bin/vellmora-mcp", style, rootKey, data);
}

} // namespace

TEST(MCPConfigMergeError, DescriptionsAreTheSentencesTheUserReads) {
    EXPECT_EQ(
        MCPConfigMergeError::malformed().description(),
        "The file isn't plain JSON (it may have comments), so Vellmora left it alone. Add Vellmora to it by "
        "hand.");
    EXPECT_EQ(
        MCPConfigMergeError::unexpectedShape("mcpServers").description(),
        "The \"mcpServers\" in the file isn't what Vellmora expects, so Vellmora left it alone. Add Vellmora "
        "to it by hand.");
}

TEST(MCPConfigMerger, MissingOrBlankFilesBecomeAFreshDocumentWithOurEntry) {
    const std::string fresh = "{\n"
                              "  \"mcpServers\": {\n"
                              "    \"vellmora\": {\n"
                              "      \"command\": \"/opt/vellmora/bin/vellmora-mcp\"\n"
                              "    }\n"
                              "  }\n"
                              "}\n";
    EXPECT_EQ(add(std::nullopt), fresh);
    EXPECT_EQ(add(""), fresh);
    EXPECT_EQ(add(" \t\r\n\n"), fresh);
}

TEST(MCPConfigMerger, StdioStyleWritesTheTypeBeforeTheCommand) {
    auto out = add(std::nullopt, MCPEntryStyle::stdio, "servers");
    EXPECT_EQ(out, "{\n  \"servers\": {\n    \"vellmora\": {\n      \"type\": \"stdio\",\n      \"command\": "
                   "\"/opt/vellmora/bin/vellmora-mcp\"\n    }\n  }\n}\n");
}

TEST(MCPConfigMerger, RefusesWhatItCannotReadExactly) {
    struct Case {
        const char* name;
        std::string_view text;
        MCPConfigMergeError expected;
    };
    const Case cases[] = {
        {"line comment", "{\n  // mine\n  \"a\": 1\n}", MCPConfigMergeError::malformed()},
        {"block comment", "{ /* x */ \"a\": 1 }", MCPConfigMergeError::malformed()},
        {"trailing comma in object", "{\"a\": 1,}", MCPConfigMergeError::malformed()},
        {"trailing comma in array", "{\"a\": [1,]}", MCPConfigMergeError::malformed()},
        {"single quotes", "{'a': 1}", MCPConfigMergeError::malformed()},
        {"NaN", "{\"a\": NaN}", MCPConfigMergeError::malformed()},
        {"two documents", "{} {}", MCPConfigMergeError::malformed()},
        {"text after a NUL byte", std::string_view("{}\0{", 4), MCPConfigMergeError::malformed()},
        {"invalid UTF-8", "{\"a\": \"\xC3\x28\"}", MCPConfigMergeError::malformed()},
        {"truncated", "{\"mcpServers\": {", MCPConfigMergeError::malformed()},
        {"top-level array", "[{\"mcpServers\": {}}]", MCPConfigMergeError::unexpectedShape("top level")},
        {"top-level string", "\"x\"", MCPConfigMergeError::unexpectedShape("top level")},
        {"root key is a string", "{\"mcpServers\": \"none\"}",
         MCPConfigMergeError::unexpectedShape("mcpServers")},
        {"root key is null", "{\"mcpServers\": null}", MCPConfigMergeError::unexpectedShape("mcpServers")},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(refusal([&] { add(c.text); }), c.expected) << c.name;
    }
    EXPECT_EQ(refusal([] { MCPConfigMerger::removing("mcpServers", "[1]"); }),
              MCPConfigMergeError::unexpectedShape("top level"));
    EXPECT_EQ(refusal([] { MCPConfigMerger::removing("mcpServers", "{,}"); }),
              MCPConfigMergeError::malformed());
}

TEST(MCPConfigMerger, KeepsOrderAndTheExactTextOfEveryNumberAndStringItDidNotChange) {
    const std::string original = R"({"zeta": 1.10, "big": 18446744073709551617, "exp": 1E+300, "neg": -0.0,
"esc": "caf\u00e9 \/ \"q\" \ud83d\ude00", "utf": "café",
"mcpServers": {"other": {"command": "x", "args": ["--port", 8080.50]}},
"alpha": [true, false, null, {}, []]})";
    auto out = add(original);
    for (const char* piece : {"1.10", "18446744073709551617", "1E+300", "-0.0",
                              R"("caf\u00e9 \/ \"q\" \ud83d\ude00")", "\"café\"", "8080.50"}) {
        EXPECT_NE(out.find(piece), std::string::npos) << piece;
    }
    EXPECT_LT(out.find("\"zeta\""), out.find("\"big\""));
    EXPECT_LT(out.find("\"esc\""), out.find("\"mcpServers\""));
    EXPECT_LT(out.find("\"mcpServers\""), out.find("\"alpha\""));
    EXPECT_LT(out.find("\"other\""), out.find("\"vellmora\""));

    auto before = json::parse(original);
    auto after = json::parse(out);
    before["mcpServers"]["vellmora"] = {{"command", "/opt/vellmora/bin/vellmora-mcp"}};
    EXPECT_EQ(after, before);
}

TEST(MCPConfigMerger, FollowsTheFilesIndentationAndLineEnds) {
    auto tabs = add("{\n\t\"a\": {\n\t\t\"b\": 1\n\t}\n}\n");
    EXPECT_NE(tabs.find("\n\t\"a\": {\n\t\t\"b\": 1\n\t},\n\t\"mcpServers\""), std::string::npos) << tabs;
    auto four = add("{\r\n    \"a\": 1\r\n}");
    EXPECT_EQ(four, "{\r\n    \"a\": 1,\r\n    \"mcpServers\": {\r\n        \"vellmora\": {\r\n            "
                    "\"command\": \"/opt/vellmora/bin/vellmora-mcp\"\r\n        }\r\n    }\r\n}");
    auto bom = add("\xEF\xBB\xBF{}");
    EXPECT_TRUE(bom.starts_with("\xEF\xBB\xBF{\n  \"mcpServers\"")) << bom;
}

TEST(MCPConfigMerger, UpdatesAnExistingEntryKeepingTheUsersOwnKeysButDroppingArgs) {
    const std::string original =
        R"({"mcpServers": {"vellmora": {"command": "/old", "args": ["x"], "env": {"A": "1"}}}})";
    auto after = json::parse(add(original));
    EXPECT_EQ(after["mcpServers"]["vellmora"],
              json({{"command", "/opt/vellmora/bin/vellmora-mcp"}, {"env", {{"A", "1"}}}}));

    auto replaced = json::parse(add(R"({"mcpServers": {"vellmora": "broken"}})"));
    EXPECT_EQ(replaced["mcpServers"]["vellmora"], json({{"command", "/opt/vellmora/bin/vellmora-mcp"}}));
}

TEST(MCPConfigMerger, ReturnsTheFileItselfWhenTheEntryIsAlreadyRight) {
    const std::string handWritten = "{ \"mcpServers\" : { \"vellmora\" : { \"command\" : "
                                    "\"\\/opt\\/vellmora\\/bin\\/vellmora-mcp\", \"env\": {} } } }";
    EXPECT_EQ(add(handWritten), handWritten);
    auto once = add("{\"a\": 1}");
    EXPECT_EQ(add(once), once);
    // The stdio style also needs the type.
    EXPECT_NE(add(once, MCPEntryStyle::stdio), once);
}

TEST(MCPConfigMerger, TheLastOfTwoEqualKeysIsTheOneThatCounts) {
    auto out = add(R"({"mcpServers": {"a": 1}, "mcpServers": {"b": 2}})");
    auto second = out.rfind("\"mcpServers\"");
    EXPECT_NE(out.find("\"vellmora\"", second), std::string::npos) << out;
    EXPECT_EQ(out.find("\"vellmora\""), out.rfind("\"vellmora\""));
    EXPECT_EQ(MCPConfigMerger::command(R"({"mcpServers": {"vellmora": {"command": "a", "command": "b"}}})",
                                       "mcpServers"),
              "b");
}

TEST(MCPConfigMerger, RemovingTakesOutOnlyOurEntry) {
    EXPECT_EQ(MCPConfigMerger::removing("mcpServers", std::nullopt), std::nullopt);
    EXPECT_EQ(MCPConfigMerger::removing("mcpServers", "  \n"), std::nullopt);
    EXPECT_EQ(MCPConfigMerger::removing("mcpServers", "{}"), std::nullopt);
    EXPECT_EQ(MCPConfigMerger::removing("mcpServers", R"({"mcpServers": 3})"), std::nullopt);
    EXPECT_EQ(MCPConfigMerger::removing("mcpServers", R"({"mcpServers": {"other": {}}})"), std::nullopt);

    auto onlyOurs =
        MCPConfigMerger::removing("mcpServers", R"({"mcpServers": {"vellmora": {"command": "x"}}})");
    ASSERT_TRUE(onlyOurs);
    EXPECT_EQ(*onlyOurs, "{\n  \"mcpServers\": {}\n}");

    auto both = MCPConfigMerger::removing(
        "servers",
        R"({"servers": {"vellmora": {}, "keep": {"command": 1.50}, "vellmora": {"command": "y"}}})");
    ASSERT_TRUE(both);
    EXPECT_EQ(*both, "{\n  \"servers\": {\n    \"keep\": {\n      \"command\": 1.50\n    }\n  }\n}");
}

TEST(MCPConfigMerger, ReadsTheConnectedCommandOrNothing) {
    struct Case {
        const char* text;
        std::optional<std::string> expected;
    };
    const Case cases[] = {
        {R"({"mcpServers": {"vellmora": {"command": "\/a\u0020b"}}})", "/a b"},
        {R"({"mcpServers": {"vellmora": {"command": 5}}})", std::nullopt},
        {R"({"mcpServers": {"vellmora": "x"}})", std::nullopt},
        {R"({"servers": {"vellmora": {"command": "x"}}})", std::nullopt},
        {R"({"mcpServers": [] })", std::nullopt},
        {"// comment\n{}", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MCPConfigMerger::command(c.text, "mcpServers"), c.expected) << c.text;
    }
}

TEST(MCPConfigMerger, SnippetIsSevenLinesUnderMcpServersWithSlashesLeftAlone) {
    EXPECT_EQ(
        MCPConfigMerger::snippet("/Apps/Vell \"mora\"/mcp"),
        "{\n  \"mcpServers\": {\n    \"vellmora\": {\n      \"command\": \"/Apps/Vell \\\"mora\\\"/mcp\"\n"
        "    }\n  }\n}");
}

TEST(MCPConfigMerger, BlankMeansOnlySpacesTabsAndLineEnds) {
    EXPECT_TRUE(MCPConfigMerger::isBlank(""));
    EXPECT_TRUE(MCPConfigMerger::isBlank(" \t\r\n"));
    EXPECT_FALSE(MCPConfigMerger::isBlank("\f"));
    EXPECT_FALSE(MCPConfigMerger::isBlank(" {}"));
}

TEST(MCPConfigMerger, RefusesNestingDeeperThanASettingsFileEverNeeds) {
    std::string deep = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
    EXPECT_EQ(refusal([&] { add(deep); }), MCPConfigMergeError::malformed());
    std::string fine = "{\"a\":" + std::string(200, '[') + std::string(200, ']') + "}";
    EXPECT_NO_THROW(add(fine));
}

TEST(MCPConfigMerger, KeepsNumbersBeyondTheRangeOfADouble) {
    const std::string huge = "-" + std::string(400, '9');
    auto out = add("{\"a\": 1E+400, \"b\": [" + huge + ", 2.5e-999], \"c\": -1e99999}");
    for (const std::string& piece :
         {std::string("1E+400"), huge, std::string("2.5e-999"), std::string("-1e99999")}) {
        EXPECT_NE(out.find(piece), std::string::npos) << piece;
    }
    EXPECT_EQ(out.find("0.0"), std::string::npos);
}

TEST(MCPConfigMerger, KeepsTheExactTextOfStringsEndingInEscapesAsKeysAndAsValues) {
    // Each literal's end is found after the parser has decoded it: a quote after an odd run of backslashes
    // is inside the string, after an even run it closes it. Long literals cross the parser's 16-byte blocks.
    const std::string padding(37, 'p');
    const std::string literals[] = {
        R"("a\\")",
        R"("\\\\")",
        R"("\"")",
        R"("x\\\"y")",
        R"("")",
        "\"" + padding + R"(\\")",
        "\"" + padding + R"(\"\\\"\u0041")",
        R"("\u00e9\/\b\f\n\r\t")",
    };
    for (const auto& literal : literals) {
        for (const std::string& doc : {"{" + literal + ": " + literal + ", \"n\": 1.50}",
                                       "{\"list\": [" + literal + "," + literal + ",true,-2E3]}"}) {
            SCOPED_TRACE(doc);
            auto out = add(doc);
            auto first = out.find(literal);
            ASSERT_NE(first, std::string::npos) << out;
            EXPECT_NE(out.find(literal, first + literal.size()), std::string::npos) << out;
            auto before = json::parse(doc);
            auto after = json::parse(out);
            after.erase("mcpServers");
            EXPECT_EQ(after, before);
        }
    }
}

TEST(MCPConfigMerger, RefusesEveryControlCharacterInAStringWhereverItFalls) {
    // Found by fuzzing: the parser's vectorised string scan missed 0x1A to 0x1F, so such a file was accepted
    // and then written out as JSON no reader accepts.
    const std::string padding(40, 'p');
    for (std::size_t at = 0; at <= padding.size(); ++at) {
        for (char control : {'\x01', '\x19', '\x1a', '\x1f'}) {
            std::string value = padding;
            value.insert(at, 1, control);
            EXPECT_EQ(refusal([&] { add("{\"a\": \"" + value + "\"}"); }), MCPConfigMergeError::malformed())
                << at << " " << int(control);
        }
    }
    EXPECT_NO_THROW(add("{\"a\":\t\"x\",\r\n\"b\": 1}"));
}
