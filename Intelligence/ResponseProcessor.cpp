#include "Intelligence/ResponseProcessor.h"

#include "Support/Regex.h"
#include "Support/Text.h"

namespace Intelligence {

namespace {

const char* const reasoningTags = "think|thinking|reasoning";

} // namespace

std::string ResponseProcessor::stripThinkingPatterns(std::string_view text) {
    using Support::Regex;
    static const Regex closedBlock(std::string("<(") + reasoningTags + ")>[\\s\\S]*?</\\1>",
                                   Regex::caseInsensitive);
    static const Regex openBlock(std::string("<(?:") + reasoningTags + ")>[\\s\\S]*$",
                                 Regex::caseInsensitive);
    static const Regex orphanClose(std::string("^[\\s\\S]*?</(?:") + reasoningTags + ")>",
                                   Regex::caseInsensitive);
    static const Regex anyTag(std::string("</?(?:") + reasoningTags + ")>", Regex::caseInsensitive);
    if (!anyTag.matches(text)) {
        return std::string(text);
    }
    std::string out = closedBlock.replaceAll(text, "");
    out = orphanClose.replaceAll(out, "");
    out = openBlock.replaceAll(out, "");
    // Strip only the white space the removed block left at the start; the answer's own layout stays.
    std::size_t start = 0;
    while (start < out.size()) {
        std::size_t pos = start;
        char32_t c = Support::Text::decodeNext(out, pos);
        if (!Support::Text::isWhitespace(c) && !Support::Text::isNewline(c)) {
            break;
        }
        start = pos;
    }
    return out.substr(start);
}

std::string ResponseProcessor::stripSpecialTokens(std::string_view text) {
    static const Support::Regex tokens(
        "<\\|[^|<>]*\\|>|</?s>|<(?:eos|bos|pad|unk|start_of_turn|end_of_turn)>|\\[/?INST\\]");
    if (text.find('<') == std::string_view::npos && text.find('[') == std::string_view::npos) {
        return std::string(text);
    }
    return tokens.replaceAll(text, "");
}

} // namespace Intelligence
