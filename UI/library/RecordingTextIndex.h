// The library's text search: each recording's title and notes folded once (case and diacritics removed,
// see `Support::Text::searchFolded`) so that every keystroke only scans precomputed keys. "cafe" finds
// "Café", "soren" finds "Søren". Used by the library view model and the `vellmora library search` command.
#pragma once

#include "Database/DatabaseManager.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

class RecordingTextIndex {
public:
    /// Folds the keys of `recordings` (same order); replaces the previous keys.
    void rebuild(const std::vector<Database::DatabaseManager::Recording>& recordings);

    /// Positions (in the rebuilt order) of the recordings whose title contains `query`, or, unless
    /// `titlesOnly`, whose notes do. `query` is trimmed and folded here; a blank query matches everything.
    std::vector<std::size_t> matching(const std::string& query, bool titlesOnly) const;

    std::size_t size() const { return titles_.starts.size() - 1; }

private:
    /// One folded key per recording, end to end, each followed by a NUL. Consecutive keys form groups of a
    /// few hundred bytes, each with a signature of the pairs of adjacent bytes in its keys: a keystroke
    /// scans only the groups whose signature has every pair of the query.
    struct Column {
        using Signature = std::array<std::uint64_t, 4>;
        std::string text;
        std::vector<std::size_t> starts{0}; // where each key starts, and one past the last
        std::vector<Signature> signatures;  // one per group
        std::vector<std::size_t> groups{0}; // each group's first key, and one past the last
        Signature open{};                   // the signature of the keys not yet in a group
        void clear();
        void append(std::string_view key);
        /// Closes the last group, once every key is appended.
        void closeGroup();
        /// Appends, in order, the positions of the keys that contain `needle` (not empty).
        void collect(std::string_view needle, std::vector<std::size_t>& out) const;
        /// `collect` over keys from `key` on whose text lies in [from, to).
        void collectIn(std::size_t from, std::size_t to, std::size_t key, std::string_view needle,
                       std::vector<std::size_t>& out) const;
    };
    Column titles_;
    Column notes_;
};

} // namespace UI
