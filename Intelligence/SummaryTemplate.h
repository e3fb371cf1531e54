// Summary templates: the sections a summary is written in, the brief that says how long and for whom, the
// store of templates the user can choose from, and the resolver that picks one for a meeting.
//
// The store holds the built-in templates (general meeting, one-on-one, stand-up). Automatic matching
// ("ai.summaryTemplates.autoMatch", off by default) picks a template from the meeting's title and calendar
// context; an explicit template id always wins, and an unknown id falls back to the default template.
#pragma once

#include "Support/UserDefaults.h"

#include <optional>
#include <string>
#include <vector>

namespace Intelligence {

struct SummaryTemplate {
    std::string id{};
    std::string name{};
    /// Markdown section headings, in order.
    std::vector<std::string> sections{};
    /// What to pay attention to in this kind of meeting.
    std::string guidance{};

    /// The general meeting template (the default).
    static SummaryTemplate defaultTemplate();
    bool operator==(const SummaryTemplate&) const = default;
};

struct SummaryBrief {
    /// How long and for whom; appended to the summary instruction.
    std::string text{};

    static SummaryBrief standard();
    static SummaryBrief from(const SummaryTemplate& summaryTemplate);
    bool operator==(const SummaryBrief&) const = default;
};

class SummaryTemplateStore {
public:
    static constexpr const char* autoMatchKey = "ai.summaryTemplates.autoMatch";

    explicit SummaryTemplateStore(const Support::UserDefaults* defaults = nullptr) : defaults_(defaults) {}

    bool isAutoMatchEnabled() const;
    const std::vector<SummaryTemplate>& templates() const;
    std::optional<SummaryTemplate> templateWithId(const std::string& id) const;

private:
    const Support::UserDefaults* defaults_;
};

struct SummaryTemplateResolver {
    /// The template with `explicitId` when there is one; else the template whose kind the context names
    /// ("1:1", "one-on-one", "standup", "daily"...); else the default.
    static SummaryTemplate resolve(const std::optional<std::string>& explicitId, const std::string& context,
                                   const SummaryTemplateStore& store);
};

/// The summary instruction for a template and brief (the transcript follows it as context).
std::string summaryInstruction(const SummaryTemplate& summaryTemplate, const SummaryBrief& brief);

inline constexpr const char* summarySystemPrompt =
    "You write accurate, well-organised meeting summaries in Markdown.\n"
    "Use only what the transcript says. Do not invent names, numbers or decisions.";

} // namespace Intelligence
