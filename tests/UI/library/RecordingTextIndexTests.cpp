#include "UI/library/RecordingTextIndex.h"

#include "Support/Text.h"

#include <gtest/gtest.h>

#include <random>

using Recording = Database::DatabaseManager::Recording;
using Positions = std::vector<std::size_t>;

namespace {

Recording recording(std::string title, std::optional<std::string> notes = std::nullopt) {
    Recording r;
    r.title = std::move(title);
    r.notes = std::move(notes);
    return r;
}

} // namespace

TEST(RecordingTextIndex, FindsTheRecordingsWhoseTitleOrNotesContainTheQuery) {
    UI::RecordingTextIndex index;
    index.rebuild({
        recording("Budget review", "numbers for Q3"),
        recording("Café roadmap"),
        recording("Weekly sync", "budget budget and more budget"),
        recording("ab"),
        recording("cd", "ab"),
        recording(""),
        recording("Søren's budget"),
    });
    ASSERT_EQ(index.size(), 7u);
    struct Case {
        const char* query;
        bool titlesOnly;
        Positions expected;
    };
    const Case cases[] = {
        {"budget", false, {0, 2, 6}},         // several hits in one key count once; ascending order
        {"budget", true, {0, 6}},             // notes left out
        {"  CAFE ", false, {1}},              // trimmed, case and accents folded
        {"soren", false, {6}},                // letters that fold to another letter
        {"bc", false, {}},                    // "ab" then "cd": a hit across two keys is no hit
        {"bcd", false, {}},                   //
        {"ab", false, {3, 4}},                // a whole key, in a title and in notes
        {"review", false, {0}},               // at the very end of a key
        {"q3", false, {0}},                   // at the end of the last notes
        {"zebra", false, {}},                 //
        {"", false, {0, 1, 2, 3, 4, 5, 6}},   // a blank query matches everything
        {" \t", true, {0, 1, 2, 3, 4, 5, 6}}, //
    };
    for (const auto& c : cases) {
        EXPECT_EQ(index.matching(c.query, c.titlesOnly), c.expected) << '"' << c.query << '"';
    }
}

TEST(RecordingTextIndex, RebuildingReplacesThePreviousKeys) {
    UI::RecordingTextIndex index;
    index.rebuild({recording("alpha"), recording("beta")});
    index.rebuild({recording("gamma")});
    EXPECT_EQ(index.size(), 1u);
    EXPECT_EQ(index.matching("alpha", false), Positions{});
    EXPECT_EQ(index.matching("gamma", false), Positions{0});
    index.rebuild({});
    EXPECT_EQ(index.size(), 0u);
    EXPECT_EQ(index.matching("", false), Positions{});
}

TEST(RecordingTextIndex, AgreesWithASearchOfEachKeyOnLongAndShortKeys) {
    // Keys of every length around the scan's 16- and 32-byte blocks, from a three-letter alphabet so that
    // near misses and hits across the end of a key are common.
    std::mt19937 random(3);
    std::vector<Recording> recordings;
    auto text = [&](std::size_t length) {
        std::string s;
        for (std::size_t i = 0; i < length; ++i) {
            s.push_back("ab "[random() % 3]);
        }
        return s;
    };
    for (std::size_t i = 0; i < 400; ++i) {
        auto title = text(random() % 70);
        recordings.push_back(i % 3 == 0 ? recording(std::move(title), text(random() % 90))
                                        : recording(std::move(title)));
    }
    UI::RecordingTextIndex index;
    index.rebuild(recordings);
    for (int round = 0; round < 200; ++round) {
        std::string needle = text(1 + random() % 6);
        if (needle.front() == ' ' || needle.back() == ' ') {
            continue; // trimmed away by the index
        }
        for (bool titlesOnly : {false, true}) {
            Positions expected;
            for (std::size_t i = 0; i < recordings.size(); ++i) {
                const auto& r = recordings[i];
                if (r.title.find(needle) != std::string::npos ||
                    (!titlesOnly && r.notes && r.notes->find(needle) != std::string::npos)) {
                    expected.push_back(i);
                }
            }
            EXPECT_EQ(index.matching(needle, titlesOnly), expected) << '"' << needle << '"';
        }
    }
}

TEST(RecordingTextIndex, FindsEveryHoldingKeyWhileSkippingTextThatCannotHoldTheQuery) {
    // Many keys of varied words, so that most stretches of keys lack some pair of a query's letters and are
    // skipped; queries taken from the keys themselves (a hit in a skipped stretch would be lost) and made up.
    std::mt19937 random(5);
    auto word = [&] {
        std::string w;
        for (std::size_t i = 2 + random() % 6; i > 0; --i) {
            w.push_back(static_cast<char>('a' + random() % 26));
        }
        return w;
    };
    std::vector<Recording> recordings;
    for (std::size_t i = 0; i < 3000; ++i) {
        std::string title = word();
        for (std::size_t w = random() % 6; w > 0; --w) {
            title += " " + word();
        }
        recordings.push_back(i % 4 == 0 ? recording(std::move(title), word() + " " + word() + " " + word())
                                        : recording(std::move(title)));
    }
    UI::RecordingTextIndex index;
    index.rebuild(recordings);
    for (int round = 0; round < 300; ++round) {
        std::string needle;
        if (round % 3 == 2) {
            needle = word().substr(0, 3);
        } else {
            const auto& r = recordings[random() % recordings.size()];
            const std::string& source = (round % 3 == 1 && r.notes) ? *r.notes : r.title;
            const std::size_t at = random() % source.size();
            needle = source.substr(at, 1 + random() % 6);
        }
        needle = std::string(Support::Text::trimmed(needle));
        if (needle.empty()) {
            continue;
        }
        Positions expected;
        for (std::size_t i = 0; i < recordings.size(); ++i) {
            const auto& r = recordings[i];
            if (r.title.find(needle) != std::string::npos ||
                (r.notes && r.notes->find(needle) != std::string::npos)) {
                expected.push_back(i);
            }
        }
        EXPECT_EQ(index.matching(needle, false), expected) << '"' << needle << '"';
    }
}
