// Generated, realistic-looking data for the library benchmarks, and the `--data-dir DIR` option that runs
// them on a user's own library instead.
#pragma once

#include "Database/DatabaseManager.h"

#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace BenchData {

/// A vocabulary shaped like speech: a few very common function words, meeting words of middling frequency
/// (some with accents), and a long tail of rarer made-up words, drawn by a Zipf-like law.
inline const std::vector<std::string>& words() {
    static const std::vector<std::string> list = [] {
        const std::vector<std::string> common = {"the",  "and", "we", "to", "is",
                                                 "that", "it",  "of", "so", "for"};
        const std::vector<std::string> meeting = {"budget",  "roadmap",  "hiring",     "Café",      "launch",
                                                  "review",  "planning", "sync",       "design",    "Søren",
                                                  "offsite", "metrics",  "customer",   "release",   "naïve",
                                                  "pricing", "security", "onboarding", "quarterly", "retro",
                                                  "demo",    "Zoë",      "infra",      "mobile",    "growth"};
        const char* syllables[] = {"ka",  "lo",  "mi",  "ter", "zan", "pro",
                                   "vel", "dor", "ish", "ne",  "ra",  "tu"};
        std::vector<std::string> made;
        for (const char* a : syllables) {
            for (const char* b : syllables) {
                for (const char* c : syllables) {
                    made.push_back(std::string(a) + b + c);
                }
            }
        }
        // Meeting words rank around 100 to 125: frequent enough to find, as in real speech.
        std::vector<std::string> v = common;
        v.insert(v.end(), made.begin(), made.begin() + 90);
        v.insert(v.end(), meeting.begin(), meeting.end());
        v.insert(v.end(), made.begin() + 90, made.end());
        return v;
    }();
    return list;
}

inline std::string sentence(std::mt19937& rng, int minWords, int maxWords) {
    static const std::discrete_distribution<std::size_t> zipf = [] {
        std::vector<double> weights;
        for (std::size_t rank = 1; rank <= words().size(); ++rank) {
            weights.push_back(1.0 / static_cast<double>(rank));
        }
        return std::discrete_distribution<std::size_t>(weights.begin(), weights.end());
    }();
    std::uniform_int_distribution<int> count(minWords, maxWords);
    auto pick = zipf;
    std::string out;
    for (int i = count(rng); i > 0; --i) {
        if (!out.empty()) {
            out += ' ';
        }
        out += words()[pick(rng)];
    }
    return out;
}

/// Removes `--data-dir DIR` (or `--data-dir=DIR`) from argv and returns DIR.
inline std::optional<std::string> takeDataDir(int& argc, char** argv) {
    std::optional<std::string> dir;
    int out = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--data-dir") == 0 && i + 1 < argc) {
            dir = argv[++i];
        } else if (std::strncmp(argv[i], "--data-dir=", 11) == 0) {
            dir = argv[i] + 11;
        } else {
            argv[out++] = argv[i];
        }
    }
    argc = out;
    return dir;
}

} // namespace BenchData
