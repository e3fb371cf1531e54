#include "Intelligence/ResponseProcessor.h"

#include <gtest/gtest.h>

using Intelligence::ResponseProcessor;

TEST(ResponseProcessor, StripsReasoningBlocksInEveryForm) {
    struct Case {
        std::string in, out;
    };
    for (const auto& c : std::vector<Case>{
             {"<think>plan it\nstep 2</think>\n\nWeekly Sync", "Weekly Sync"},
             {"<THINKING>x</THINKING>Answer", "Answer"},
             {"A<reasoning>x</reasoning> B", "A B"},
             {"Answer first <think>then it was cut off", "Answer first "},
             {"reasoning without an opening tag</think>The answer", "The answer"},
             {"no markers\n  kept as is ", "no markers\n  kept as is "},
             {"<think></think><think>two</think>  Final", "Final"},
         }) {
        EXPECT_EQ(ResponseProcessor::stripThinkingPatterns(c.in), c.out) << c.in;
    }
}

TEST(ResponseProcessor, StripsChatTemplateTokensButLeavesOtherMarkup) {
    struct Case {
        std::string in, out;
    };
    for (const auto& c : std::vector<Case>{
             {"<|im_start|>assistant\nHello<|im_end|>", "assistant\nHello"},
             {"Done.<|eot_id|>", "Done."},
             {"<s>[INST] hi [/INST] there</s>", " hi  there"},
             {"<start_of_turn>model ok<end_of_turn><eos>", "model ok"},
             {"a <b>bold</b> | pipe <|", "a <b>bold</b> | pipe <|"},
         }) {
        EXPECT_EQ(ResponseProcessor::stripSpecialTokens(c.in), c.out) << c.in;
    }
}
