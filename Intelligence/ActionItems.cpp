#include "Intelligence/ActionItems.h"

#include "Support/Regex.h"
#include "Support/Text.h"

#include <algorithm>
#include <set>

namespace Intelligence {

namespace {

bool isGenericName(const std::string& name) {
    static const Support::Regex generic(
        R"(^(?:speaker|participant|guest|unknown|person|user)(?:\s*\d+)?$|^(?:me|you|microphone|system|others?)$)",
        Support::Regex::caseInsensitive);
    return Support::Text::isBlank(name) || generic.matches(Support::Text::trimmed(name));
}

std::string stripBullet(std::string_view line) {
    static const Support::Regex bullet(R"(^\s*(?:[-*+•]\s+|\d{1,3}[.)]\s+|\[[ xX]?\]\s*)+)");
    return Support::Text::trimmed(bullet.replaceAll(line, ""));
}

} // namespace

MeetingRosterTimeline
MeetingRosterTimeline::build(const Database::DatabaseManager::Recording& recording,
                             const std::vector<Database::DatabaseManager::TranscriptSegment>& segments) {
    MeetingRosterTimeline roster;
    std::set<std::string> seen;
    auto add = [&](const std::string& name, double time, bool calendar) {
        auto trimmed = Support::Text::trimmed(name);
        if (trimmed.empty() || !seen.insert(Support::Text::searchFolded(trimmed)).second) {
            return;
        }
        roster.entries.push_back({trimmed, time, calendar});
    };
    for (const auto& p : recording.participants) {
        add(p, 0, true);
    }
    auto ordered = segments;
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const auto& a, const auto& b) { return a.startTime < b.startTime; });
    for (const auto& s : ordered) {
        add(s.speaker, s.startTime, false);
    }
    return roster;
}

ActionItemMeetingKindValue ActionItemMeetingKind::classify(const std::string& title,
                                                           const std::string& summary,
                                                           const std::string& transcriptSample) {
    using K = ActionItemMeetingKindValue;
    struct Rule {
        K kind;
        std::vector<const char*> words;
    };
    static const std::vector<Rule> rules = {
        {K::oneOnOne, {"1:1", "1-1", "one-on-one", "one on one"}},
        {K::standup, {"standup", "stand-up", "stand up", "daily scrum", "daily sync"}},
        {K::interview, {"interview", "candidate"}},
        {K::presentation,
         {"webinar", "lecture", "keynote", "presentation", "all hands", "all-hands", "town hall"}},
    };
    for (const auto* text : {&title, &summary, &transcriptSample}) {
        const auto folded = Support::Text::searchFolded(*text);
        for (const auto& rule : rules) {
            for (const char* w : rule.words) {
                if (folded.find(w) != std::string::npos) {
                    return rule.kind;
                }
            }
        }
    }
    return K::general;
}

std::string ActionItemMeetingKind::name(ActionItemMeetingKindValue kind) {
    switch (kind) {
    case ActionItemMeetingKindValue::general:
        return "general";
    case ActionItemMeetingKindValue::oneOnOne:
        return "oneOnOne";
    case ActionItemMeetingKindValue::standup:
        return "standup";
    case ActionItemMeetingKindValue::interview:
        return "interview";
    case ActionItemMeetingKindValue::presentation:
        return "presentation";
    }
    return "general";
}

std::vector<std::string> ActionItemPrompt::peopleNames(const MeetingRosterTimeline& roster) {
    std::vector<std::string> names;
    std::set<std::string> seen;
    for (const auto& entry : roster.entries) {
        if (!isGenericName(entry.name) && seen.insert(Support::Text::searchFolded(entry.name)).second) {
            names.push_back(entry.name);
        }
    }
    return names;
}

std::string ActionItemPrompt::query(const std::vector<std::string>& peopleInMeeting,
                                    ActionItemMeetingKindValue kind) {
    std::string text = "List the action items from this meeting: concrete tasks that someone agreed to do or "
                       "was asked to do.\nWrite one item per line, starting with \"- \". Begin an item with "
                       "its owner's name and a colon when the transcript says who owns it (\"- Dana: send "
                       "the slides\").";
    if (!peopleInMeeting.empty()) {
        text += "\nPeople in the meeting: " + Support::Text::joined(peopleInMeeting, ", ") + ".";
    }
    switch (kind) {
    case ActionItemMeetingKindValue::oneOnOne:
        text += "\nThis is a one-on-one: include commitments made by either person.";
        break;
    case ActionItemMeetingKindValue::standup:
        text += "\nThis is a stand-up: list follow-ups and blockers someone will act on, not status updates.";
        break;
    case ActionItemMeetingKindValue::interview:
        text += "\nThis is an interview: list only follow-ups the interviewers or the candidate agreed to.";
        break;
    case ActionItemMeetingKindValue::presentation:
        text += "\nThis is a presentation: a talk rarely has action items; list only explicit commitments.";
        break;
    case ActionItemMeetingKindValue::general:
        break;
    }
    text += "\nIf there are none, answer exactly \"No action items.\"";
    return text;
}

std::string ActionItemFilter::filter(const std::string& text, const Context&) {
    std::vector<std::string> kept;
    std::set<std::string> seen;
    for (const auto& line : Support::Text::lines(text)) {
        auto item = stripBullet(line);
        if (Support::Text::graphemeCount(item) < 3) {
            continue;
        }
        if (!seen.insert(Support::Text::searchFolded(item)).second) {
            continue;
        }
        kept.push_back(std::move(item));
        if (kept.size() >= maximumItems) {
            break;
        }
    }
    return Support::Text::joined(kept, "\n");
}

std::vector<Database::DatabaseManager::ActionItem>
ActionItemsReconciler::reconcile(Database::RecordingId recordingId, const std::string& text,
                                 Database::DatabaseManager& database) {
    std::vector<std::string> items;
    for (const auto& line : Support::Text::lines(text)) {
        auto item = stripBullet(line);
        if (!item.empty()) {
            items.push_back(std::move(item));
        }
    }
    return database.saveActionItems(recordingId, items);
}

} // namespace Intelligence
