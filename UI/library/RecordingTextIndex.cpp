#include "UI/library/RecordingTextIndex.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cstring>
#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace UI {

namespace {

// The first occurrence of `needle` (at least one byte) in [from, end), or null. A block of candidate starts
// at a time is filtered on the needle's first and last bytes before any comparison: several times faster
// than memmem on the short needles people type. 32-byte blocks where the processor has AVX2, 16-byte ones
// (SSE2, every x86-64) otherwise.
#if defined(__SSE2__)
#define VELLMORA_BLOCK_SCAN(NAME, ATTRIBUTE, VECTOR, LOAD, SPLAT, EQUAL, AND, MASK, WIDTH)                   \
    ATTRIBUTE const char* NAME(const char*& from, const char* end, std::string_view needle) {                \
        const std::size_t k = needle.size();                                                                 \
        const VECTOR first = SPLAT(needle.front());                                                          \
        const VECTOR last = SPLAT(needle.back());                                                            \
        for (; end - from >= static_cast<std::ptrdiff_t>(k - 1 + WIDTH); from += WIDTH) {                    \
            const VECTOR starts = LOAD(reinterpret_cast<const VECTOR*>(from));                               \
            const VECTOR ends = LOAD(reinterpret_cast<const VECTOR*>(from + k - 1));                         \
            auto mask = static_cast<unsigned>(MASK(AND(EQUAL(starts, first), EQUAL(ends, last))));           \
            while (mask != 0) {                                                                              \
                const int bit = __builtin_ctz(mask);                                                         \
                if (std::memcmp(from + bit + 1, needle.data() + 1, k - 2) == 0) {                            \
                    return from + bit;                                                                       \
                }                                                                                            \
                mask &= mask - 1;                                                                            \
            }                                                                                                \
        }                                                                                                    \
        return nullptr;                                                                                      \
    }
VELLMORA_BLOCK_SCAN(scan16, , __m128i, _mm_loadu_si128, _mm_set1_epi8, _mm_cmpeq_epi8, _mm_and_si128,
                    _mm_movemask_epi8, 16)
VELLMORA_BLOCK_SCAN(scan32, __attribute__((target("avx2"))), __m256i, _mm256_loadu_si256, _mm256_set1_epi8,
                    _mm256_cmpeq_epi8, _mm256_and_si256, _mm256_movemask_epi8, 32)
#undef VELLMORA_BLOCK_SCAN
#endif

const char* find(const char* from, const char* end, std::string_view needle) {
    const std::size_t k = needle.size();
    if (static_cast<std::size_t>(end - from) < k) {
        return nullptr;
    }
#if defined(__SSE2__)
    if (k >= 2) {
        static const bool avx2 = __builtin_cpu_supports("avx2");
        // Each stops where fewer than a block's candidates are left (`from` says where); memmem takes the
        // rest.
        if (const char* hit = avx2 ? scan32(from, end, needle) : scan16(from, end, needle)) {
            return hit;
        }
    }
#endif
    return static_cast<const char*>(::memmem(from, static_cast<std::size_t>(end - from), needle.data(), k));
}

// Bytes of keys per group: small enough that a word found in a few recordings leaves most groups unread,
// large enough that the signatures are a small part of the text.
constexpr std::size_t groupBytes = 256;

// The signature bit of two adjacent bytes.
void addPair(std::array<std::uint64_t, 4>& signature, unsigned char a, unsigned char b) {
    const unsigned bit = ((static_cast<unsigned>(a) << 8 | b) * 0x9E3779B1u) >> 24;
    signature[bit >> 6] |= std::uint64_t{1} << (bit & 63);
}

} // namespace

void RecordingTextIndex::Column::clear() {
    text.clear();
    starts.assign(1, 0);
    signatures.clear();
    groups.assign(1, 0);
    open = {};
}

void RecordingTextIndex::Column::append(std::string_view key) {
    text += key;
    text.push_back('\0');
    starts.push_back(text.size());
    // Into a local first: stores into the member could alias the key's bytes and force them to be re-read.
    Signature pairs{};
    const auto* bytes = reinterpret_cast<const unsigned char*>(key.data());
    for (std::size_t i = 1; i < key.size(); ++i) {
        addPair(pairs, bytes[i - 1], bytes[i]);
    }
    for (std::size_t i = 0; i < open.size(); ++i) {
        open[i] |= pairs[i];
    }
    if (text.size() - starts[groups.back()] >= groupBytes) {
        closeGroup();
    }
}

void RecordingTextIndex::Column::closeGroup() {
    const std::size_t keys = starts.size() - 1;
    if (keys > groups.back()) {
        signatures.push_back(open);
        groups.push_back(keys);
        open = {};
    }
}

void RecordingTextIndex::Column::collect(std::string_view needle, std::vector<std::size_t>& out) const {
    Signature wanted{};
    for (std::size_t i = 1; i < needle.size(); ++i) {
        addPair(wanted, static_cast<unsigned char>(needle[i - 1]), static_cast<unsigned char>(needle[i]));
    }
    auto mayHold = [&](std::size_t group) {
        const Signature& has = signatures[group];
        return (has[0] & wanted[0]) == wanted[0] && (has[1] & wanted[1]) == wanted[1] &&
               (has[2] & wanted[2]) == wanted[2] && (has[3] & wanted[3]) == wanted[3];
    };
    // Runs of groups that may hold the needle are scanned as one stretch of text.
    for (std::size_t group = 0; group < signatures.size();) {
        if (!mayHold(group)) {
            ++group;
            continue;
        }
        std::size_t past = group + 1;
        while (past < signatures.size() && mayHold(past)) {
            ++past;
        }
        collectIn(starts[groups[group]], starts[groups[past]], groups[group], needle, out);
        group = past;
    }
}

void RecordingTextIndex::Column::collectIn(std::size_t from, std::size_t to, std::size_t key,
                                           std::string_view needle, std::vector<std::size_t>& out) const {
    const char* const base = text.data();
    const char* const end = base + to;
    const std::size_t last = starts.size() - 1; // starts[last] is past every hit
    while (from < to) {
        const char* hit = find(base + from, end, needle);
        if (!hit) {
            return;
        }
        const auto at = static_cast<std::size_t>(hit - base);
        // The key holding the hit, found by galloping forward from the previous one: hits come in order,
        // and a search over all the starts would miss the cache at every step once the scan has pushed
        // them out. A hit that runs past the key's end spans two keys and does not count.
        std::size_t step = 1;
        while (key + step < last && starts[key + step] <= at) {
            key += step;
            step *= 2;
        }
        const auto bound = starts.begin() + static_cast<std::ptrdiff_t>(std::min(key + step, last));
        key = static_cast<std::size_t>(
                  std::upper_bound(starts.begin() + static_cast<std::ptrdiff_t>(key) + 1, bound, at) -
                  starts.begin()) -
              1;
        const std::size_t keyEnd = starts[key + 1] - 1; // before the key's NUL
        if (at + needle.size() <= keyEnd) {
            out.push_back(key);
            from = starts[key + 1];
        } else {
            from = at + 1;
        }
    }
}

void RecordingTextIndex::rebuild(const std::vector<Database::DatabaseManager::Recording>& recordings) {
    titles_.clear();
    notes_.clear();
    titles_.starts.reserve(recordings.size() + 1);
    notes_.starts.reserve(recordings.size() + 1);
    for (const auto& r : recordings) {
        titles_.append(Support::Text::searchFolded(r.title));
        notes_.append(r.notes ? Support::Text::searchFolded(*r.notes) : std::string());
    }
    titles_.closeGroup();
    notes_.closeGroup();
}

std::vector<std::size_t> RecordingTextIndex::matching(const std::string& query, bool titlesOnly) const {
    const std::string needle = Support::Text::searchFolded(Support::Text::trimmed(query));
    std::vector<std::size_t> out;
    if (needle.empty()) {
        out.resize(size());
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = i;
        }
        return out;
    }
    // All keys sit end to end in one buffer per column, so a keystroke is one pass of memmem over each
    // buffer rather than a search call per recording.
    titles_.collect(needle, out);
    if (titlesOnly) {
        return out;
    }
    std::vector<std::size_t> inNotes;
    notes_.collect(needle, inNotes);
    if (!inNotes.empty()) {
        std::vector<std::size_t> both;
        both.reserve(out.size() + inNotes.size());
        std::set_union(out.begin(), out.end(), inNotes.begin(), inNotes.end(), std::back_inserter(both));
        out = std::move(both);
    }
    return out;
}

} // namespace UI
