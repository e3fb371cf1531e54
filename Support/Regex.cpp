#include "Support/Regex.h"

#include <pcre2.h>

#include <stdexcept>
#include <string>

namespace Support {

struct Regex::Impl {
    std::string pattern;
    pcre2_code* code = nullptr;
    std::size_t groups = 0;

    ~Impl() { pcre2_code_free(code); }
};

namespace {

struct MatchData {
    explicit MatchData(const pcre2_code* code) : data(pcre2_match_data_create_from_pattern(code, nullptr)) {
        if (!data) {
            throw std::bad_alloc();
        }
    }
    ~MatchData() { pcre2_match_data_free(data); }
    MatchData(const MatchData&) = delete;
    MatchData& operator=(const MatchData&) = delete;
    pcre2_match_data* data;
};

// Runs one match at `offset`; fills `match` and returns true on success. Invalid UTF-8 in the subject is
// allowed by the compile options, so no call here validates the subject again.
bool matchAt(const pcre2_code* code, std::size_t groups, std::string_view subject, std::size_t offset,
             uint32_t flags, MatchData& md, RegexMatch& match) {
    if (offset > subject.size()) {
        return false;
    }
    int rc = pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(subject.data()), subject.size(), offset, flags,
                         md.data, nullptr);
    if (rc < 0) {
        // PCRE2_ERROR_NOMATCH, or a resource limit hit on a pathological pattern: both mean "no match".
        return false;
    }
    const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(md.data);
    match.subject = subject;
    match.groups.assign(groups + 1, RegexMatch::Range{});
    for (std::size_t i = 0; i <= groups; ++i) {
        if (ovector[2 * i] != PCRE2_UNSET) {
            match.groups[i].start = ovector[2 * i];
            match.groups[i].end = ovector[2 * i + 1];
        }
    }
    return true;
}

void appendExpanded(std::string& out, std::string_view replacement, const RegexMatch& m, std::size_t groups) {
    for (std::size_t i = 0; i < replacement.size(); ++i) {
        char c = replacement[i];
        if (c != '$' || i + 1 == replacement.size()) {
            out.push_back(c);
            continue;
        }
        char next = replacement[i + 1];
        if (next == '$') {
            out.push_back('$');
            ++i;
        } else if (next == '{') {
            std::size_t close = replacement.find('}', i + 2);
            std::string_view digits = close == std::string_view::npos
                                          ? std::string_view()
                                          : replacement.substr(i + 2, close - i - 2);
            bool numeric = !digits.empty() && digits.size() < 6 &&
                           digits.find_first_not_of("0123456789") == std::string_view::npos;
            std::size_t n = numeric ? std::stoul(std::string(digits)) : 0;
            if (numeric && n <= groups) {
                out.append(m.str(n));
                i = close;
            } else {
                out.push_back('$');
            }
        } else if (next >= '0' && next <= '9') {
            // As many digits as still name a group ("$12" is group 12 only when there are 12 groups).
            std::size_t n = static_cast<std::size_t>(next - '0');
            std::size_t j = i + 2;
            while (j < replacement.size() && replacement[j] >= '0' && replacement[j] <= '9' &&
                   n * 10 + static_cast<std::size_t>(replacement[j] - '0') <= groups) {
                n = n * 10 + static_cast<std::size_t>(replacement[j] - '0');
                ++j;
            }
            if (n <= groups) {
                out.append(m.str(n));
            }
            i = j - 1;
        } else {
            out.push_back('$');
        }
    }
}

} // namespace

Regex::Regex(std::string_view pattern, unsigned options) : impl_(std::make_unique<Impl>()) {
    impl_->pattern = std::string(pattern);
    uint32_t flags = PCRE2_UTF | PCRE2_UCP | PCRE2_MATCH_INVALID_UTF;
    if (options & caseInsensitive) {
        flags |= PCRE2_CASELESS;
    }
    if (options & multiline) {
        flags |= PCRE2_MULTILINE;
    }
    if (options & dotAll) {
        flags |= PCRE2_DOTALL;
    }
    if (options & extended) {
        flags |= PCRE2_EXTENDED;
    }
    int error = 0;
    PCRE2_SIZE errorOffset = 0;
    impl_->code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), flags, &error,
                                &errorOffset, nullptr);
    if (!impl_->code) {
        PCRE2_UCHAR message[256];
        pcre2_get_error_message(error, message, sizeof message);
        throw std::invalid_argument("Invalid regular expression \"" + impl_->pattern + "\" at offset " +
                                    std::to_string(errorOffset) + ": " +
                                    reinterpret_cast<const char*>(message));
    }
    // Without JIT support PCRE2's interpreter gives the same results, only slower.
    (void)pcre2_jit_compile(impl_->code, PCRE2_JIT_COMPLETE);
    uint32_t captures = 0;
    pcre2_pattern_info(impl_->code, PCRE2_INFO_CAPTURECOUNT, &captures);
    impl_->groups = captures;
}

Regex::~Regex() = default;
Regex::Regex(Regex&&) noexcept = default;
Regex& Regex::operator=(Regex&&) noexcept = default;

bool Regex::matches(std::string_view subject) const {
    // A yes-or-no answer needs no groups: one match block of a single pair per thread serves every pattern
    // (PCRE2 answers 0, still a match, when the pattern has more groups than the block holds).
    struct Block {
        pcre2_match_data* data = pcre2_match_data_create(1, nullptr);
        ~Block() { pcre2_match_data_free(data); }
    };
    thread_local Block block;
    if (!block.data) {
        throw std::bad_alloc();
    }
    return pcre2_match(impl_->code, reinterpret_cast<PCRE2_SPTR>(subject.data()), subject.size(), 0, 0,
                       block.data, nullptr) >= 0;
}

std::optional<RegexMatch> Regex::firstMatch(std::string_view subject, std::size_t from) const {
    MatchData md(impl_->code);
    RegexMatch match;
    if (!matchAt(impl_->code, impl_->groups, subject, from, 0, md, match)) {
        return std::nullopt;
    }
    return match;
}

void Regex::forEachMatch(std::string_view subject,
                         const std::function<bool(const RegexMatch&)>& visit) const {
    MatchData md(impl_->code);
    RegexMatch match;
    std::size_t offset = 0;
    uint32_t flags = 0;
    while (offset <= subject.size()) {
        if (!matchAt(impl_->code, impl_->groups, subject, offset, flags, md, match)) {
            return;
        }
        if (!visit(match)) {
            return;
        }
        offset = match.end();
        // After an empty match, the next one must not be empty at the same place: PCRE2 then moves on by
        // one whole character itself, so an empty pattern never loops and never splits a code point.
        flags = match.start() == match.end() ? PCRE2_NOTEMPTY_ATSTART : 0;
        if (flags && offset == subject.size()) {
            return;
        }
    }
}

std::vector<RegexMatch> Regex::allMatches(std::string_view subject) const {
    std::vector<RegexMatch> result;
    forEachMatch(subject, [&](const RegexMatch& m) {
        result.push_back(m);
        return true;
    });
    return result;
}

std::string Regex::replaceAll(std::string_view subject, std::string_view replacement) const {
    std::size_t groups = impl_->groups;
    return replaceAll(subject, [&](const RegexMatch& m) {
        std::string out;
        appendExpanded(out, replacement, m, groups);
        return out;
    });
}

std::string Regex::replaceAll(std::string_view subject,
                              const std::function<std::string(const RegexMatch&)>& replace) const {
    std::string out;
    out.reserve(subject.size());
    std::size_t copied = 0;
    forEachMatch(subject, [&](const RegexMatch& m) {
        out.append(subject.substr(copied, m.start() - copied));
        out.append(replace(m));
        copied = m.end();
        return true;
    });
    out.append(subject.substr(copied));
    return out;
}

std::size_t Regex::groupCount() const {
    return impl_->groups;
}

const std::string& Regex::pattern() const {
    return impl_->pattern;
}

} // namespace Support
