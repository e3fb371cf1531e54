// Every text-cleaning rule and the markdown renderer on arbitrary bytes: none may crash, and the cleaned
// results keep their promises (no special tokens left, titles that pass their own check, "- " items).
#include "UI/library/TextCleaning.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    namespace TC = UI::TextCleaning;
    auto whisper = TC::cleanWhisperTokens(input);
    if (whisper.find("  ") != std::string::npos) {
        std::abort();
    }
    TC::sanitizeModelResponse(input);
    TC::normalizeTitleCandidate(input);
    TC::isValidTitleCandidate(input);
    if (auto title = TC::cleanTitleResponse(input); title && !TC::isValidTitleCandidate(*title)) {
        std::abort();
    }
    TC::normalizeActionItemCandidate(input);
    if (auto items = TC::cleanActionItemsResponse(input); items && items->rfind("- ", 0) != 0) {
        std::abort();
    }
    auto rendered = TC::markdownAttributedString(input);
    std::size_t covered = 0;
    for (const auto& run : rendered.runs) {
        if (run.start != covered || run.start + run.length > rendered.text.size()) {
            std::abort();
        }
        covered = run.start + run.length;
    }
    if (covered != rendered.text.size()) {
        std::abort();
    }
    return 0;
}
