// Any text through the answer block parser and the inline renderer: no crash, and every block well formed.
#include "UI/ai/MarkdownBlockParser.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const auto& block : UI::MarkdownBlockParser::parse(text)) {
        const bool headingOk = (block.kind == UI::MarkdownBlock::Kind::heading) == block.level.has_value();
        const bool levelOk = !block.level || (*block.level >= 1 && *block.level <= 6);
        const bool itemOk = (block.kind == UI::MarkdownBlock::Kind::listItem) == block.indent.has_value();
        const bool numberOk = !block.number || (*block.number >= 0 && *block.number <= 999'999'999);
        if (!headingOk || !levelOk || !itemOk || !numberOk || block.text.size() > size) {
            std::abort();
        }
        (void)UI::MarkdownBlockParser::inlineRuns(block.text);
    }
    return 0;
}
