// Generation settings the AI features use with any provider: a preset per kind of request, and how a long
// request is run (interactive work is what the user is watching; background work runs after a recording).
#pragma once

namespace Intelligence {

enum class LLMExecutionMode { interactive, background };

struct LLMEngine {
    struct GenerationParameters {
        double temperature = 0.3;
        int maxOutputTokens = 1024;

        /// One short line.
        static GenerationParameters title() { return {0.2, 64}; }
        static GenerationParameters summary() { return {0.3, 2048}; }
        /// Low temperature: lists should follow the transcript, not invent.
        static GenerationParameters actionItems() { return {0.1, 1024}; }
        static GenerationParameters chat() { return {0.4, 1024}; }

        bool operator==(const GenerationParameters&) const = default;
    };
};

} // namespace Intelligence
