// Cleans what a language model streamed before anything else reads it: the reasoning some models write
// before their answer, and the control tokens of their chat templates. Used by the AI job runner on titles
// and by the text cleaning of transcripts and answers. Pure; never fails: text without such markers comes
// back unchanged, and invalid UTF-8 is kept as it is.
#pragma once

#include <string>
#include <string_view>

namespace Intelligence {

struct ResponseProcessor {
    /// Removes reasoning blocks: `<think>…</think>`, `<thinking>…</thinking>`, `<reasoning>…</reasoning>`
    /// (any case, across lines); an opened block that never closes runs to the end of the text (the model
    /// was cut off while thinking); text before a closing tag that has no opening one is reasoning too
    /// (some templates put the opening tag in the prompt). Leading white space left behind is trimmed.
    static std::string stripThinkingPatterns(std::string_view text);

    /// Removes chat-template control tokens: every `<|…|>` (such as `<|im_end|>`, `<|eot_id|>`), and the
    /// bare tokens `<s>`, `</s>`, `<eos>`, `<bos>`, `<pad>`, `<unk>`, `<start_of_turn>`, `<end_of_turn>`,
    /// `[INST]` and `[/INST]`.
    static std::string stripSpecialTokens(std::string_view text);
};

} // namespace Intelligence
