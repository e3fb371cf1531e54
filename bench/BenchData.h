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

inline const std::vector<std::string>& words() {
    static const std::vector<std::string> list = {
        "budget",   "roadmap",    "hiring",    "Café",    "launch",   "review",  "planning", "sync",
        "design",   "Søren",      "offsite",   "metrics", "customer", "release", "naïve",    "pricing",
        "security", "onboarding", "quarterly", "retro",   "demo",     "Zoë",     "infra",    "mobile",
        "growth",   "partner",    "legal",     "the",     "and",      "we",      "should",   "next",
        "week",     "talk",       "about",     "numbers"};
    return list;
}

inline std::string sentence(std::mt19937& rng, int minWords, int maxWords) {
    std::uniform_int_distribution<int> count(minWords, maxWords);
    std::uniform_int_distribution<std::size_t> pick(0, words().size() - 1);
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
