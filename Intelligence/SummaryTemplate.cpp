#include "Intelligence/SummaryTemplate.h"

#include "Support/Text.h"

namespace Intelligence {

SummaryTemplate SummaryTemplate::defaultTemplate() {
    return {"general",
            "General Meeting",
            {"Overview", "Key Decisions", "Outcomes and Next Steps"},
            "Say what the meeting was about, what was decided and what happens next."};
}

SummaryBrief SummaryBrief::standard() {
    return {"Write for someone who missed the meeting. Be concise: short paragraphs and bullet points, at "
            "most 300 words. Leave out a section when the meeting had nothing for it."};
}

SummaryBrief SummaryBrief::from(const SummaryTemplate& summaryTemplate) {
    auto brief = standard();
    if (!summaryTemplate.guidance.empty()) {
        brief.text = summaryTemplate.guidance + " " + brief.text;
    }
    return brief;
}

namespace {
const std::vector<SummaryTemplate>& builtIns() {
    static const std::vector<SummaryTemplate> all = {
        SummaryTemplate::defaultTemplate(),
        {"one-on-one",
         "One-on-One",
         {"Overview", "Feedback and Concerns", "Agreed Next Steps"},
         "Keep the tone neutral and private; note feedback given in both directions."},
        {"standup",
         "Stand-up",
         {"Progress", "Plans", "Blockers"},
         "Group updates by person when the speakers are known; keep each update to one line."},
    };
    return all;
}
} // namespace

bool SummaryTemplateStore::isAutoMatchEnabled() const {
    return defaults_ && defaults_->boolean(autoMatchKey).value_or(false);
}

const std::vector<SummaryTemplate>& SummaryTemplateStore::templates() const {
    return builtIns();
}

std::optional<SummaryTemplate> SummaryTemplateStore::templateWithId(const std::string& id) const {
    for (const auto& t : builtIns()) {
        if (t.id == id) {
            return t;
        }
    }
    return std::nullopt;
}

SummaryTemplate SummaryTemplateResolver::resolve(const std::optional<std::string>& explicitId,
                                                 const std::string& context,
                                                 const SummaryTemplateStore& store) {
    if (explicitId) {
        if (auto t = store.templateWithId(*explicitId)) {
            return *t;
        }
    }
    const auto folded = Support::Text::searchFolded(context);
    auto has = [&](std::initializer_list<const char*> words) {
        for (const char* w : words) {
            if (folded.find(w) != std::string::npos) {
                return true;
            }
        }
        return false;
    };
    if (has({"1:1", "1-1", "one-on-one", "one on one"})) {
        return *store.templateWithId("one-on-one");
    }
    if (has({"standup", "stand-up", "stand up", "daily sync", "daily scrum"})) {
        return *store.templateWithId("standup");
    }
    return SummaryTemplate::defaultTemplate();
}

std::string summaryInstruction(const SummaryTemplate& summaryTemplate, const SummaryBrief& brief) {
    std::string text =
        "Summarize this meeting transcript.\n\nUse these sections, each as a \"## \" heading:\n";
    for (const auto& section : summaryTemplate.sections) {
        text += "- " + section + "\n";
    }
    text += "\n" + brief.text;
    return text;
}

} // namespace Intelligence
