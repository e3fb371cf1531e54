// The persistent memory of reminders: for each meeting occurrence (by occurrence key), which stages were
// shown, whether a stage is snoozed and until when, and whether the user turned the meeting away. An entry
// holds only for the start it was written for: a meeting that moved gets a fresh entry, so it is reminded
// again.
//
// Stored as JSON under "calendar.reminderLedger": {"entries": {key: {"start": ISO 8601, "headsUpShown",
// "overlayShown", "snoozedUntil" (ISO 8601 or absent), "snoozedStage" ("headsUp"/"overlay" or absent),
// "dismissed"}}}. Decoding is forgiving where it is safe (missing flags read as false) and strict where it
// is not: an entry without a readable start, or a document that is not this shape, decodes as nothing, and
// `load` then gives an empty ledger (the user may see a reminder again, never a crash). Only the
// coordinator loads, changes and saves it, on the main loop; each operation that changes it saves it.
#pragma once

#include "Support/Time.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarReminderStage.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace UI {

struct CalendarReminderLedger {
    struct Entry {
        Support::Date start;
        bool headsUpShown = false;
        bool overlayShown = false;
        std::optional<Support::Date> snoozedUntil;
        std::optional<CalendarReminderStage> snoozedStage;
        bool dismissed = false;

        bool wasShown(CalendarReminderStage stage) const {
            return stage == CalendarReminderStage::headsUp ? headsUpShown : overlayShown;
        }
        bool operator==(const Entry&) const = default;
    };

    static constexpr const char* defaultsKey = "calendar.reminderLedger";
    /// Entries of meetings that started longer ago than this are pruned.
    static constexpr double retention = 172800;

    std::map<std::string, Entry> entries;

    /// The stored ledger; empty when absent or undecodable.
    static CalendarReminderLedger load(const Support::UserDefaults& defaults);
    void save(Support::UserDefaults& defaults) const;

    /// The entry for this occurrence and start: the stored one when its start matches, else a fresh one.
    Entry entry(const CalendarMeeting& meeting) const;
    /// Sets the stage's flag and clears a snooze of that stage.
    void markShown(CalendarReminderStage stage, const CalendarMeeting& meeting);
    void snooze(CalendarReminderStage stage, const CalendarMeeting& meeting, Support::Date until);
    void dismiss(const CalendarMeeting& meeting);
    void forget(const std::set<std::string>& keys);
    /// Keeps only entries whose start lies no more than `retention` before `now`.
    void prune(Support::Date now);

    /// The JSON text.
    std::string encoded() const;
    /// The ledger in `text`, or nothing when it is not a ledger.
    static std::optional<CalendarReminderLedger> decode(std::string_view text);

    bool operator==(const CalendarReminderLedger&) const = default;
};

} // namespace UI
