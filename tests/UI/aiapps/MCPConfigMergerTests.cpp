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
        {"unknown escape", R"({"a": "\x41"})", MCPConfigMergeError::malformed()},
        {"short unicode escape", R"({"a": "\u00e"})", MCPConfigMergeError::malformed()},
        {"high surrogate alone", R"({"a": "\ud83d"})", MCPConfigMergeError::malformed()},
        {"high surrogate before a non-surrogate", R"({"a": "\ud83d\u0041"})",
         MCPConfigMergeError::malformed()},
        {"leading zero", "{\"a\": 01}", MCPConfigMergeError::malformed()},
        {"fraction without digits", "{\"a\": 1.}", MCPConfigMergeError::malformed()},
        {"lone minus", "{\"a\": -}", MCPConfigMergeError::malformed()},
        {"leading dot", "{\"a\": .5}", MCPConfigMergeError::malformed()},
        {"exponent without digits", "{\"a\": 1e+}", MCPConfigMergeError::malformed()},
        {"plus sign", "{\"a\": +1}", MCPConfigMergeError::malformed()},
        {"huge number with a second exponent", "{\"a\": 1E400E5}", MCPConfigMergeError::malformed()},
        {"cut-off literal", "{\"a\": tru}", MCPConfigMergeError::malformed()},
        {"capitalised literal", "{\"a\": Null}", MCPConfigMergeError::malformed()},
        {"key without a colon", "{\"a\" 1}", MCPConfigMergeError::malformed()},
        {"number as a key", "{1: 2}", MCPConfigMergeError::malformed()},
        {"missing comma", "{\"a\": 1 \"b\": 2}", MCPConfigMergeError::malformed()},
        {"unclosed string", "{\"a\": \"x}", MCPConfigMergeError::malformed()},
        {"form feed between tokens", "{\f}", MCPConfigMergeError::malformed()},
        {"byte-order mark and blanks only", "\xEF\xBB\xBF \n", MCPConfigMergeError::malformed()},
        {"byte above 0x7F outside a string", "{\"a\": 1\xC3\xA9}", MCPConfigMergeError::malformed()},
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

TEST(MCPConfigMerger, ReadsEveryFormOfStandardJsonAndKeepsItsText) {
    // A lone low surrogate is read as the apps' own readers do (only a high one must be followed by a low).
    const std::string literals[] = {
        "0",
        "-0",
        "0e0",
        "1E-7",
        "1e+5",
        "-12.5E+3",
        "true",
        "false",
        "null",
        R"("\udc00")",
        R"("\uD83D\uDE00")",
        R"("\"\\\/\b\f\n\r\t")",
        "[]",
        "{}",
        "\"\xF0\x9F\x98\x80\"",
    };
    for (const auto& literal : literals) {
        SCOPED_TRACE(literal);
        auto out = add("{\"v\":" + literal + ",\"w\":[" + literal + "]}");
        EXPECT_NE(out.find("\"v\": " + literal + ",\n"), std::string::npos) << out;
        EXPECT_EQ(MCPConfigMerger::command(out, "mcpServers"), "/opt/vellmora/bin/vellmora-mcp");
    }
    EXPECT_EQ(json::parse(add("{\"v\":[[[]]],\"\":{\"\":\"\"}}"))[""], json({{"", ""}}));
}

TEST(MCPConfigMerger, ReplacesAnEntryInTheMiddleOfTheServersKeepingItsNeighboursExactly) {
    const std::string original =
        R"({"mcpServers": {"a": {"command": "\u0041\\\"\/"}, )"
        R"("vellmora": {"command": "/old", "args": [1], "env": {"K": "v\/"}, "args": 2}, )"
        R"("z": 1.10}, "after": -0.0})";
    EXPECT_EQ(add(original), "{\n"
                             "  \"mcpServers\": {\n"
                             "    \"a\": {\n"
                             "      \"command\": \"\\u0041\\\\\\\"\\/\"\n"
                             "    },\n"
                             "    \"vellmora\": {\n"
                             "      \"command\": \"/opt/vellmora/bin/vellmora-mcp\",\n"
                             "      \"env\": {\n"
                             "        \"K\": \"v\\/\"\n"
                             "      }\n"
                             "    },\n"
                             "    \"z\": 1.10\n"
                             "  },\n"
                             "  \"after\": -0.0\n"
                             "}");
    // The stdio style adds the type after the keys already there.
    auto stdio = add(original, MCPEntryStyle::stdio);
    EXPECT_NE(stdio.find("\"env\": {\n        \"K\": \"v\\/\"\n      },\n      \"type\": \"stdio\"\n    },\n"
                         "    \"z\": 1.10"),
              std::string::npos)
        << stdio;
}

TEST(MCPConfigMerger, AddsTheRootKeyOrTheEntryWhereverTheyAreMissing) {
    struct Case {
        const char* name;
        std::string_view original;
        std::string_view expected;
    };
    const Case cases[] = {
        {"empty document", "{}",
         "{\n  \"mcpServers\": {\n    \"vellmora\": {\n      \"command\": "
         "\"/opt/vellmora/bin/vellmora-mcp\"\n"
         "    }\n  }\n}"},
        {"root key missing", "{\"theme\": \"dark\", \"n\": [1.10, {}]}\n",
         "{\n  \"theme\": \"dark\",\n  \"n\": [\n    1.10,\n    {}\n  ],\n  \"mcpServers\": {\n    "
         "\"vellmora\": "
         "{\n      \"command\": \"/opt/vellmora/bin/vellmora-mcp\"\n    }\n  }\n}\n"},
        {"empty servers", "{\"mcpServers\": {}, \"z\": 2}",
         "{\n  \"mcpServers\": {\n    \"vellmora\": {\n      \"command\": "
         "\"/opt/vellmora/bin/vellmora-mcp\"\n"
         "    }\n  },\n  \"z\": 2\n}"},
        {"entry is not an object", "{\"mcpServers\": {\"vellmora\": [1], \"b\": {}}}",
         "{\n  \"mcpServers\": {\n    \"vellmora\": {\n      \"command\": "
         "\"/opt/vellmora/bin/vellmora-mcp\"\n"
         "    },\n    \"b\": {}\n  }\n}"},
        {"entry is an empty object", "{\"mcpServers\": {\"vellmora\": {}}}",
         "{\n  \"mcpServers\": {\n    \"vellmora\": {\n      \"command\": "
         "\"/opt/vellmora/bin/vellmora-mcp\"\n"
         "    }\n  }\n}"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(add(c.original), c.expected) << c.name;
    }
}

TEST(MCPConfigMerger, RemovingFromTheMiddleKeepsTheNeighboursAndTheirSeparators) {
    struct Case {
        std::string_view original;
        std::string_view expected;
    };
    const Case cases[] = {
        {R"({"mcpServers": {"a": "\/", "vellmora": {"x": [1]}, "b": 2E3}})",
         "{\n  \"mcpServers\": {\n    \"a\": \"\\/\",\n    \"b\": 2E3\n  }\n}"},
        {R"({"mcpServers": {"vellmora": 1, "b": 2}})", "{\n  \"mcpServers\": {\n    \"b\": 2\n  }\n}"},
        {R"({"mcpServers": {"a": 1, "vellmora": 1}})", "{\n  \"mcpServers\": {\n    \"a\": 1\n  }\n}"},
        {R"({"mcpServers": {"vellmora": 1, "vellmora": 2}, "t": true})",
         "{\n  \"mcpServers\": {},\n  \"t\": true\n}"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MCPConfigMerger::removing("mcpServers", c.original), std::string(c.expected)) << c.original;
    }
}

TEST(MCPConfigEdit, WritesALargeFileInPiecesThatMakeUpExactlyTheWholeText) {
    std::string original = "{\"mcpServers\": {\"a\": {}}, \"list\": [";
    for (int i = 0; i < 60000; ++i) {
        original +=
            (i ? "," : "") + std::string("{\"s\": \"caf\\u00e9 ") + std::to_string(i) + "\", \"n\": 1.10}";
    }
    original += "]}";
    const auto edit = MCPConfigMerger::upsertEdit("/opt/vellmora/bin/vellmora-mcp", MCPEntryStyle::command,
                                                  "mcpServers", original);
    ASSERT_TRUE(edit.changes());
    std::string joined;
    int pieces = 0;
    edit.write([&](std::string_view piece) {
        joined += piece;
        ++pieces;
    });
    EXPECT_GT(pieces, 2);
    EXPECT_EQ(joined, edit.text());
    EXPECT_EQ(joined, add(original));
    EXPECT_EQ(json::parse(joined)["list"][59999]["s"], "caf\u00e9 59999");

    EXPECT_FALSE(MCPConfigMerger::upsertEdit("/opt/vellmora/bin/vellmora-mcp", MCPEntryStyle::command,
                                             "mcpServers", joined)
                     .changes());
    EXPECT_FALSE(MCPConfigMerger::removeEdit("mcpServers", original).changes());
    EXPECT_FALSE(MCPConfigMerger::removeEdit("mcpServers", std::nullopt).changes());
    EXPECT_TRUE(MCPConfigMerger::upsertEdit("/x", MCPEntryStyle::command, "mcpServers", " ").changes());
}
