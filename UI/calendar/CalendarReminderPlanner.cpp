#include "UI/calendar/CalendarReminderPlanner.h"

#include <algorithm>
#include <unordered_map>

namespace UI {

using Support::Date;
using Support::seconds;

struct CalendarReminderPlanner::Sorted {
    std::vector<const CalendarMeeting*> meetings;
};

namespace {

/// What the rules say about one stage of one meeting.
struct StageDecision {
    bool due = false;
    std::optional<Date> wake;
};

bool snoozed(const CalendarReminderLedger::Entry& entry, CalendarReminderStage stage) {
    return entry.snoozedStage == stage && entry.snoozedUntil.has_value();
}

StageDecision overlayDecision(const CalendarMeeting& meeting, const CalendarReminderLedger::Entry& entry,
                              const CalendarReminderSettings& settings, Date now) {
    using P = CalendarReminderPlanner;
    StageDecision decision;
    auto due = P::dueTime(CalendarReminderStage::overlay, meeting, settings);
    if (!due) {
        return decision;
    }
    if (snoozed(entry, CalendarReminderStage::overlay)) {
        if (*entry.snoozedUntil > now) {
            decision.wake = entry.snoozedUntil;
        } else {
            decision.due = now <= meeting.start + seconds(P::overlaySnoozeCutoff);
        }
        return decision;
    }
    if (entry.overlayShown) {
        decision.wake = std::min(meeting.start + seconds(P::overlaySnoozeCutoff), meeting.end);
        return decision;
    }
    if (now < *due) {
        decision.wake = due;
        return decision;
    }
    decision.due = now <= meeting.start + seconds(P::overlayLateWindow);
    return decision;
}

StageDecision headsUpDecision(const CalendarMeeting& meeting, const CalendarReminderLedger::Entry& entry,
                              const CalendarReminderSettings& settings, Date now, bool overlayNow) {
    using P = CalendarReminderPlanner;
    StageDecision decision;
    auto scheduled = P::dueTime(CalendarReminderStage::headsUp, meeting, settings);
    if (!scheduled || entry.overlayShown || overlayNow) {
        return decision;
    }
    Date due = *scheduled;
    if (snoozed(entry, CalendarReminderStage::headsUp)) {
        due = *entry.snoozedUntil;
    } else if (entry.headsUpShown) {
        return decision;
    }
    if (now < due) {
        decision.wake = due;
        return decision;
    }
    if (now - due <= seconds(P::lateTolerance)) {
        decision.due = true;
        return decision;
    }
    if (now >= meeting.start) {
        return decision;
    }
    auto overlayDue = P::dueTime(CalendarReminderStage::overlay, meeting, settings);
    decision.due = !overlayDue || *overlayDue - now > seconds(P::lateHeadsUpOverlayGap);
    return decision;
}

} // namespace

std::optional<Date> CalendarReminderPlanner::dueTime(CalendarReminderStage stage,
                                                     const CalendarMeeting& meeting,
                                                     const CalendarReminderSettings& settings) {
    if (stage == CalendarReminderStage::headsUp) {
        if (!settings.showsHeadsUp()) {
            return std::nullopt;
        }
        return meeting.start - seconds(*settings.headsUpMinutes * 60.0);
    }
    if (!settings.showsOverlay()) {
        return std::nullopt;
    }
    return meeting.start - seconds(*settings.overlayMinutes * 60.0);
}

std::optional<Date> CalendarReminderPlanner::snoozeTarget(CalendarReminderStage stage,
                                                          const CalendarMeeting& meeting,
                                                          const CalendarReminderSettings& settings,
                                                          Date now) {
    if (stage == CalendarReminderStage::headsUp) {
        auto candidate = now + seconds(headsUpSnooze);
        auto limit = dueTime(CalendarReminderStage::overlay, meeting, settings).value_or(meeting.start);
        return candidate < limit ? std::optional<Date>(candidate) : std::nullopt;
    }
    auto lead = meeting.start - seconds(overlaySnoozeLead);
    auto candidate = lead > now ? lead : now + seconds(overlaySnoozeDelay);
    if (candidate <= meeting.start + seconds(overlaySnoozeCutoff) && candidate < meeting.end) {
        return candidate;
    }
    return std::nullopt;
}

Date CalendarReminderPlanner::overlayCloseTime(const CalendarMeeting& main, Date shownAt) {
    auto close =
        std::max(main.start + seconds(overlaySnoozeCutoff), shownAt + seconds(overlayMinimumVisible));
    return std::min(close, main.end);
}

std::vector<CalendarMeeting> CalendarReminderPlanner::overlayCard(const Sorted& sorted, std::size_t mainIndex,
                                                                  Date now) {
    const auto& main = *sorted.meetings[mainIndex];
    auto window = seconds(overlapWindow);
    // Sorted by start, so the candidates are a contiguous run around the main meeting.
    std::size_t first = mainIndex;
    while (first > 0 && main.start - sorted.meetings[first - 1]->start <= window) {
        --first;
    }
    std::vector<CalendarMeeting> extras;
    for (std::size_t i = first; i < sorted.meetings.size() && extras.size() < maxExtraRows; ++i) {
        const auto& other = *sorted.meetings[i];
        if (other.start - main.start > window) {
            break;
        }
        if (i == mainIndex || other.occurrenceKey == main.occurrenceKey || now >= other.end) {
            continue;
        }
        extras.push_back(other);
    }
    return extras;
}

std::set<std::string> CalendarReminderPlanner::withdrawnKeys(const std::vector<CalendarMeeting>& meetings,
                                                             Date now, const CalendarReminderLedger& ledger) {
    std::set<std::string> withdrawn;
    std::unordered_map<std::string_view, Date> starts;
    bool indexed = false;
    for (const auto& [key, entry] : ledger.entries) {
        if (entry.dismissed || !(entry.headsUpShown || entry.overlayShown) ||
            entry.start + seconds(overlaySnoozeCutoff) <= now) {
            continue;
        }
        if (!indexed) {
            starts.reserve(meetings.size());
            for (const auto& meeting : meetings) {
                starts.emplace(meeting.occurrenceKey, meeting.start);
            }
            indexed = true;
        }
        auto it = starts.find(key);
        if (it == starts.end() || it->second != entry.start) {
            withdrawn.insert(key);
        }
    }
    return withdrawn;
}

CalendarReminderPlan CalendarReminderPlanner::plan(const std::vector<CalendarMeeting>& meetings, Date now,
                                                   const CalendarReminderSettings& settings,
                                                   const CalendarReminderLedger& ledger) {
    CalendarReminderPlan plan;
    plan.withdrawnKeys = withdrawnKeys(meetings, now, ledger);
    if (!settings.isEnabled) {
        return plan;
    }
    Sorted sorted;
    sorted.meetings.reserve(meetings.size());
    for (const auto& meeting : meetings) {
        sorted.meetings.push_back(&meeting);
    }
    std::sort(sorted.meetings.begin(), sorted.meetings.end(), [](const auto* a, const auto* b) {
        return a->start != b->start ? a->start < b->start : a->occurrenceKey < b->occurrenceKey;
    });

    auto considerWake = [&](std::optional<Date> wake) {
        if (wake && *wake > now && (!plan.nextWake || *wake < *plan.nextWake)) {
            plan.nextWake = wake;
        }
    };
    std::set<std::string> onCard;
    for (std::size_t i = 0; i < sorted.meetings.size(); ++i) {
        const auto& meeting = *sorted.meetings[i];
        if (now >= meeting.end) {
            continue;
        }
        auto entry = ledger.entry(meeting);
        if (entry.dismissed) {
            continue;
        }
        auto overlay = overlayDecision(meeting, entry, settings, now);
        considerWake(overlay.wake);
        bool alreadyOnCard = onCard.count(meeting.occurrenceKey) > 0;
        if (overlay.due && !alreadyOnCard) {
            auto extras = overlayCard(sorted, i, now);
            onCard.insert(meeting.occurrenceKey);
            for (const auto& extra : extras) {
                onCard.insert(extra.occurrenceKey);
            }
            plan.actions.push_back(CalendarReminderAction::overlay(meeting, std::move(extras)));
        }
        auto headsUp = headsUpDecision(meeting, entry, settings, now, overlay.due || alreadyOnCard);
        considerWake(headsUp.wake);
        if (headsUp.due) {
            plan.actions.push_back(CalendarReminderAction::headsUp(meeting));
        }
    }
    return plan;
}

} // namespace UI
